#include "host/scripting/scripttext.h"

#include <QRegularExpression>

#include <cmath>
#include <limits>

#include "host/scripting/variants.h"

namespace vrqt::scripting {

namespace {

bool IsQuoted(const QString &text)
{
    return text.size() >= 2 && text.startsWith(QLatin1Char('"')) && text.endsWith(QLatin1Char('"'));
}

HRESULT SetText(const QString &text, VARIANT *value)
{
    value->vt = VT_BSTR;
    value->bstrVal = ToBstr(text.isNull() ? QString(QLatin1String("")) : text);
    return value->bstrVal ? S_OK : E_OUTOFMEMORY;
}

} // namespace

HRESULT ScriptValueFromText(const QString &text, VARIANT *value)
{
    if (!value)
        return E_POINTER;
    VariantInit(value);
    if (IsQuoted(text))
        return SetText(UnquotedScriptText(text), value);
    for (const bool truth : { true, false }) {
        if (text.compare(QLatin1String(truth ? "true" : "false"), Qt::CaseInsensitive) == 0) {
            value->vt = VT_BOOL;
            value->boolVal = truth ? VARIANT_TRUE : VARIANT_FALSE;
            return S_OK;
        }
    }
    static const QRegularExpression integer(QStringLiteral("^[-+]?\\d+$"));
    static const QRegularExpression decimal(QStringLiteral("^[-+]?(?:\\d+\\.?\\d*|\\.\\d+)(?:[eE][-+]?\\d+)?$"));
    if (integer.match(text).hasMatch()) {
        bool fits = false;
        const qlonglong number = text.toLongLong(&fits);
        if (fits && number >= std::numeric_limits<LONG>::min() && number <= std::numeric_limits<LONG>::max()) {
            value->vt = VT_I4;
            value->lVal = LONG(number);
            return S_OK;
        }
    }
    if (decimal.match(text).hasMatch()) {
        const double number = text.toDouble();
        if (std::isfinite(number)) {
            value->vt = VT_R8;
            value->dblVal = number;
            return S_OK;
        }
    }
    return SetText(text, value);
}

QString UnquotedScriptText(const QString &text)
{
    return IsQuoted(text) ? text.mid(1, text.size() - 2) : text;
}

} // namespace vrqt::scripting
