#include "host/agent/itemvalues.h"

#include <QJsonArray>
#include <QJsonObject>

#include <functional>

#include "host/protocol/protocol.h"
#include "host/scripting/variants.h"

namespace vrqt::agent {

namespace {

using host::Bstr;
using host::Ref;

Reply Refused(const QString &what, HRESULT hr)
{
    return Reply::failure(protocol::error::kInvokeFailed, QStringLiteral("%1 was refused: %2").arg(what, scripting::HResultText(hr)),
                          { { QStringLiteral("hresult"), scripting::HResultText(hr) } });
}

Reply BadValue(const QString &message)
{
    return Reply::failure(protocol::error::kInvalidParams, message);
}

// One value: {"key", "value", "settable"}; null when the helper refuses.
template <typename T, typename Read>
QJsonObject Value(const char *key, Read read, bool settable)
{
    T value{};
    return { { QLatin1String("key"), QLatin1String(key) },
             { QStringLiteral("value"), SUCCEEDED(read(&value)) ? QJsonValue(value) : QJsonValue() },
             { QStringLiteral("settable"), settable } };
}

QJsonObject Flag(const char *key, const std::function<HRESULT(VARIANT_BOOL *)> &read)
{
    VARIANT_BOOL value = VARIANT_FALSE;
    return { { QLatin1String("key"), QLatin1String(key) },
             { QStringLiteral("value"), SUCCEEDED(read(&value)) ? QJsonValue(value == VARIANT_TRUE) : QJsonValue() },
             { QStringLiteral("settable"), false } };
}

QJsonObject Text(const char *key, const std::function<HRESULT(BSTR *)> &read, bool settable)
{
    Bstr text;
    const HRESULT hr = read(text.out());
    return { { QLatin1String("key"), QLatin1String(key) },
             { QStringLiteral("value"), SUCCEEDED(hr) ? (text.isNull() ? QJsonValue() : QJsonValue(TextOf(text))) : QJsonValue() },
             { QStringLiteral("settable"), settable } };
}

QJsonObject Date(const char *key, const std::function<HRESULT(double *)> &read, bool settable)
{
    double value = -1.0;
    const bool ok = SUCCEEDED(read(&value));
    return { { QLatin1String("key"), QLatin1String(key) },
             { QStringLiteral("value"), ok ? QJsonValue(DateText(value)) : QJsonValue() },
             { QStringLiteral("variantTime"), ok ? QJsonValue(value) : QJsonValue() },
             { QStringLiteral("settable"), settable } };
}

const char *const kCheckStates[] = { "unchecked", "checked", "partial" };

Reply Values(const QJsonArray &values)
{
    return Reply::success(QJsonObject{ { QStringLiteral("values"), values } });
}

Reply ListSpinBox(HelperAccess &access, QWidget *widget)
{
    const Ref<IvrQtSpinBoxHelper> spin = access.primary<IvrQtSpinBoxHelper>(IID_IvrQtSpinBoxHelper);
    if (!spin)
        return Refused(QStringLiteral("the spin box helper"), E_NOINTERFACE);
    return Values({ Value<int>("value", [&](int *v) { return spin->GetValue(widget, v); }, true),
                    Value<int>("minimum", [&](int *v) { return spin->GetMinimum(widget, v); }, false),
                    Value<int>("maximum", [&](int *v) { return spin->GetMaximum(widget, v); }, false) });
}

Reply ListDoubleSpinBox(HelperAccess &access, QWidget *widget)
{
    const Ref<IvrQtDoubleSpinBoxHelper> spin = access.primary<IvrQtDoubleSpinBoxHelper>(IID_IvrQtDoubleSpinBoxHelper);
    if (!spin)
        return Refused(QStringLiteral("the double spin box helper"), E_NOINTERFACE);
    return Values({ Value<double>("value", [&](double *v) { return spin->GetValue(widget, v); }, true),
                    Value<double>("minimum", [&](double *v) { return spin->GetMinimum(widget, v); }, false),
                    Value<double>("maximum", [&](double *v) { return spin->GetMaximum(widget, v); }, false) });
}

Reply ListDateTimeEdit(HelperAccess &access, QWidget *widget)
{
    const Ref<IvrQtDateTimeEditHelper> edit = access.primary<IvrQtDateTimeEditHelper>(IID_IvrQtDateTimeEditHelper);
    if (!edit)
        return Refused(QStringLiteral("the date-time edit helper"), E_NOINTERFACE);
    return Values({ Date("value", [&](double *v) { return edit->GetDateTime(widget, v); }, true),
                    Date("minimum", [&](double *v) { return edit->GetMinimumDateTime(widget, v); }, false),
                    Date("maximum", [&](double *v) { return edit->GetMaximumDateTime(widget, v); }, false) });
}

Reply ListCalendar(HelperAccess &access, QWidget *widget)
{
    const Ref<IvrQtCalendarWidgetHelper> calendar = access.primary<IvrQtCalendarWidgetHelper>(IID_IvrQtCalendarWidgetHelper);
    if (!calendar)
        return Refused(QStringLiteral("the calendar helper"), E_NOINTERFACE);
    return Values({ Date("value", [&](double *v) { return calendar->GetSelectedDate(widget, v); }, true),
                    Date("minimum", [&](double *v) { return calendar->GetMinimumDate(widget, v); }, false),
                    Date("maximum", [&](double *v) { return calendar->GetMaximumDate(widget, v); }, false) });
}

QJsonObject ClickRect(HelperAccess &access, IvrQtRectProviderHelper *rects, QWidget *widget)
{
    int window = 0, x = 0, y = 0, width = 0, height = 0;
    if (!rects || FAILED(rects->GetClickRect(widget, 0, &window, &x, &y, &width, &height)))
        return { { QStringLiteral("key"), QStringLiteral("clickRect") }, { QStringLiteral("value"), QJsonValue() } };
    return { { QStringLiteral("key"), QStringLiteral("clickRect") },
             { QStringLiteral("value"), access.windowRect(x, y, width, height, NativeWindowId(unsigned(window))) },
             { QStringLiteral("settable"), false } };
}

Reply ListCheckBox(HelperAccess &access, QWidget *widget)
{
    const Ref<IvrQtCheckBoxHelper> check = access.primary<IvrQtCheckBoxHelper>(IID_IvrQtCheckBoxHelper);
    if (!check)
        return Refused(QStringLiteral("the check box helper"), E_NOINTERFACE);
    int state = -1;
    const HRESULT hr = check->GetCheckState(widget, &state);
    const QJsonValue stateName = SUCCEEDED(hr) && state >= 0 && state <= 2 ? QJsonValue(QLatin1String(kCheckStates[state])) : QJsonValue();
    return Values({ QJsonObject{ { QStringLiteral("key"), QStringLiteral("state") }, { QStringLiteral("value"), stateName },
                                 { QStringLiteral("code"), state }, { QStringLiteral("settable"), true } },
                    Flag("tristate", [&](VARIANT_BOOL *v) { return check->IsTristate(widget, v); }),
                    ClickRect(access, check.query<IvrQtRectProviderHelper>(IID_IvrQtRectProviderHelper).get(), widget) });
}

Reply ListRadioButton(HelperAccess &access, QWidget *widget)
{
    const Ref<IvrQtRadioButtonHelper> radio = access.primary<IvrQtRadioButtonHelper>(IID_IvrQtRadioButtonHelper);
    if (!radio)
        return Refused(QStringLiteral("the radio button helper"), E_NOINTERFACE);
    return Values({ Flag("checked", [&](VARIANT_BOOL *v) { return radio->IsChecked(widget, v); }),
                    ClickRect(access, radio.query<IvrQtRectProviderHelper>(IID_IvrQtRectProviderHelper).get(), widget) });
}

Reply ListLineEdit(HelperAccess &access, QWidget *widget)
{
    const Ref<IvrQtLineEditHelper> edit = access.primary<IvrQtLineEditHelper>(IID_IvrQtLineEditHelper);
    if (!edit)
        return Refused(QStringLiteral("the line edit helper"), E_NOINTERFACE);
    return Values({ Text("text", [&](BSTR *t) { return edit->GetText(widget, t); }, true),
                    Value<int>("maxLength", [&](int *v) { return edit->GetMaxLength(widget, v); }, false),
                    Text("passwordChar", [&](BSTR *t) { return edit->GetPasswordChar(widget, t); }, false),
                    Text("selectedText", [&](BSTR *t) { return edit->GetSelectedText(widget, t); }, false),
                    Value<int>("selectionStart", [&](int *v) { return edit->GetSelectionStart(widget, v); }, false),
                    Value<int>("selectionEnd", [&](int *v) { return edit->GetSelectionEnd(widget, v); }, false),
                    Flag("readOnly", [&](VARIANT_BOOL *v) { return edit->IsReadOnly(widget, v); }) });
}

Reply ListTextEdit(HelperAccess &access, QWidget *widget)
{
    const Ref<IvrQtTextEditHelper> edit = access.primary<IvrQtTextEditHelper>(IID_IvrQtTextEditHelper);
    if (!edit)
        return Refused(QStringLiteral("the text edit helper"), E_NOINTERFACE);
    QJsonArray values{ Text("text", [&](BSTR *t) { return edit->GetText(widget, t); }, true),
                       Text("selectedText", [&](BSTR *t) { return edit->GetSelectedText(widget, t); }, false),
                       Value<int>("selectionStart", [&](int *v) { return edit->GetSelectionStart(widget, v); }, false),
                       Value<int>("selectionEnd", [&](int *v) { return edit->GetSelectionEnd(widget, v); }, false),
                       Flag("readOnly", [&](VARIANT_BOOL *v) { return edit->IsReadOnly(widget, v); }) };
    return Values(values);
}

Reply ListToolButton(HelperAccess &access, QWidget *widget)
{
    const Ref<IvrQtToolButtonHelper> button = access.primary<IvrQtToolButtonHelper>(IID_IvrQtToolButtonHelper);
    if (!button)
        return Refused(QStringLiteral("the tool button helper"), E_NOINTERFACE);
    return Values({ Text("text", [&](BSTR *t) { return button->GetText(widget, t); }, false),
                    Flag("enabled", [&](VARIANT_BOOL *v) { return button->IsEnabled(widget, v); }),
                    Flag("checkable", [&](VARIANT_BOOL *v) { return button->IsCheckable(widget, v); }),
                    Flag("checked", [&](VARIANT_BOOL *v) { return button->IsChecked(widget, v); }),
                    Flag("visible", [&](VARIANT_BOOL *v) { return button->IsVisible(widget, v); }),
                    Flag("hasMenu", [&](VARIANT_BOOL *v) { return button->HasMenu(widget, v); }) });
}

// A scroll bar as one value: its position, range and visibility.
QJsonObject ScrollBar(IvrQtScrollAreaHelper *area, QWidget *widget, const char *key, VARIANT_BOOL vertical)
{
    int value = -1, minimum = -1, maximum = -1;
    VARIANT_BOOL visible = VARIANT_FALSE;
    const bool ok = SUCCEEDED(area->GetScrollPos(widget, vertical, &value));
    area->GetScrollMin(widget, vertical, &minimum);
    area->GetScrollMax(widget, vertical, &maximum);
    area->IsScrollBarVisible(widget, vertical, &visible);
    return { { QLatin1String("key"), QLatin1String(key) }, { QStringLiteral("value"), ok ? QJsonValue(value) : QJsonValue() },
             { QStringLiteral("minimum"), minimum }, { QStringLiteral("maximum"), maximum },
             { QStringLiteral("visible"), visible == VARIANT_TRUE }, { QStringLiteral("settable"), ok } };
}

} // namespace

Reply ListValues(HelperAccess &access, QWidget *widget, ItemFamily family)
{
    switch (family) {
    case ItemFamily::SpinBox:
        return ListSpinBox(access, widget);
    case ItemFamily::DoubleSpinBox:
        return ListDoubleSpinBox(access, widget);
    case ItemFamily::DateTimeEdit:
        return ListDateTimeEdit(access, widget);
    case ItemFamily::Calendar:
        return ListCalendar(access, widget);
    case ItemFamily::CheckBox:
        return ListCheckBox(access, widget);
    case ItemFamily::RadioButton:
        return ListRadioButton(access, widget);
    case ItemFamily::LineEdit:
        return ListLineEdit(access, widget);
    case ItemFamily::ToolButton:
        return ListToolButton(access, widget);
    case ItemFamily::TextEdit:
    case ItemFamily::ScrollArea:
        break;
    default:
        return Reply::failure(protocol::error::kInvalidParams, QStringLiteral("no helper serves this object"));
    }
    // Text edits are scroll areas too: their bars follow their text.
    Reply reply = family == ItemFamily::TextEdit ? ListTextEdit(access, widget) : Values({});
    const Ref<IvrQtScrollAreaHelper> area = access.primary<IvrQtScrollAreaHelper>(IID_IvrQtScrollAreaHelper);
    if (!reply.ok || !area)
        return reply;
    QJsonObject result = reply.result.toObject();
    QJsonArray values = result.value(QStringLiteral("values")).toArray();
    values.append(ScrollBar(area.get(), widget, "horizontal", VARIANT_FALSE));
    values.append(ScrollBar(area.get(), widget, "vertical", VARIANT_TRUE));
    result.insert(QStringLiteral("values"), values);
    return Reply::success(result);
}

Reply SetEditorValue(HelperAccess &access, QWidget *widget, ItemFamily family, const QString &key, const QString &action,
                     const QString &value)
{
    const bool step = action == QLatin1String("step");
    if (action != QLatin1String("set") && !step)
        return BadValue(QStringLiteral("a value takes \"set VALUE\" (and a spin box \"step N\"), not \"%1\"").arg(action));
    bool isNumber = false;
    const double number = value.toDouble(&isNumber);
    auto wholeNumber = [&](int *whole) {
        *whole = int(number);
        return isNumber && double(*whole) == number;
    };
    HRESULT hr = E_INVALIDARG;
    int whole = 0;
    double date = 0;
    if (step && (family == ItemFamily::SpinBox || family == ItemFamily::DoubleSpinBox || family == ItemFamily::DateTimeEdit)) {
        if (!wholeNumber(&whole))
            return BadValue(QStringLiteral("\"step\" takes a whole number of steps, not \"%1\"").arg(value));
        const IID &primary = family == ItemFamily::SpinBox         ? IID_IvrQtSpinBoxHelper
                             : family == ItemFamily::DoubleSpinBox ? IID_IvrQtDoubleSpinBoxHelper
                                                                   : IID_IvrQtDateTimeEditHelper;
        const Ref<IvrQtBaseSpinBoxHelper> spin =
            access.primary<IUnknown>(primary).query<IvrQtBaseSpinBoxHelper>(IID_IvrQtBaseSpinBoxHelper);
        hr = spin ? spin->StepBy(widget, whole) : E_NOINTERFACE;
    } else if (step) {
        return BadValue(QStringLiteral("only spin boxes and date-time edits step"));
    } else if (key == QLatin1String("value") && family == ItemFamily::SpinBox) {
        if (!wholeNumber(&whole))
            return BadValue(QStringLiteral("a spin box takes a whole number, not \"%1\"").arg(value));
        hr = access.primary<IvrQtSpinBoxHelper>(IID_IvrQtSpinBoxHelper)->SetValue(widget, whole);
    } else if (key == QLatin1String("value") && family == ItemFamily::DoubleSpinBox) {
        if (!isNumber)
            return BadValue(QStringLiteral("a double spin box takes a number, not \"%1\"").arg(value));
        hr = access.primary<IvrQtDoubleSpinBoxHelper>(IID_IvrQtDoubleSpinBoxHelper)->SetValue(widget, number);
    } else if (key == QLatin1String("value") && (family == ItemFamily::DateTimeEdit || family == ItemFamily::Calendar)) {
        if (!ParseDateText(value, &date))
            return BadValue(QStringLiteral("a date is written 2024-06-14 or 2024-06-14T12:30:00, not \"%1\"").arg(value));
        hr = family == ItemFamily::Calendar
                 ? access.primary<IvrQtCalendarWidgetHelper>(IID_IvrQtCalendarWidgetHelper)->SetSelectedDate(widget, date)
                 : access.primary<IvrQtDateTimeEditHelper>(IID_IvrQtDateTimeEditHelper)->SetDateTime(widget, date);
    } else if (key == QLatin1String("state") && family == ItemFamily::CheckBox) {
        int state = -1;
        for (int code = 0; code < 3; ++code) {
            if (value == QLatin1String(kCheckStates[code]) || value == QString::number(code))
                state = code;
        }
        if (state < 0)
            return BadValue(QStringLiteral("a check box state is unchecked, checked or partial (0, 1 or 2), not \"%1\"").arg(value));
        hr = access.primary<IvrQtCheckBoxHelper>(IID_IvrQtCheckBoxHelper)->SetCheckState(widget, state);
    } else if (key == QLatin1String("text") && (family == ItemFamily::LineEdit || family == ItemFamily::TextEdit)) {
        BSTR text = scripting::ToBstr(value);
        hr = family == ItemFamily::LineEdit ? access.primary<IvrQtLineEditHelper>(IID_IvrQtLineEditHelper)->SetText(widget, text)
                                            : access.primary<IvrQtTextEditHelper>(IID_IvrQtTextEditHelper)->SetText(widget, text);
        SysFreeString(text);
    } else if ((key == QLatin1String("horizontal") || key == QLatin1String("vertical"))
               && (family == ItemFamily::ScrollArea || family == ItemFamily::TextEdit)) {
        if (!wholeNumber(&whole))
            return BadValue(QStringLiteral("a scroll bar takes a whole number, not \"%1\"").arg(value));
        hr = access.primary<IvrQtScrollAreaHelper>(IID_IvrQtScrollAreaHelper)
                 ->SetScrollPos(widget, key == QLatin1String("vertical") ? VARIANT_TRUE : VARIANT_FALSE, whole);
    } else {
        return Reply::failure(protocol::error::kNoSuchItem, QStringLiteral("a %1 has no settable value \"%2\"").arg(FamilyName(family), key));
    }
    if (FAILED(hr))
        return Refused(QStringLiteral("setting %1").arg(key), hr);
    return ListValues(access, widget, family);
}

QString DateText(double variantTime)
{
    SYSTEMTIME time{};
    if (variantTime == -1.0 || !VariantTimeToSystemTime(variantTime, &time))
        return QString();
    return QStringLiteral("%1-%2-%3T%4:%5:%6")
        .arg(time.wYear, 4, 10, QLatin1Char('0'))
        .arg(time.wMonth, 2, 10, QLatin1Char('0'))
        .arg(time.wDay, 2, 10, QLatin1Char('0'))
        .arg(time.wHour, 2, 10, QLatin1Char('0'))
        .arg(time.wMinute, 2, 10, QLatin1Char('0'))
        .arg(time.wSecond, 2, 10, QLatin1Char('0'));
}

bool ParseDateText(const QString &text, double *variantTime)
{
    const QStringList parts = text.split(QLatin1Char('T'));
    const QStringList date = parts.value(0).split(QLatin1Char('-'));
    const QStringList clock = parts.size() > 1 ? parts.at(1).split(QLatin1Char(':')) : QStringList();
    if (parts.size() > 2 || date.size() != 3 || clock.size() > 3)
        return false;
    SYSTEMTIME time{};
    WORD *fields[] = { &time.wYear, &time.wMonth, &time.wDay, &time.wHour, &time.wMinute, &time.wSecond };
    const QStringList numbers = date + clock;
    for (int at = 0; at < numbers.size(); ++at) {
        bool ok = false;
        const uint number = numbers.at(at).toUInt(&ok);
        if (!ok || number > 0xFFFF)
            return false;
        *fields[at] = WORD(number);
    }
    return SystemTimeToVariantTime(&time, variantTime) != 0;
}

} // namespace vrqt::agent
