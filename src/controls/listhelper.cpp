#include "controls/helperfactories.h"

// Not built yet: the aggregate leaves the field empty.
HRESULT CreateListWidgetHelper(IUnknown **helper)
{
    if (helper)
        *helper = nullptr;
    return E_NOTIMPL;
}

