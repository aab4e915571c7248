// The makers of the eighteen helpers, one in each widget family's file. Each
// makes its helper with one reference for the caller, as its primary
// interface: E_POINTER for a null result, E_OUTOFMEMORY without memory.
#pragma once

#include "platform/automation.h"

HRESULT CreateControlHelper(IUnknown **helper);
HRESULT CreateCheckBoxHelper(IUnknown **helper);
HRESULT CreateCalendarWidgetHelper(IUnknown **helper);
HRESULT CreateLineEditHelper(IUnknown **helper);
HRESULT CreateListWidgetHelper(IUnknown **helper);
HRESULT CreateTableWidgetHelper(IUnknown **helper);
HRESULT CreateTreeWidgetHelper(IUnknown **helper);
HRESULT CreateScrollAreaHelper(IUnknown **helper);
HRESULT CreateMenuHelper(IUnknown **helper);
HRESULT CreateMenuBarHelper(IUnknown **helper);
HRESULT CreateComboBoxHelper(IUnknown **helper);
HRESULT CreateToolButtonHelper(IUnknown **helper);
HRESULT CreateTabWidgetHelper(IUnknown **helper);
HRESULT CreateSpinBoxHelper(IUnknown **helper);
HRESULT CreateDoubleSpinBoxHelper(IUnknown **helper);
HRESULT CreateDateTimeEditHelper(IUnknown **helper);
HRESULT CreateTextEditHelper(IUnknown **helper);
HRESULT CreateRadioButtonHelper(IUnknown **helper);
