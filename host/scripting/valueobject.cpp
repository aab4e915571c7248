#include "host/scripting/valueobject.h"

#include <new>

#include "host/scripting/scriptsession.h"
#include "host/scripting/variants.h"

namespace vrqt::scripting {

namespace {

std::atomic<long> liveValues{ 0 };

constexpr char16_t kValueName[] = u"value";

bool IsValueName(LPOLESTR name)
{
    return QString::fromUtf16(name).compare(QString::fromUtf16(kValueName), Qt::CaseInsensitive) == 0;
}

// A script reads a value as a property or as a method without arguments.
HRESULT CheckRead(WORD flags, const DISPPARAMS *params)
{
    if (!(flags & (DISPATCH_METHOD | DISPATCH_PROPERTYGET)))
        return DISP_E_MEMBERNOTFOUND;
    if (params && params->cArgs != 0)
        return DISP_E_BADPARAMCOUNT;
    return S_OK;
}

} // namespace

ValueObject::ValueObject(void *storage, const QString &typeName, int hostContext, QObject *object,
                         std::weak_ptr<ScriptSession> session)
    : stored(storage), name(typeName), row(ValueTypeOf(typeName)), context(hostContext), target(object),
      session(std::move(session))
{
    ++liveValues;
}

ValueObject::~ValueObject()
{
    if (stored && row.destroy)
        row.destroy(stored);
    --liveValues;
}

ValueObject *ValueObject::create(void *storage, const QString &typeName, int hostContext, QObject *object,
                                 std::weak_ptr<ScriptSession> session)
{
    ValueObject *created = new (std::nothrow) ValueObject(storage, typeName, hostContext, object, std::move(session));
    if (!created) {
        const ValueType &type = ValueTypeOf(typeName);
        if (storage && type.destroy)
            type.destroy(storage);
    }
    return created;
}

host::Ref<ValueObject> ValueObject::from(IUnknown *unknown)
{
    IDispatch *own = nullptr;
    if (!unknown || FAILED(unknown->QueryInterface(IID_HostValueObject, reinterpret_cast<void **>(&own))) || !own)
        return {};
    return host::Ref<ValueObject>(static_cast<ValueObject *>(own));
}

long ValueObject::liveCount()
{
    return liveValues.load();
}

std::vector<ValuePart> ValueObject::parts() const
{
    return stored && row.parts ? row.parts(stored) : std::vector<ValuePart>();
}

std::vector<QString> ValueObject::partNames() const
{
    std::vector<QString> names;
    for (const ValuePart &part : parts())
        names.push_back(QLatin1String(part.name));
    return names;
}

HRESULT ValueObject::QueryInterface(REFIID riid, void **result)
{
    if (!result)
        return E_POINTER;
    *result = nullptr;
    if (riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_HostValueObject)
        *result = static_cast<IDispatch *>(this);
    else if (riid == IID_IvrQtValueStorage)
        *result = static_cast<IvrQtValueStorage *>(this);
    else
        return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

HRESULT ValueObject::GetStorage(void **result)
{
    if (!result)
        return E_POINTER;
    *result = stored;
    return S_OK;
}

HRESULT ValueObject::GetTypeInfoCount(UINT *count)
{
    if (!count)
        return E_POINTER;
    *count = isObject() && object() ? 1 : 0;
    return S_OK;
}

HRESULT ValueObject::GetTypeInfo(UINT index, LCID, ITypeInfo **typeInfo)
{
    if (!typeInfo)
        return E_POINTER;
    *typeInfo = nullptr;
    if (index != 0 || !isObject())
        return DISP_E_BADINDEX;
    const std::shared_ptr<ScriptSession> scripts = session.lock();
    if (!scripts || !object())
        return RPC_E_DISCONNECTED;
    return scripts->typeInfoOf(object(), typeInfo);
}

HRESULT ValueObject::GetIDsOfNames(REFIID riid, LPOLESTR *names, UINT count, LCID, DISPID *dispIds)
{
    if (riid != IID_NULL)
        return DISP_E_UNKNOWNINTERFACE;
    if (!names || !dispIds)
        return E_POINTER;
    if (count == 0)
        return S_OK;
    // Arguments cannot be named here.
    for (UINT index = 1; index < count; ++index)
        dispIds[index] = DISPID_UNKNOWN;
    dispIds[0] = DISPID_UNKNOWN;
    if (!names[0])
        return DISP_E_UNKNOWNNAME;
    HRESULT hr = DISP_E_UNKNOWNNAME;
    if (isObject()) {
        // The object's own members first: a "value" property wins.
        const std::shared_ptr<ScriptSession> scripts = session.lock();
        if (scripts && object())
            hr = scripts->memberId(object(), names[0], &dispIds[0]);
    } else {
        const QString wanted = QString::fromUtf16(names[0]);
        const std::vector<QString> parts = partNames();
        for (size_t index = 0; index < parts.size(); ++index) {
            if (parts[index].compare(wanted, Qt::CaseInsensitive) == 0) {
                dispIds[0] = DISPID(index + 1);
                hr = S_OK;
                break;
            }
        }
    }
    if (FAILED(hr) && IsValueName(names[0])) {
        dispIds[0] = DISPID_VALUE;
        hr = S_OK;
    }
    if (SUCCEEDED(hr) && count > 1)
        return DISP_E_UNKNOWNNAME;
    return hr;
}

HRESULT ValueObject::Invoke(DISPID dispId, REFIID riid, LCID, WORD flags, DISPPARAMS *params, VARIANT *result,
                            EXCEPINFO *excepInfo, UINT *argErr)
{
    if (riid != IID_NULL)
        return DISP_E_UNKNOWNINTERFACE;
    if (!isObject() || dispId == DISPID_VALUE)
        return readOwnMember(dispId, flags, params, result);
    const std::shared_ptr<ScriptSession> scripts = session.lock();
    if (!scripts || !object())
        return RPC_E_DISCONNECTED;
    return scripts->invoke(object(), dispId, flags, params, result, excepInfo, argErr);
}

HRESULT ValueObject::readOwnMember(DISPID dispId, WORD flags, DISPPARAMS *params, VARIANT *result) const
{
    HRESULT hr = CheckRead(flags, params);
    if (FAILED(hr))
        return hr;
    VARIANT outcome;
    VariantInit(&outcome);
    if (dispId == DISPID_VALUE) {
        hr = valueText(&outcome);
    } else {
        std::vector<ValuePart> parts;
        if (stored && row.parts)
            parts = row.parts(stored);
        if (dispId < 1 || size_t(dispId) > parts.size())
            return DISP_E_MEMBERNOTFOUND;
        VariantFromQVariant(parts[size_t(dispId) - 1].value, &outcome);
    }
    if (result) {
        VariantClear(result);
        *result = outcome;
    } else {
        VariantClear(&outcome);
    }
    return hr;
}

HRESULT ValueObject::valueText(VARIANT *result) const
{
    QString text;
    if (row.kind == ValueKind::Value && stored) {
        text = row.text(stored);
    } else if (void *pointer = PointerOf(row, stored)) {
        text = AddressText(pointer);
    } else {
        result->vt = VT_NULL;
        return S_OK;
    }
    result->vt = VT_BSTR;
    result->bstrVal = ToBstr(text.isNull() ? QString(QLatin1String("")) : text);
    return result->bstrVal ? S_OK : E_OUTOFMEMORY;
}

} // namespace vrqt::scripting
