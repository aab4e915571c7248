#include "controls/helperfactories.h"

// Not built yet: the aggregate leaves the field empty.
HRESULT CreateLineEditHelper(IUnknown **helper)
{
    if (helper)
        *helper = nullptr;
    return E_NOTIMPL;
}

HRESULT CreateTextEditHelper(IUnknown **helper)
{
    if (helper)
        *helper = nullptr;
    return E_NOTIMPL;
}

