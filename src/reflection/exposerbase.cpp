#include "reflection/exposerbase.h"

#include <QObject>

#include "reflection/exposerregistry.h"
#include "reflection/contextobject.h"
#include "reflection/qttypeinfo.h"
#include "runtime/comobject.h"
#include "typeinfo/multithreadtypeinfo.h"
#include "values/hostarguments.h"

bool NameEquals(BSTR name, const OLECHAR *text)
{
    BSTR other = SysAllocString(text);
    const bool equal = VarBstrCmp(name, other, 1024, 0) == VARCMP_EQ;
    SysFreeString(other);
    return equal;
}

// CvrQtBaseExposer

CvrQtBaseExposer::~CvrQtBaseExposer()
{
    SysFreeString(name);
}

BSTR CvrQtBaseExposer::GetName() const
{
    return name ? SysAllocStringLen(name, SysStringLen(name)) : nullptr;
}

// CvrQtBaseMemberExposer

CvrQtBaseMemberExposer::~CvrQtBaseMemberExposer()
{
    for (QtTypeDescription *description : descriptions)
        delete description;
}

QtTypeDescription *CvrQtBaseMemberExposer::DescribeMemberType(const char *rawName)
{
    auto *description = new QtTypeDescription;
    CQtTypeTable::DescribeType(rawName, *description, MethodTypeMask);
    return description;
}

HRESULT CvrQtBaseMemberExposer::CoerceArgument(VARIANT *value, int slot)
{
    return ::CoerceArgument(value, *descriptions[size_t(slot)]);
}

HRESULT CvrQtBaseMemberExposer::CheckResultArgument(VARIANT *result)
{
    return result ? S_OK : DISP_E_TYPEMISMATCH;
}

HRESULT CvrQtBaseMemberExposer::CheckArguments(DISPPARAMS *params)
{
    return params ? S_OK : DISP_E_TYPEMISMATCH;
}

void CvrQtBaseMemberExposer::Initialize(CvrQtBaseObjectExposer *newOwner)
{
    if (initialized)
        return;
    initialized = true;
    owner = newOwner;
}

FUNCDESC **CvrQtBaseMemberExposer::GetFuncDescs()
{
    FUNCDESC **records = nullptr;
    BuildFuncDescs(&records);
    return records;
}

HRESULT CvrQtBaseMemberExposer::ContextObject(IUnknown *context, const QMetaObject *declaringClass,
                                              QObject **object) const
{
    const HRESULT hr = CallContextObject(context, object);
    if (FAILED(hr))
        return hr;
    // A null object goes on: Qt answers it with a failed read or call.
    if (*object && (!IsLiveContextObject(*object) ||
                    !(*object)->metaObject()->inherits(declaringClass))) {
        *object = nullptr;
        return E_INVALIDARG;
    }
    return S_OK;
}

HRESULT CvrQtBaseMemberExposer::CoerceArguments(DISPPARAMS *params, size_t count, int firstSlot)
{
    if (!params)
        return DISP_E_TYPEMISMATCH;
    if (params->cArgs != count)
        return DISP_E_BADPARAMCOUNT;
    for (UINT index = 0; index < params->cArgs; ++index) {
        const HRESULT hr = CoerceArgument(&params->rgvarg[index], int(index) + firstSlot);
        if (FAILED(hr))
            return hr;
    }
    return S_OK;
}

HostWrapper CvrQtBaseMemberExposer::Wrapper(IUnknown *context) const
{
    return { owner->HostFactory(), context };
}

// CvrQtBaseObjectExposer

CvrQtBaseObjectExposer::~CvrQtBaseObjectExposer()
{
    if (manager)
        manager->Release();
    ReleaseTypeInfo();
    if (hostFactory)
        hostFactory->Release();
}

void CvrQtBaseObjectExposer::ReleaseTypeInfo()
{
    if (typeInfo) {
        // A host may keep the description beyond this exposer.
        typeInfo->DetachExposer();
        typeInfo->Release();
        typeInfo = nullptr;
    }
}

void CvrQtBaseObjectExposer::ReleaseReferences()
{
    if (manager) {
        manager->Release();
        manager = nullptr;
    }
}

void CvrQtBaseObjectExposer::Initialize(CvrQtExposerRegistry *newRegistry, IvrQtHostObjectFactory *factory)
{
    if (initialized)
        return;
    initialized = true;
    registry = newRegistry;
    manager = registry->Manager();
    manager->AddRef();
    if (factory)
        factory->AddRef();
    if (hostFactory)
        hostFactory->Release();
    hostFactory = factory;
}

HRESULT CvrQtBaseObjectExposer::GetTypeInfo(ITypeInfo **result)
{
    *result = nullptr;
    if (!typeInfo) {
        ComPtr<CvrQtCustomTypeInfo> created;
        HRESULT hr = CvrQtCustomTypeInfo::Create(created.put());
        if (FAILED(hr))
            return hr;
        ComPtr<IUnknown> wrapper;
        hr = vrOpenAppHook::CreateMultiThreadTypeInfo(created->AsTypeInfo(), wrapper.put());
        if (FAILED(hr))
            return hr;
        hr = created->Initialize(registry, this, wrapper.get());
        if (FAILED(hr))
            return hr;
        typeInfo = created.detach();
    }
    typeInfo->AddRef();
    *result = typeInfo->AsTypeInfo();
    return S_OK;
}
