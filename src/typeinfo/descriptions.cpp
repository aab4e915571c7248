#include "typeinfo/descriptions.h"

#include <algorithm>

namespace vrOpenAppHook {

HRESULT CopyRecordInto(const FUNCDESC &source, FUNCDESC &target)
{
    target = source;
    target.lprgelemdescParam = nullptr;
    if (source.cParams < 1)
        return S_OK;
    ELEMDESC *parameters = new (std::nothrow) ELEMDESC[size_t(source.cParams)];
    if (!parameters)
        return E_OUTOFMEMORY;
    if (source.lprgelemdescParam)
        std::copy_n(source.lprgelemdescParam, source.cParams, parameters);
    else
        std::fill_n(parameters, source.cParams, ELEMDESC{});
    target.lprgelemdescParam = parameters;
    return S_OK;
}

void FreeRecordParts(FUNCDESC &record)
{
    delete[] record.lprgelemdescParam;
    record.lprgelemdescParam = nullptr;
}

HRESULT CopyRecordInto(const VARDESC &source, VARDESC &target)
{
    target = source;
    if (source.varkind != VAR_CONST || !source.lpvarValue)
        return S_OK;
    target.lpvarValue = new (std::nothrow) VARIANT;
    if (!target.lpvarValue)
        return E_OUTOFMEMORY;
    VariantInit(target.lpvarValue);
    const HRESULT hr = VariantCopy(target.lpvarValue, source.lpvarValue);
    if (FAILED(hr)) {
        delete target.lpvarValue;
        target.lpvarValue = nullptr;
    }
    return hr;
}

void FreeRecordParts(VARDESC &record)
{
    if (record.varkind != VAR_CONST || !record.lpvarValue)
        return;
    VariantClear(record.lpvarValue);
    delete record.lpvarValue;
    record.lpvarValue = nullptr;
}

} // namespace vrOpenAppHook
