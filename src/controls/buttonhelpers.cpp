#include "controls/helperfactories.h"

// Not built yet: the aggregate leaves the field empty.
HRESULT CreateCheckBoxHelper(IUnknown **helper)
{
    if (helper)
        *helper = nullptr;
    return E_NOTIMPL;
}

HRESULT CreateRadioButtonHelper(IUnknown **helper)
{
    if (helper)
        *helper = nullptr;
    return E_NOTIMPL;
}

