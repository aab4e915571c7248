#include "host/scripting/scriptsession.h"

#include <vector>

#include <QObject>

#include "host/scripting/callcontext.h"
#include "host/scripting/objectfactory.h"
#include "host/scripting/valueobject.h"
#include "host/scripting/valuetypes.h"

namespace vrqt::scripting {

namespace {

std::atomic<int> sessionCounter{ 0 };

// One call of a type description with its own copies of the arguments and
// of what comes back, so that it may run on the object's thread after its
// caller has stopped waiting.
class DeliveredCall
{
public:
    DeliveredCall(host::Ref<ITypeInfo> typeInfo, QObject *object, int hostContext, DISPID memberId, WORD flags,
                  std::shared_ptr<std::atomic<int>> inFlight)
        : typeInfo(std::move(typeInfo)), object(object), hostContext(hostContext), memberId(memberId), flags(flags),
          inFlight(std::move(inFlight))
    {
        ++*this->inFlight;
        VariantInit(&result);
    }
    ~DeliveredCall()
    {
        for (VARIANT &argument : arguments)
            VariantClear(&argument);
        VariantClear(&result);
        clearException();
        --*inFlight;
    }
    DeliveredCall(const DeliveredCall &) = delete;
    DeliveredCall &operator=(const DeliveredCall &) = delete;

    // A reference travels as the value it refers to: the call must not
    // reach back into the caller's memory.
    HRESULT copyArguments(const DISPPARAMS *params)
    {
        if (!params)
            return S_OK;
        if (params->cArgs && !params->rgvarg)
            return E_INVALIDARG;
        arguments.resize(params->cArgs);
        for (VARIANT &argument : arguments)
            VariantInit(&argument);
        for (UINT index = 0; index < params->cArgs; ++index) {
            const HRESULT hr = VariantCopyInd(&arguments[index], &params->rgvarg[index]);
            if (FAILED(hr))
                return hr;
        }
        if (params->cNamedArgs && params->rgdispidNamedArgs)
            named.assign(params->rgdispidNamedArgs, params->rgdispidNamedArgs + params->cNamedArgs);
        return S_OK;
    }

    // The object's thread.
    HRESULT run()
    {
        CallContext *context = CallContext::create(object, hostContext);
        if (!context)
            return E_OUTOFMEMORY;
        DISPPARAMS params{ arguments.empty() ? nullptr : arguments.data(), named.empty() ? nullptr : named.data(),
                           UINT(arguments.size()), UINT(named.size()) };
        IUnknown *instance = static_cast<IvrQtCallContext *>(context);
        const HRESULT hr = typeInfo->Invoke(instance, memberId, flags, &params, &result, &exception, &argumentError);
        context->Release();
        return hr;
    }

    // The script thread, once run has ended.
    void handOver(VARIANT *to, EXCEPINFO *exceptionTo, UINT *argumentErrorTo)
    {
        if (to) {
            VariantClear(to);
            *to = result;
            VariantInit(&result);
        }
        if (exceptionTo) {
            *exceptionTo = exception;
            exception = EXCEPINFO{};
        }
        if (argumentErrorTo)
            *argumentErrorTo = argumentError;
    }

private:
    void clearException()
    {
        SysFreeString(exception.bstrSource);
        SysFreeString(exception.bstrDescription);
        SysFreeString(exception.bstrHelpFile);
        exception = EXCEPINFO{};
    }

    const host::Ref<ITypeInfo> typeInfo;
    QObject *const object;
    const int hostContext;
    const DISPID memberId;
    const WORD flags;
    const std::shared_ptr<std::atomic<int>> inFlight;
    std::vector<VARIANT> arguments;
    std::vector<DISPID> named;
    VARIANT result;
    EXCEPINFO exception{};
    UINT argumentError = 0;
};

} // namespace

ScriptSession::ScriptSession(ThreadDelivery &delivery) : delivery(delivery), context(++sessionCounter) {}

std::shared_ptr<ScriptSession> ScriptSession::create(ThreadDelivery &delivery)
{
    return std::shared_ptr<ScriptSession>(new ScriptSession(delivery));
}

ScriptSession::~ScriptSession()
{
    detach();
}

HRESULT ScriptSession::attach(IUnknown *moduleManager)
{
    if (!moduleManager)
        return E_POINTER;
    host::Ref<IvrQtObjectsManager> scripting;
    HRESULT hr = moduleManager->QueryInterface(IID_IvrQtObjectsManager, scripting.out());
    if (FAILED(hr) || !scripting)
        return FAILED(hr) ? hr : E_NOINTERFACE;
    host::Ref<IvrQtObjectsHelper> helper;
    hr = moduleManager->QueryInterface(IID_IvrQtObjectsHelper, helper.out());
    if (FAILED(hr) || !helper)
        return FAILED(hr) ? hr : E_NOINTERFACE;
    host::Ref<HostObjectFactory> made(HostObjectFactory::create(weak_from_this()));
    if (!made)
        return E_OUTOFMEMORY;
    hr = scripting->Initialize(static_cast<IvrQtHostObjectFactory *>(made.get()));
    if (FAILED(hr))
        return hr;
    std::lock_guard<std::mutex> locked(lock);
    manager = std::move(scripting);
    objects = std::move(helper);
    factory = std::move(made);
    return S_OK;
}

void ScriptSession::detach()
{
    host::Ref<IvrQtObjectsManager> oldManager;
    host::Ref<IvrQtObjectsHelper> oldObjects;
    host::Ref<HostObjectFactory> oldFactory;
    std::unordered_map<const QMetaObject *, host::Ref<ITypeInfo>> oldTypeInfos;
    {
        std::lock_guard<std::mutex> locked(lock);
        std::swap(oldManager, manager);
        std::swap(oldObjects, objects);
        std::swap(oldFactory, factory);
        std::swap(oldTypeInfos, typeInfos);
    }
    // Released outside the lock: a last reference may run the module's code.
}

host::Ref<IvrQtObjectsManager> ScriptSession::currentManager() const
{
    std::lock_guard<std::mutex> locked(lock);
    return manager;
}

QObject *ScriptSession::confirmedObject(void *pointer) const
{
    if (!pointer)
        return nullptr;
    host::Ref<IvrQtObjectsHelper> helper;
    {
        std::lock_guard<std::mutex> locked(lock);
        helper = objects;
    }
    return helper && helper->IsQObject(pointer) == VARIANT_TRUE ? static_cast<QObject *>(pointer) : nullptr;
}

HRESULT ScriptSession::objectDispatch(QObject *object, IDispatch **result)
{
    if (!result)
        return E_POINTER;
    *result = nullptr;
    if (!confirmedObject(object))
        return currentManager() ? E_INVALIDARG : RPC_E_DISCONNECTED;
    *result = ValueObject::create(NewPointerCell(object), QStringLiteral("QObject*"), context, object, weak_from_this());
    return *result ? S_OK : E_OUTOFMEMORY;
}

HRESULT ScriptSession::valueFromText(const QString &typeName, const QString &text, IDispatch **result)
{
    if (!result)
        return E_POINTER;
    *result = nullptr;
    const ValueType &type = ValueTypeOf(typeName);
    void *storage = type.kind == ValueKind::Value && type.fromText ? type.fromText(text) : nullptr;
    if (!storage)
        return E_INVALIDARG;
    *result = ValueObject::create(storage, QLatin1String(type.name), context, nullptr, weak_from_this());
    return *result ? S_OK : E_OUTOFMEMORY;
}

HRESULT ScriptSession::typeInfoOf(QObject *object, ITypeInfo **typeInfo)
{
    if (!typeInfo)
        return E_POINTER;
    *typeInfo = nullptr;
    const host::Ref<IvrQtObjectsManager> scripting = currentManager();
    if (!scripting)
        return RPC_E_DISCONNECTED;
    if (!object)
        return E_INVALIDARG;
    const QMetaObject *meta = object->metaObject();
    std::unique_lock<std::mutex> locked(lock);
    const auto known = typeInfos.find(meta);
    if (known != typeInfos.end()) {
        *typeInfo = known->second.get();
        (*typeInfo)->AddRef();
        return S_OK;
    }
    locked.unlock();
    const HRESULT hr = scripting->GetObjectTypeInfo(object, typeInfo);
    if (SUCCEEDED(hr) && *typeInfo) {
        (*typeInfo)->AddRef();
        locked.lock();
        typeInfos[meta] = host::Ref<ITypeInfo>(*typeInfo);
    }
    return hr;
}

HRESULT ScriptSession::memberId(QObject *object, LPOLESTR name, DISPID *id)
{
    host::Ref<ITypeInfo> typeInfo;
    const HRESULT hr = typeInfoOf(object, reinterpret_cast<ITypeInfo **>(typeInfo.out()));
    if (FAILED(hr))
        return hr;
    return typeInfo->GetIDsOfNames(&name, 1, id);
}

HRESULT ScriptSession::invoke(QObject *object, DISPID memberId, WORD flags, DISPPARAMS *params, VARIANT *result,
                              EXCEPINFO *excepInfo, UINT *argErr)
{
    host::Ref<ITypeInfo> typeInfo;
    HRESULT hr = typeInfoOf(object, reinterpret_cast<ITypeInfo **>(typeInfo.out()));
    if (FAILED(hr))
        return hr;
    auto call = std::make_shared<DeliveredCall>(std::move(typeInfo), object, context, memberId, flags, inFlight);
    hr = call->copyArguments(params);
    if (FAILED(hr))
        return hr;
    hr = delivery.deliver(object, [call] { return call->run(); });
    // After a time-out the call is not over: what it returns stays with it.
    if (hr != HRESULT_FROM_WIN32(ERROR_TIMEOUT) && hr != RPC_E_DISCONNECTED)
        call->handOver(result, excepInfo, argErr);
    return hr;
}

} // namespace vrqt::scripting
