#include "controls/helperfactories.h"

// Not built yet: the aggregate leaves the field empty.
HRESULT CreateComboBoxHelper(IUnknown **helper)
{
    if (helper)
        *helper = nullptr;
    return E_NOTIMPL;
}

