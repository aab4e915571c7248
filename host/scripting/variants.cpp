#include "host/scripting/variants.h"

#include <cstdint>
#include <iterator>
#include <limits>

namespace vrqt::scripting {

namespace {

struct VarTypeRow
{
    VARTYPE vt;
    const char *name;
};

constexpr VarTypeRow kVarTypes[] = {
    { VT_EMPTY, "VT_EMPTY" }, { VT_NULL, "VT_NULL" },         { VT_I2, "VT_I2" },         { VT_I4, "VT_I4" },
    { VT_R4, "VT_R4" },       { VT_R8, "VT_R8" },             { VT_CY, "VT_CY" },         { VT_DATE, "VT_DATE" },
    { VT_BSTR, "VT_BSTR" },   { VT_DISPATCH, "VT_DISPATCH" }, { VT_ERROR, "VT_ERROR" },   { VT_BOOL, "VT_BOOL" },
    { VT_VARIANT, "VT_VARIANT" }, { VT_UNKNOWN, "VT_UNKNOWN" }, { VT_DECIMAL, "VT_DECIMAL" }, { VT_I1, "VT_I1" },
    { VT_UI1, "VT_UI1" },     { VT_UI2, "VT_UI2" },           { VT_UI4, "VT_UI4" },       { VT_I8, "VT_I8" },
    { VT_UI8, "VT_UI8" },     { VT_INT, "VT_INT" },           { VT_UINT, "VT_UINT" },     { VT_VOID, "VT_VOID" },
    { VT_HRESULT, "VT_HRESULT" }, { VT_PTR, "VT_PTR" },       { VT_SAFEARRAY, "VT_SAFEARRAY" },
    { VT_CARRAY, "VT_CARRAY" }, { VT_USERDEFINED, "VT_USERDEFINED" }, { VT_LPSTR, "VT_LPSTR" },
    { VT_LPWSTR, "VT_LPWSTR" }, { VT_RECORD, "VT_RECORD" },   { VT_ILLEGAL, "VT_ILLEGAL" },
};

bool fitsInt32(const QVariant &whole)
{
    const int type = whole.userType();
    if (type == QMetaType::ULong || type == QMetaType::ULongLong)
        return whole.toULongLong() <= qulonglong(std::numeric_limits<std::int32_t>::max());
    const qlonglong number = whole.toLongLong();
    return number >= std::numeric_limits<std::int32_t>::min() && number <= std::numeric_limits<std::int32_t>::max();
}

} // namespace

BSTR ToBstr(const QString &text)
{
    if (text.isNull())
        return nullptr;
    return SysAllocStringLen(reinterpret_cast<const OLECHAR *>(text.utf16()), UINT(text.size()));
}

QString FromBstr(BSTR text)
{
    return text ? QString::fromUtf16(text, int(SysStringLen(text))) : QString();
}

void VariantFromQVariant(const QVariant &from, VARIANT *value)
{
    switch (from.userType()) {
    case QMetaType::Int:
        value->vt = VT_I4;
        value->lVal = from.toInt();
        return;
    // Qt 6 gives sizes and counts as qsizetype (64 bits) where Qt 5 gave
    // int: a whole number that fits travels as the 32-bit integer either way.
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
        if (fitsInt32(from)) {
            value->vt = VT_I4;
            value->lVal = from.toInt();
        } else {
            value->vt = VT_R8;
            value->dblVal = from.toDouble();
        }
        return;
    case QMetaType::Double:
        value->vt = VT_R8;
        value->dblVal = from.toDouble();
        return;
    case QMetaType::Bool:
        value->vt = VT_BOOL;
        value->boolVal = from.toBool() ? VARIANT_TRUE : VARIANT_FALSE;
        return;
    default:
        value->vt = VT_BSTR;
        value->bstrVal = ToBstr(from.toString().isNull() ? QString(QLatin1String("")) : from.toString());
        return;
    }
}

QString VarTypeName(VARTYPE vt)
{
    QString prefix;
    if (vt & VT_ARRAY)
        prefix += QLatin1String("VT_ARRAY|");
    if (vt & VT_BYREF)
        prefix += QLatin1String("VT_BYREF|");
    const VARTYPE base = vt == VT_ILLEGAL ? vt : VARTYPE(vt & VT_TYPEMASK);
    for (const VarTypeRow &row : kVarTypes) {
        if (row.vt == base)
            return prefix + QLatin1String(row.name);
    }
    return prefix + QStringLiteral("VT_0x%1").arg(base, 0, 16);
}

QString AddressText(const void *address)
{
    return QStringLiteral("0x") + QString::number(quintptr(address), 16);
}

QString HResultText(HRESULT hr)
{
    return QStringLiteral("0x") + QStringLiteral("%1").arg(quint32(hr), 8, 16, QLatin1Char('0')).toUpper();
}

QString SystemMessageText(HRESULT hr)
{
    OLECHAR buffer[512];
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, DWORD(hr), 0,
                                        buffer, DWORD(std::size(buffer)), nullptr);
    return QString::fromUtf16(buffer, int(length)).trimmed();
}

} // namespace vrqt::scripting
