// Reads a shared string in a process of its own, as another program of the
// same user would: sharedstringreader WINDOW NAME. Prints the result code
// and the text as UTF-8.
#include <cstdio>
#include <cstdlib>

#include "platform/utf.h"
#include "runtime/sharedstrings.h"

int main(int argc, char **argv)
{
    if (argc != 3)
        return 2;
    const HWND window = HWND(std::strtoull(argv[1], nullptr, 0));
    const std::u16string name = platform::toUtf16(argv[2]);
    BSTR value = nullptr;
    const HRESULT hr = GetSharedString(window, name.c_str(), &value);
    std::printf("%08X %s\n", unsigned(hr), platform::toUtf8(std::u16string_view(value ? value : u"", SysStringLen(value))).c_str());
    SysFreeString(value);
    return 0;
}
