// A program outside the project: it includes the umbrella header, links
// libvrqtplatform.so and uses the Windows names alone.
#include <cstdio>

#include "platform/automation.h"

int main()
{
    BSTR text = SysAllocString(u"12.5");
    VARIANT value;
    VariantInit(&value);
    V_VT(&value) = VT_BSTR;
    V_BSTR(&value) = text;
    if (FAILED(VariantChangeType(&value, &value, 0, VT_I4)) || V_I4(&value) != 12)
        return 1;
    SAFEARRAY *array = SafeArrayCreateVector(VT_I4, 0, 2);
    LONG index = 1;
    LONG element = 7;
    if (FAILED(SafeArrayPutElement(array, &index, &element)) || FAILED(SafeArrayDestroy(array)))
        return 2;
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    SetEvent(event);
    DWORD which = 99;
    if (CoWaitForMultipleHandles(0, 0, 1, &event, &which) != S_OK || which != 0 || !CloseHandle(event))
        return 3;
    std::puts("consumer ok");
    return 0;
}
