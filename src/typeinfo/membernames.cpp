#include "typeinfo/membernames.h"

#include <QChar>

#include <string>

namespace vrOpenAppHook {

namespace {

constexpr OLECHAR invalidName[] = u"not_valid_name";

// iswalpha and iswalnum as Windows answers them for wide characters: by the
// Unicode classes, not by the C library's locale, which the application
// sets from its environment here.
bool isLetter(OLECHAR unit)
{
    return QChar(unit).isLetter();
}

bool isLetterOrDigit(OLECHAR unit)
{
    return QChar(unit).isLetter() || QChar(unit).isDigit();
}

} // namespace

DWORD CharUpperBuffW(LPWSTR text, DWORD length)
{
    if (!text)
        return 0;
    for (DWORD index = 0; index < length; ++index)
        text[index] = QChar::toUpper(char16_t(text[index]));
    return length;
}

BSTR UpperCaseNameCopy(LPCOLESTR name)
{
    BSTR copy = SysAllocString(name ? name : u"");
    if (copy)
        CharUpperBuffW(copy, SysStringLen(copy));
    return copy;
}

HRESULT NormalizeMemberNameDefault(BSTR *name)
{
    if (!name)
        return E_POINTER;
    const UINT length = SysStringLen(*name);
    if (length == 0)
        return SysReAllocString(name, invalidName) ? S_OK : E_OUTOFMEMORY;
    BSTR text = *name;
    if (!isLetter(text[0]))
        text[0] = u'z';
    for (UINT index = 1; index < length; ++index) {
        if (!isLetterOrDigit(text[index]))
            text[index] = u'_';
    }
    return S_OK;
}

HRESULT AppendNameSuffixDefault(BSTR *name, int number)
{
    if (!name)
        return E_POINTER;
    std::u16string text(*name ? *name : u"", SysStringLen(*name));
    text += u'_';
    for (const char digit : std::to_string(number))
        text += char16_t(digit);
    return SysReAllocStringLen(name, text.c_str(), UINT(text.size())) ? S_OK : E_OUTOFMEMORY;
}

} // namespace vrOpenAppHook
