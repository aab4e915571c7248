#include "values/stringbridges.h"

#include "platform/utf.h"
#include "runtime/errors.h"

BSTR QStringToBstr(QString value)
{
    const QChar *units = value.constData();
    int length = 0;
    while (length < value.size() && !units[length].isNull())
        ++length;
    if (length == 0)
        return nullptr;
    BSTR result = SysAllocStringLen(reinterpret_cast<const OLECHAR *>(units), UINT(length));
    if (!result)
        ThrowHResult(E_OUTOFMEMORY);
    return result;
}

QString BstrToQString(BSTR bstr)
{
    if (!bstr)
        return QString();
    return QString(reinterpret_cast<const QChar *>(bstr), int(SysStringLen(bstr)));
}

BSTR NarrowToBstr(const char *text)
{
    if (!text)
        return nullptr;
    const std::u16string wide = platform::toUtf16(text);
    BSTR result = SysAllocStringLen(wide.data(), UINT(wide.size()));
    if (!result)
        ThrowHResult(E_OUTOFMEMORY);
    return result;
}
