#include "controls/helperfactories.h"

// Not built yet: the aggregate leaves the field empty.
HRESULT CreateTabWidgetHelper(IUnknown **helper)
{
    if (helper)
        *helper = nullptr;
    return E_NOTIMPL;
}

HRESULT CreateToolButtonHelper(IUnknown **helper)
{
    if (helper)
        *helper = nullptr;
    return E_NOTIMPL;
}

