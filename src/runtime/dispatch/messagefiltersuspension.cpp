#include "runtime/dispatch/messagefiltersuspension.h"

MessageFilterSuspension::MessageFilterSuspension()
{
    if (IsSingleThreadedApartment())
        CoRegisterMessageFilter(nullptr, &storedFilter);
}

MessageFilterSuspension::~MessageFilterSuspension()
{
    if (!storedFilter)
        return;
    IMessageFilter *handedBack = nullptr;
    if (SUCCEEDED(CoRegisterMessageFilter(storedFilter, &handedBack)) && handedBack)
        handedBack->Release();
    storedFilter->Release();
    storedFilter = nullptr;
}

bool MessageFilterSuspension::IsSingleThreadedApartment()
{
    IComThreadingInfo *info = nullptr;
    if (FAILED(CoGetObjectContext(IID_IComThreadingInfo, reinterpret_cast<void **>(&info))) || !info)
        return false;
    APTTYPE type = APTTYPE_CURRENT;
    const HRESULT hr = info->GetCurrentApartmentType(&type);
    info->Release();
    return SUCCEEDED(hr) && (type == APTTYPE_STA || type == APTTYPE_MAINSTA);
}
