#include "runtime/moduleobject.h"

namespace {

// Made before and destroyed after the module library's lifetime object:
// objects released at detach still count down here.
__attribute__((init_priority(150))) CvrQtProxyModule instance;

} // namespace

CvrQtProxyModule &ProxyModule()
{
    return instance;
}

HRESULT CvrQtProxyModule::GetGlobalInterfaceTable(IGlobalInterfaceTable **table)
{
    if (!table)
        return E_POINTER;
    IGlobalInterfaceTable *current = globalInterfaceTable.load();
    if (!current) {
        IGlobalInterfaceTable *created = nullptr;
        const HRESULT hr = CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER,
                                            IID_IGlobalInterfaceTable, reinterpret_cast<void **>(&created));
        if (FAILED(hr))
            return hr;
        if (!created)
            return E_POINTER;
        // Two threads may race to create: the loser releases its copy.
        if (globalInterfaceTable.compare_exchange_strong(current, created))
            current = created;
        else
            created->Release();
    }
    current->AddRef();
    *table = current;
    return S_OK;
}

CvrQtProxyModule::~CvrQtProxyModule()
{
    if (IGlobalInterfaceTable *table = globalInterfaceTable.exchange(nullptr))
        table->Release();
}
