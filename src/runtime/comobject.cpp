#include "runtime/comobject.h"

HRESULT QueryInterfaceTable(void *object, std::initializer_list<InterfaceEntry> entries, REFIID riid, void **result)
{
    if (!result)
        return E_POINTER;
    *result = nullptr;
    for (const InterfaceEntry &entry : entries) {
        if (*entry.iid == riid) {
            *result = entry.cast(object);
            break;
        }
    }
    if (!*result && riid == IID_IUnknown && entries.size() > 0)
        *result = entries.begin()->cast(object);
    if (!*result)
        return E_NOINTERFACE;
    static_cast<IUnknown *>(*result)->AddRef();
    return S_OK;
}
