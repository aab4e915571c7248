// Line edit, text edit, check box and radio button through their helpers:
// texts, password characters, selections, check states in the host's
// numbering, and the rectangles a click must hit.
#include <QCheckBox>
#include <QLineEdit>
#include <QProxyStyle>
#include <QRadioButton>
#include <QStyleOptionButton>
#include <QTextEdit>

#include <array>
#include <string>
#include <tuple>

#include "modulesupport.h"

using namespace moduletest;

namespace {

// Tells by its click rectangles whether the asking widget was named to it.
class WidgetTellingStyle : public QProxyStyle
{
public:
    static constexpr QRect kWithWidget{ 1, 2, 30, 10 };
    static constexpr QRect kWithoutWidget{ 3, 4, 20, 8 };

    QRect subElementRect(SubElement element, const QStyleOption *option, const QWidget *widget) const override
    {
        if (element != SE_CheckBoxClickRect && element != SE_RadioButtonClickRect)
            return QProxyStyle::subElementRect(element, option, widget);
        optionRect = option->rect;
        return widget ? kWithWidget : kWithoutWidget;
    }

    mutable QRect optionRect;
};

using Selection = std::tuple<int, int, std::string>; // start, end, text

class TextsAndButtons : public ModuleTest
{
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        window.setGeometry(100, 100, 300, 260);
        line.setGeometry(10, 10, 200, 25);
        text.setGeometry(10, 40, 200, 100);
        check.setGeometry(20, 150, 150, 30);
        radio.setGeometry(25, 190, 150, 30);
        ASSERT_TRUE(showAndWait(&window));
    }

    template <typename Helper>
    Selection selection(Helper *helper, QWidget *widget)
    {
        int start = -7, end = -7;
        EXPECT_EQ(S_OK, helper->GetSelectionStart(widget, &start));
        EXPECT_EQ(S_OK, helper->GetSelectionEnd(widget, &end));
        return { start, end, textOf([&](BSTR *out) { return helper->GetSelectedText(widget, out); }) };
    }

    void selectInText(int anchor, int position)
    {
        QTextCursor cursor = text.textCursor();
        cursor.setPosition(anchor);
        cursor.setPosition(position, QTextCursor::KeepAnchor);
        text.setTextCursor(cursor);
    }

    // The click rectangle the helper reports, and rect (in button's
    // coordinates) as the window carrying both buttons sees it: its client
    // area lies inside its frame.
    std::array<int, 5> clickRect(IUnknown *helper, QWidget *button)
    {
        std::array<int, 5> rect{ -7, -7, -7, -7, -7 };
        Ref<IvrQtRectProviderHelper> rects;
        EXPECT_EQ(S_OK, helper->QueryInterface(IID_IvrQtRectProviderHelper, rects.out()));
        if (rects) {
            EXPECT_EQ(S_OK, rects->GetClickRect(button, 0, &rect[0], &rect[1], &rect[2], &rect[3], &rect[4]));
        }
        return rect;
    }
    std::array<int, 5> inWindow(const QWidget &button, const QRect &rect) const
    {
        const QPoint topLeft = button.mapTo(&window, rect.topLeft()) + window.geometry().topLeft()
            - window.frameGeometry().topLeft();
        return { int(window.effectiveWinId()), topLeft.x(), topLeft.y(), rect.width(), rect.height() };
    }

    WidgetTellingStyle style; // outlives the widgets that use it
    QWidget window;
    QLineEdit line{ &window };
    QTextEdit text{ &window };
    QCheckBox check{ QStringLiteral("Check me"), &window };
    QRadioButton radio{ QStringLiteral("Choose me"), &window };
};

} // namespace

TEST_F(TextsAndButtons, LineEditTextsPasswordCharactersAndSelections)
{
    auto lines = helper<IvrQtLineEditHelper>(IID_IvrQtLineEditHelper);
    ASSERT_TRUE(lines);
    Bstr written;
    *written.out() = SysAllocString(u"h\u00e9llo w\u00f6rld");
    EXPECT_EQ(S_OK, lines->SetText(&line, written.get()));
    EXPECT_EQ(QStringLiteral("h\u00e9llo w\u00f6rld"), line.text());
    EXPECT_EQ("h\u00e9llo w\u00f6rld", textOf([&](BSTR *out) { return lines->GetText(&line, out); }));

    const std::pair<QLineEdit::EchoMode, const char *> echoes[] = {
        { QLineEdit::Normal, "<null>" },
        { QLineEdit::NoEcho, "<null>" },
        { QLineEdit::Password, "*" },
        { QLineEdit::PasswordEchoOnEdit, "*" },
    };
    for (const auto &[mode, expected] : echoes) {
        SCOPED_TRACE(mode);
        line.setEchoMode(mode);
        EXPECT_EQ(expected, textOf([&](BSTR *out) { return lines->GetPasswordChar(&line, out); }));
    }

    line.setEchoMode(QLineEdit::Normal);
    line.deselect();
    EXPECT_EQ(Selection(-1, -1, "<null>"), selection(lines.get(), &line));
    line.setSelection(5, -3); // backwards
    EXPECT_EQ(Selection(2, 5, "llo"), selection(lines.get(), &line));
}

TEST_F(TextsAndButtons, TextEditSelectionsOverParagraphs)
{
    auto texts = helper<IvrQtTextEditHelper>(IID_IvrQtTextEditHelper);
    ASSERT_TRUE(texts);
    Bstr written;
    *written.out() = SysAllocString(u"first\nsecond");
    EXPECT_EQ(S_OK, texts->SetText(&text, written.get()));
    EXPECT_EQ(QStringLiteral("first\nsecond"), text.toPlainText());

    selectInText(3, 3);
    EXPECT_EQ(Selection(-1, -1, "<null>"), selection(texts.get(), &text));
    // One line break between the paragraphs, also selected backwards.
    selectInText(9, 3);
    EXPECT_EQ(Selection(3, 9, "st\nsec"), selection(texts.get(), &text));
}

TEST_F(TextsAndButtons, CheckStatesCrossInTheHostsNumbering)
{
    auto checks = helper<IvrQtCheckBoxHelper>(IID_IvrQtCheckBoxHelper);
    ASSERT_TRUE(checks);
    const struct {
        int host;
        Qt::CheckState qt;
    } rows[] = { { 0, Qt::Unchecked }, { 1, Qt::Checked }, { 2, Qt::PartiallyChecked }, { 7, Qt::Unchecked },
                 { -1, Qt::Unchecked } };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.host);
        check.setTristate(false);
        check.setCheckState(row.qt == Qt::Checked ? Qt::Unchecked : Qt::Checked);
        EXPECT_EQ(S_OK, checks->SetCheckState(&check, row.host));
        EXPECT_EQ(row.qt, check.checkState());
        int state = -7;
        EXPECT_EQ(S_OK, checks->GetCheckState(&check, &state));
        EXPECT_EQ(row.host >= 0 && row.host <= 2 ? row.host : 0, state);
        // Qt makes a box tristate when it is set partly checked.
        VARIANT_BOOL tristate = 1;
        EXPECT_EQ(S_OK, checks->IsTristate(&check, &tristate));
        EXPECT_EQ(row.qt == Qt::PartiallyChecked ? VARIANT_TRUE : VARIANT_FALSE, tristate);
    }
}

TEST_F(TextsAndButtons, ClickRectanglesAreTheStylesInWindowCoordinates)
{
    auto checks = helper<IUnknown>(IID_IvrQtCheckBoxHelper);
    auto radios = helper<IUnknown>(IID_IvrQtRadioButtonHelper);
    ASSERT_TRUE(checks && radios);
    QStyleOptionButton option;
    option.initFrom(&check);
    EXPECT_EQ(inWindow(check, check.style()->subElementRect(QStyle::SE_CheckBoxClickRect, &option, &check)),
              clickRect(checks.get(), &check));
    option.initFrom(&radio);
    EXPECT_EQ(inWindow(radio, radio.style()->subElementRect(QStyle::SE_RadioButtonClickRect, &option, nullptr)),
              clickRect(radios.get(), &radio));

    // The check box names itself to the style, the radio button does not;
    // both show it their own rectangle.
    check.setStyle(&style);
    radio.setStyle(&style);
    EXPECT_EQ(inWindow(check, WidgetTellingStyle::kWithWidget), clickRect(checks.get(), &check));
    EXPECT_EQ(check.rect(), style.optionRect);
    EXPECT_EQ(inWindow(radio, WidgetTellingStyle::kWithoutWidget), clickRect(radios.get(), &radio));
    EXPECT_EQ(radio.rect(), style.optionRect);
}
