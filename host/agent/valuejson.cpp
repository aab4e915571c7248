#include "host/agent/valuejson.h"

#include <QThread>

#include <cmath>

#include "host/agent/objectpath.h"
#include "host/scripting/dispatchcalls.h"
#include "host/scripting/valueobject.h"
#include "host/scripting/variants.h"

namespace vrqt::agent {

namespace {

// 2^53: beyond it a JSON number no longer names one integer.
constexpr double kLargestExactInteger = 9007199254740992.0;

enum class JsonForm { Null, Bool, Text, Number, Integer, AsText };

struct ScalarRow
{
    VARTYPE vt;
    JsonForm form;
};

constexpr ScalarRow kScalarForms[] = {
    { VT_EMPTY, JsonForm::Null }, { VT_NULL, JsonForm::Null },  { VT_BOOL, JsonForm::Bool },   { VT_BSTR, JsonForm::Text },
    { VT_I1, JsonForm::Number },  { VT_UI1, JsonForm::Number }, { VT_I2, JsonForm::Number },   { VT_UI2, JsonForm::Number },
    { VT_I4, JsonForm::Number },  { VT_UI4, JsonForm::Number }, { VT_INT, JsonForm::Number },  { VT_UINT, JsonForm::Number },
    { VT_R4, JsonForm::Number },  { VT_R8, JsonForm::Number },  { VT_I8, JsonForm::Integer },  { VT_UI8, JsonForm::Integer },
};

JsonForm FormOf(VARTYPE vt)
{
    for (const ScalarRow &row : kScalarForms) {
        if (row.vt == vt)
            return row.form;
    }
    return JsonForm::AsText;
}

// value changed to vt, as the platform converts it; failed for what it
// refuses.
HRESULT Converted(const VARIANT &value, VARTYPE vt, VARIANT *converted)
{
    VariantInit(converted);
    return VariantChangeType(converted, &value, 0, vt);
}

QJsonValue ScalarJson(const VARIANT &value)
{
    const JsonForm form = FormOf(value.vt);
    VARIANT converted;
    switch (form) {
    case JsonForm::Null:
        return QJsonValue();
    case JsonForm::Bool:
        return value.boolVal != VARIANT_FALSE;
    case JsonForm::Text:
        return scripting::FromBstr(value.bstrVal);
    case JsonForm::Number:
        if (FAILED(Converted(value, VT_R8, &converted)))
            return QJsonValue();
        return converted.dblVal;
    case JsonForm::Integer: {
        const double approximate = value.vt == VT_I8 ? double(value.llVal) : double(value.ullVal);
        if (std::fabs(approximate) < kLargestExactInteger)
            return approximate;
        return value.vt == VT_I8 ? QString::number(value.llVal) : QString::number(value.ullVal);
    }
    case JsonForm::AsText:
        break;
    }
    if (FAILED(Converted(value, VT_BSTR, &converted)))
        return QJsonValue();
    const QString text = scripting::FromBstr(converted.bstrVal);
    VariantClear(&converted);
    return text;
}

// A property read through dispatch, as JSON; null when the read fails or
// the member is a method, which reading never runs.
QJsonValue ReadJson(IDispatch *dispatch, DISPID memberId)
{
    VARIANT read;
    VariantInit(&read);
    if (FAILED(scripting::ReadProperty(dispatch, memberId, &read)))
        return QJsonValue();
    QJsonValue json;
    if (read.vt != VT_DISPATCH)
        json = ScalarJson(read);
    else if (const host::Ref<scripting::ValueObject> own = scripting::ValueObject::from(read.pdispVal); own && !own->isObject())
        json = ReadJson(read.pdispVal, DISPID(DISPID_VALUE)); // a Qt value, as its text: a QString's
    VariantClear(&read);
    return json;
}

QJsonValue ReadJson(IDispatch *dispatch, const QString &name)
{
    DISPID memberId = DISPID_UNKNOWN;
    return SUCCEEDED(scripting::MemberIdOf(dispatch, name, &memberId)) ? ReadJson(dispatch, memberId) : QJsonValue();
}

void RenderDispatch(IDispatch *dispatch, QJsonObject *rendered)
{
    const host::Ref<scripting::ValueObject> own = scripting::ValueObject::from(dispatch);
    if (!own) {
        rendered->insert(QStringLiteral("value"), QJsonValue());
        return;
    }
    rendered->insert(QStringLiteral("typeName"), own->typeName());
    // The value itself, not an object's property that may be called "value".
    rendered->insert(QStringLiteral("value"), ReadJson(dispatch, DISPID(DISPID_VALUE)));
    if (own->isObject()) {
        if (own->object())
            rendered->insert(QStringLiteral("object"), ObjectIdentity(dispatch, own->object()));
        return;
    }
    // The parts (numbers, truths, texts) straight from the value, not one
    // look-up and read through dispatch each.
    QJsonObject parts;
    for (const scripting::ValuePart &part : own->parts())
        parts.insert(QLatin1String(part.name), QJsonValue::fromVariant(part.value));
    if (!parts.isEmpty())
        rendered->insert(QStringLiteral("parts"), parts);
}

} // namespace

QJsonObject RenderValue(const VARIANT &value)
{
    QJsonObject rendered{ { QStringLiteral("vt"), scripting::VarTypeName(value.vt) } };
    if (value.vt == VT_DISPATCH)
        RenderDispatch(value.pdispVal, &rendered);
    else
        rendered.insert(QStringLiteral("value"), ScalarJson(value));
    return rendered;
}

QJsonObject ObjectIdentity(IDispatch *dispatch, QObject *object)
{
    QJsonObject identity{
        { QStringLiteral("address"), scripting::AddressText(object) },
        { QStringLiteral("className"), ReadJson(dispatch, QStringLiteral("QtClassName")) },
        { QStringLiteral("objectName"), ReadJson(dispatch, QStringLiteral("objectName")) },
    };
    // Walking parents is for the objects of this thread only.
    if (object->thread() == QThread::currentThread())
        identity.insert(QStringLiteral("path"), ObjectPath(object));
    return identity;
}

bool ArgumentText(const QJsonValue &argument, QString *text)
{
    if (argument.isString()) {
        *text = argument.toString();
        return true;
    }
    if (argument.isBool()) {
        *text = QLatin1String(argument.toBool() ? "true" : "false");
        return true;
    }
    if (argument.isDouble()) {
        const double number = argument.toDouble();
        *text = std::floor(number) == number && std::fabs(number) < kLargestExactInteger ? QString::number(qint64(number))
                                                                                           : QString::number(number, 'g', 17);
        return true;
    }
    return false;
}

} // namespace vrqt::agent
