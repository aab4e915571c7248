// Walking a widget tree and the values that tell widgets apart: alien
// children, the index among siblings of the same class, the text, and
// siblings of the same name.
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTextEdit>

#include <vector>

#include "modulesupport.h"

using namespace moduletest;

namespace {

// A widget whose "text" property holds bytes, not a QString.
class ByteTextWidget : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QByteArray text READ text)

public:
    using QWidget::QWidget;
    QByteArray text() const { return "bytes"; }
};

class DerivedButton : public QPushButton
{
    Q_OBJECT

public:
    using QPushButton::QPushButton;
};

class WidgetTree : public ModuleTest
{
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        window.resize(300, 200);
    }

    // The addresses a GetChildWidgets answer holds, in order.
    static std::vector<ULONGLONG> addresses(VARIANT &children)
    {
        std::vector<ULONGLONG> result;
        LONG lower = -1, upper = -2;
        SafeArrayGetLBound(V_ARRAY(&children), 1, &lower);
        SafeArrayGetUBound(V_ARRAY(&children), 1, &upper);
        EXPECT_EQ(0, lower);
        for (LONG index = lower; index <= upper; ++index) {
            ULONGLONG address = 0;
            EXPECT_EQ(S_OK, SafeArrayGetElement(V_ARRAY(&children), &index, &address));
            result.push_back(address);
        }
        return result;
    }

    static ULONGLONG addressOf(const QObject *object) { return reinterpret_cast<ULONG_PTR>(object); }

    QWidget window;
};

} // namespace

TEST_F(WidgetTree, ChildWidgetsAreTheAlienChildrenInChildOrder)
{
    QLabel first("first", &window);
    QWidget native(&window);
    native.setAttribute(Qt::WA_NativeWindow);
    QObject plainObject(&window);
    QWidget childWindow(&window, Qt::Window);
    QPushButton second("second", &window);
    QLabel grandChild("grand child", &second);
    ASSERT_TRUE(showAndWait(&window));

    VARIANT children;
    VariantInit(&children);
    ASSERT_EQ(VARIANT_TRUE, widgets->GetChildWidgets(&window, &children));
    EXPECT_EQ(VT_ARRAY | VT_UI8, V_VT(&children));
    VARTYPE elementType = VT_EMPTY;
    SafeArrayGetVartype(V_ARRAY(&children), &elementType);
    EXPECT_EQ(VT_UI8, elementType);
    EXPECT_EQ(1u, SafeArrayGetDim(V_ARRAY(&children)));
    EXPECT_EQ((std::vector<ULONGLONG>{ addressOf(&first), addressOf(&second) }), addresses(children));
    VariantClear(&children);
}

TEST_F(WidgetTree, ChildWidgetsWithoutAlienChildrenLeaveTheVariantAlone)
{
    QWidget leaf;
    ASSERT_TRUE(showAndWait(&leaf));
    VARIANT children;
    V_VT(&children) = VT_I4;
    V_I4(&children) = 42;
    EXPECT_EQ(VARIANT_FALSE, widgets->GetChildWidgets(&leaf, &children));
    EXPECT_EQ(VT_I4, V_VT(&children));
    EXPECT_EQ(42, V_I4(&children));
    EXPECT_EQ(VARIANT_FALSE, widgets->GetChildWidgets(&leaf, nullptr));
}

TEST_F(WidgetTree, IndexCountsSiblingsOfExactlyTheSameClass)
{
    QPushButton button1("1", &window);
    QLabel label("label", &window);
    QPushButton button2("2", &window);
    DerivedButton derived("derived", &window);
    QObject notAWidget(&window);
    // Top-level widgets count in Qt's order of them, not that of creation.
    QLabel firstTop("first"), secondTop("second");
    const bool firstComesFirst = QApplication::topLevelWidgets().indexOf(&firstTop) < QApplication::topLevelWidgets().indexOf(&secondTop);
    // Hidden from the top-level list: a parentless widget that is no window.
    QLabel orphan("orphan", &window);
    orphan.QObject::setParent(nullptr);

    struct Row {
        const char *name;
        QWidget *widget;
        int index; // 0: E_FAIL
    };
    const Row rows[] = {
        { "first button", &button1, 1 },
        { "second button", &button2, 2 },
        { "only label", &label, 1 },
        { "subclass apart", &derived, 1 },
        { "top level", &secondTop, firstComesFirst ? 2 : 1 },
        { "missing from its sibling list", &orphan, 0 },
        { "no widget", reinterpret_cast<QWidget *>(&notAWidget), 0 },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        int index = 0;
        EXPECT_EQ(row.index ? S_OK : E_FAIL, widgets->GetWidgetIndex(row.widget, &index));
        if (row.index) {
            EXPECT_EQ(row.index, index);
        }
    }
    EXPECT_EQ(E_POINTER, widgets->GetWidgetIndex(&window, nullptr));
}

TEST_F(WidgetTree, TextFollowsTheRulesOfEachClass)
{
    QLabel label("label text", &window);
    QLineEdit edit("typed by the user", &window);
    QLineEdit titledEdit("typed", &window);
    titledEdit.setWindowTitle("edit title");
    QTextEdit textEdit("rich", &window);
    textEdit.setWindowTitle("text edit title");
    QSpinBox spinBox(&window);
    spinBox.setWindowTitle("spin title");
    QPushButton emptyButton("", &window);
    emptyButton.setWindowTitle("not used");
    QPushButton button("Press", &window);
    ByteTextWidget bytes(&window);
    bytes.setWindowTitle("byte fallback");
    QWidget plain(&window);
    plain.setWindowTitle("plain title");
    QLabel embeddedNul(QString::fromUtf16(u"cut\0here", 8), &window);

    struct Row {
        const char *name;
        QWidget *widget;
        const char *text;
    };
    const Row rows[] = {
        { "label text", &label, "label text" },
        { "line edit: its title, never the user's text", &edit, "<null>" },
        { "titled line edit", &titledEdit, "edit title" },
        { "text edit", &textEdit, "text edit title" },
        { "spin box", &spinBox, "spin title" },
        { "empty button text stays empty", &emptyButton, "<null>" },
        { "button text", &button, "Press" },
        { "text property of bytes", &bytes, "byte fallback" },
        { "no text property", &plain, "plain title" },
        { "text cut at an embedded NUL", &embeddedNul, "cut" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.text, textOf([&](BSTR *text) { return widgets->GetWidgetText(row.widget, text); }));
    }

    EXPECT_EQ(E_POINTER, widgets->GetWidgetText(&label, nullptr));
}

TEST_F(WidgetTree, SiblingOfTheSameNameIgnoresCaseAndCountsUnnamedSiblings)
{
    QWidget named(&window), sameInOtherCase(&window), unique(&window), unnamed1(&window), unnamed2(&window);
    named.setObjectName("okButton");
    sameInOtherCase.setObjectName("OKBUTTON");
    unique.setObjectName("unique");
    QObject objectNamedUnique(&window);
    objectNamedUnique.setObjectName("unique");

    struct Row {
        const char *name;
        QWidget *widget;
        VARIANT_BOOL expected;
    };
    const Row rows[] = {
        { "same name in other case", &named, VARIANT_TRUE },
        { "unique among widgets; a plain object does not count", &unique, VARIANT_FALSE },
        { "two unnamed siblings", &unnamed1, VARIANT_TRUE },
        { "no parent", &window, VARIANT_FALSE },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.expected, widgets->HasSiblingOfSameName(row.widget));
    }
}

TEST_F(WidgetTree, ObjectQuestionsAnswerForLiveObjects)
{
    QPushButton button("b", &window);
    button.setObjectName("okButton");
    QObject plain;
    EXPECT_EQ("okButton", textOf([&](BSTR *name) { return objects->GetObjectName(&button, name); }));
    EXPECT_EQ("<null>", textOf([&](BSTR *name) { return objects->GetObjectName(&plain, name); }));
    EXPECT_EQ(VARIANT_FALSE, objects->IsWidget(&plain));

    // The meta-object chain up to QObject, then null.
    const QMetaObject *meta = nullptr;
    ASSERT_EQ(S_OK, objects->GetMetaObject(&button, &meta));
    std::vector<std::string> chain;
    while (meta) {
        chain.push_back(textOf([&](BSTR *name) { return objects->GetMetaClassName(meta, name); }));
        ASSERT_EQ(S_OK, objects->GetSuperMetaObject(meta, &meta));
    }
    EXPECT_EQ((std::vector<std::string>{ "QPushButton", "QAbstractButton", "QWidget", "QObject" }), chain);

    const QString withNul = QString::fromUtf16(u"before\0after", 12);
    EXPECT_EQ("before", textOf([&](BSTR *text) { return objects->GetStringText(&withNul, text); }));
    const QString empty;
    EXPECT_EQ("<null>", textOf([&](BSTR *text) { return objects->GetStringText(&empty, text); }));
}

TEST_F(WidgetTree, StateAndWindowHandles)
{
    QLabel alien("alien", &window);
    alien.setGeometry(5, 6, 70, 20);
    alien.setEnabled(false);
    QWidget native(&window);
    native.setAttribute(Qt::WA_NativeWindow);
    QLabel hidden("hidden", &window);
    hidden.hide();
    ASSERT_TRUE(showAndWait(&window));

    int x = 0, y = 0, width = 0, height = 0;
    EXPECT_EQ(S_OK, widgets->GetX(&alien, &x));
    EXPECT_EQ(S_OK, widgets->GetY(&alien, &y));
    EXPECT_EQ(S_OK, widgets->GetWidth(&alien, &width));
    EXPECT_EQ(S_OK, widgets->GetHeight(&alien, &height));
    EXPECT_EQ(QRect(5, 6, 70, 20), QRect(x, y, width, height));
    VARIANT_BOOL visible = VARIANT_TRUE, enabled = VARIANT_TRUE;
    EXPECT_EQ(S_OK, widgets->GetVisible(&hidden, &visible));
    EXPECT_EQ(S_OK, widgets->GetEnabled(&alien, &enabled));
    EXPECT_EQ(VARIANT_FALSE, visible | enabled);

    NativeWindowId handle = 7;
    EXPECT_EQ(S_OK, widgets->GetOwnWindowHandle(&alien, &handle));
    EXPECT_EQ(0u, handle);
    EXPECT_EQ(S_OK, widgets->GetOwnWindowHandle(&native, &handle));
    EXPECT_EQ(native.winId(), handle);
    EXPECT_EQ(S_OK, widgets->GetWindowHandle(&alien, &handle));
    EXPECT_EQ(window.winId(), handle);
    QWidget *found = nullptr;
    EXPECT_EQ(S_OK, widgets->FindWidget(window.winId(), &found));
    EXPECT_EQ(&window, found);
    EXPECT_EQ(S_OK, widgets->FindWidget(0, &found));
    EXPECT_EQ(nullptr, found);

    // Not yet shown: no native window anywhere above it.
    QWidget unshown;
    QLabel inside("inside", &unshown);
    handle = 7;
    EXPECT_EQ(E_FAIL, widgets->GetWindowHandle(&inside, &handle));
    EXPECT_EQ(0u, handle);
}

#include "widgettree_test.moc"
