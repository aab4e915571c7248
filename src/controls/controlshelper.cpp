#include "controls/controlshelper.h"

#include <iterator>
#include <new>

#include "controls/helperfactories.h"
#include "interfaces/controls.h"

namespace {

struct HelperField {
    HRESULT (*create)(IUnknown **helper);
    const IID *primary;
};

// Field order: the order in which the helpers are made.
constexpr HelperField kFields[] = {
    { &CreateControlHelper, &IID_IvrQtControlHelper },
    { &CreateCheckBoxHelper, &IID_IvrQtCheckBoxHelper },
    { &CreateCalendarWidgetHelper, &IID_IvrQtCalendarWidgetHelper },
    { &CreateLineEditHelper, &IID_IvrQtLineEditHelper },
    { &CreateListWidgetHelper, &IID_IvrQtListWidgetHelper },
    { &CreateTableWidgetHelper, &IID_IvrQtTableWidgetHelper },
    { &CreateTreeWidgetHelper, &IID_IvrQtTreeWidgetHelper },
    { &CreateScrollAreaHelper, &IID_IvrQtScrollAreaHelper },
    { &CreateMenuHelper, &IID_IvrQtMenuHelper },
    { &CreateMenuBarHelper, &IID_IvrQtMenuBarHelper },
    { &CreateComboBoxHelper, &IID_IvrQtComboBoxHelper },
    { &CreateToolButtonHelper, &IID_IvrQtToolButtonHelper },
    { &CreateTabWidgetHelper, &IID_IvrQtTabWidgetHelper },
    { &CreateSpinBoxHelper, &IID_IvrQtSpinBoxHelper },
    { &CreateDoubleSpinBoxHelper, &IID_IvrQtDoubleSpinBoxHelper },
    { &CreateDateTimeEditHelper, &IID_IvrQtDateTimeEditHelper },
    { &CreateTextEditHelper, &IID_IvrQtTextEditHelper },
    { &CreateRadioButtonHelper, &IID_IvrQtRadioButtonHelper },
};

} // namespace

HRESULT CvrQtControlsHelper::CreateInstance(CvrQtControlsHelper **aggregate)
{
    static_assert(std::size(kFields) == kHelperCount, "one field for each helper");
    if (!aggregate)
        return E_POINTER;
    *aggregate = new (std::nothrow) CvrQtControlsHelper();
    if (!*aggregate)
        return E_OUTOFMEMORY;
    for (int field = 0; field < kHelperCount; ++field) {
        IUnknown *helper = nullptr;
        if (SUCCEEDED(kFields[field].create(&helper)))
            (*aggregate)->helpers[field] = helper;
    }
    return S_OK;
}

CvrQtControlsHelper::~CvrQtControlsHelper()
{
    for (IUnknown *&helper : helpers) {
        if (helper)
            helper->Release();
        helper = nullptr;
    }
}

HRESULT CvrQtControlsHelper::QueryInterface(REFIID riid, void **object)
{
    if (!object)
        return E_POINTER;
    *object = nullptr;
    for (int field = 0; field < kHelperCount; ++field) {
        if (*kFields[field].primary == riid)
            return helpers[field] ? helpers[field]->QueryInterface(riid, object) : E_NOINTERFACE;
    }
    return E_NOINTERFACE;
}
