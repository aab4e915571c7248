// What the value helpers (spin boxes, date-time edit, texts, buttons,
// calendar) share: their interfaces, and result codes for addresses that
// are no live widget of their class.
#include <QCalendarWidget>
#include <QCheckBox>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QSpinBox>
#include <QTextEdit>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

#include "modulesupport.h"

using namespace moduletest;

namespace {

struct HelperRow {
    const char *name;
    const IID *primary;
    std::vector<const IID *> further;
};

const IID *const kSharedInterfaces[] = { &IID_IvrQtViewPortProviderHelper, &IID_IvrQtRectProviderHelper,
                                         &IID_IvrQtBaseItemsWidgetHelper, &IID_IvrQtBaseSpinBoxHelper };

const HelperRow kHelpers[] = {
    { "spin box", &IID_IvrQtSpinBoxHelper, { &IID_IvrQtBaseSpinBoxHelper } },
    { "double spin box", &IID_IvrQtDoubleSpinBoxHelper, { &IID_IvrQtBaseSpinBoxHelper } },
    { "date-time edit", &IID_IvrQtDateTimeEditHelper, { &IID_IvrQtBaseSpinBoxHelper, &IID_IvrQtViewPortProviderHelper } },
    { "line edit", &IID_IvrQtLineEditHelper, {} },
    { "text edit", &IID_IvrQtTextEditHelper, {} },
    { "check box", &IID_IvrQtCheckBoxHelper, { &IID_IvrQtRectProviderHelper } },
    { "radio button", &IID_IvrQtRadioButtonHelper, { &IID_IvrQtRectProviderHelper } },
    { "calendar", &IID_IvrQtCalendarWidgetHelper, { &IID_IvrQtViewPortProviderHelper } },
};

IUnknown *identityOf(IUnknown *object)
{
    IUnknown *identity = nullptr;
    if (FAILED(object->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(&identity))))
        return nullptr;
    identity->Release();
    return identity;
}

using ValueHelpers = ModuleTest;

} // namespace

TEST_F(ValueHelpers, EachHelperAnswersItsOwnInterfacesAndIUnknownWithItsPrimary)
{
    for (const HelperRow &row : kHelpers) {
        SCOPED_TRACE(row.name);
        Ref<IUnknown> primary = helper<IUnknown>(*row.primary);
        ASSERT_TRUE(primary);
        EXPECT_EQ(primary.get(), identityOf(primary.get()));
        for (const IID *shared : kSharedInterfaces) {
            const bool implemented = std::find(row.further.begin(), row.further.end(), shared) != row.further.end();
            Ref<IUnknown> further = primary.query<IUnknown>(*shared);
            EXPECT_EQ(implemented, bool(further));
            if (further) {
                EXPECT_EQ(primary.get(), identityOf(further.get()));
            }
            // The manager answers primary interfaces only.
            EXPECT_FALSE(helper<IUnknown>(*shared));
        }
    }
}

TEST_F(ValueHelpers, DeadOrWrongWidgetsGiveResultCodesAndTheApplicationLives)
{
    auto spins = helper<IvrQtSpinBoxHelper>(IID_IvrQtSpinBoxHelper);
    auto doubles = helper<IvrQtDoubleSpinBoxHelper>(IID_IvrQtDoubleSpinBoxHelper);
    auto edits = helper<IvrQtDateTimeEditHelper>(IID_IvrQtDateTimeEditHelper);
    auto steps = spins.query<IvrQtBaseSpinBoxHelper>(IID_IvrQtBaseSpinBoxHelper);
    auto popups = edits.query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper);
    auto lines = helper<IvrQtLineEditHelper>(IID_IvrQtLineEditHelper);
    auto texts = helper<IvrQtTextEditHelper>(IID_IvrQtTextEditHelper);
    auto checks = helper<IvrQtCheckBoxHelper>(IID_IvrQtCheckBoxHelper);
    auto clicks = checks.query<IvrQtRectProviderHelper>(IID_IvrQtRectProviderHelper);
    auto radios = helper<IvrQtRadioButtonHelper>(IID_IvrQtRadioButtonHelper);
    auto calendars = helper<IvrQtCalendarWidgetHelper>(IID_IvrQtCalendarWidgetHelper);
    auto tables = calendars.query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper);
    ASSERT_TRUE(spins && doubles && edits && steps && popups && lines && texts && checks && clicks && radios
                && calendars && tables);

    // The out-values each operation leaves: scalars untouched, texts and
    // view ports null.
    int number = -7;
    double real = -7.0;
    VARIANT_BOOL flag = 1;
    BSTR text = nullptr;
    QWidget *viewPort = nullptr;
    // Stands in the text and view port outs before a call that must null them.
    QWidget *const garbage = reinterpret_cast<QWidget *>(std::uintptr_t(0x5a5a5a5a));
    Bstr written;
    *written.out() = SysAllocString(u"text");
    struct Row {
        const char *name;
        std::function<HRESULT(QWidget *)> call;
    };
    const Row rows[] = {
        { "spin SetValue", [&](QWidget *w) { return spins->SetValue(w, 3); } },
        { "spin GetValue", [&](QWidget *w) { return spins->GetValue(w, &number); } },
        { "double GetMaximum", [&](QWidget *w) { return doubles->GetMaximum(w, &real); } },
        { "StepBy", [&](QWidget *w) { return steps->StepBy(w, 1); } },
        { "SetDateTime", [&](QWidget *w) { return edits->SetDateTime(w, 45351.0); } },
        { "GetMinimumDateTime", [&](QWidget *w) { return edits->GetMinimumDateTime(w, &real); } },
        { "date-time GetViewPort", [&](QWidget *w) { viewPort = garbage;
                                        return popups->GetViewPort(w, 0, &viewPort); } },
        { "line SetText", [&](QWidget *w) { return lines->SetText(w, written.get()); } },
        { "line GetText", [&](QWidget *w) { text = reinterpret_cast<BSTR>(garbage);
                                return lines->GetText(w, &text); } },
        { "line GetSelectionEnd", [&](QWidget *w) { return lines->GetSelectionEnd(w, &number); } },
        { "text SetText", [&](QWidget *w) { return texts->SetText(w, written.get()); } },
        { "text GetSelectedText", [&](QWidget *w) { text = reinterpret_cast<BSTR>(garbage);
                                        return texts->GetSelectedText(w, &text); } },
        { "SetCheckState", [&](QWidget *w) { return checks->SetCheckState(w, 1); } },
        { "GetCheckState", [&](QWidget *w) { return checks->GetCheckState(w, &number); } },
        { "GetClickRect", [&](QWidget *w) { return clicks->GetClickRect(w, 0, &number, &number, &number, &number, &number); } },
        { "IsChecked", [&](QWidget *w) { return radios->IsChecked(w, &flag); } },
        { "SetSelectedDate", [&](QWidget *w) { return calendars->SetSelectedDate(w, 45351.0); } },
        { "GetSelectedDate", [&](QWidget *w) { return calendars->GetSelectedDate(w, &real); } },
        { "calendar GetViewPort", [&](QWidget *w) { viewPort = garbage;
                                       return tables->GetViewPort(w, 0, &viewPort); } },
    };

    QWidget window;
    QLabel wrongClass(QStringLiteral("no control of these"), &window);
    ASSERT_TRUE(showAndWait(&window));
    // Freed widgets of each class a helper takes, all made before any goes
    // so that no two share an address; then a wrong class and null.
    std::vector<QWidget *> addresses{ new QSpinBox(&window),  new QDoubleSpinBox(&window), new QDateTimeEdit(&window),
                                      new QLineEdit(&window), new QTextEdit(&window),      new QCheckBox(&window),
                                      new QRadioButton(&window), new QCalendarWidget(&window) };
    for (QWidget *widget : addresses)
        delete widget;
    addresses.push_back(&wrongClass);
    addresses.push_back(nullptr);
    for (const Row &row : rows) {
        for (QWidget *address : addresses) {
            SCOPED_TRACE(std::string(row.name) + " at " + std::to_string(std::uintptr_t(address)));
            number = -7;
            real = -7.0;
            flag = 1;
            text = nullptr;
            viewPort = nullptr;
            EXPECT_EQ(E_FAIL, row.call(address));
            EXPECT_EQ(-7, number);
            EXPECT_EQ(-7.0, real);
            EXPECT_EQ(1, flag);
            EXPECT_EQ(nullptr, text);
            EXPECT_EQ(nullptr, viewPort);
        }
    }
}
