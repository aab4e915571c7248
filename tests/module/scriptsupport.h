// The host's side of a scripted call, as the tests play it: the call
// context that names the object, and short forms of GetIDsOfNames and
// Invoke on a type description.
#pragma once

#include <initializer_list>
#include <vector>

#include "../values/countingfactory.h"
#include "modulesupport.h"

namespace moduletest {

class CallContext final : public IvrQtCallContext, public IvrQtHostContext
{
public:
    explicit CallContext(QObject *object, int hostContext = 0) : object(object), hostContext(hostContext) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **result) override
    {
        if (IsEqualGUID(riid, IID_IUnknown) || IsEqualGUID(riid, IID_IvrQtCallContext))
            *result = static_cast<IvrQtCallContext *>(this);
        else if (IsEqualGUID(riid, IID_IvrQtHostContext))
            *result = static_cast<IvrQtHostContext *>(this);
        else
            return *result = nullptr, E_NOINTERFACE;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE GetContextObject(QObject **result) override { *result = object; return S_OK; }
    HRESULT STDMETHODCALLTYPE Unused() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetHostContext(int *result) override { *result = hostContext; return S_OK; }

    IUnknown *instance() { return static_cast<IvrQtCallContext *>(this); }

    QObject *object;
    int hostContext;
};

// Ref's target as the typed pointer the interfaces ask for.
template <typename Interface>
Interface **into(Ref<Interface> &ref)
{
    return reinterpret_cast<Interface **>(ref.out());
}

// A VARIANT the test owns.
struct Value {
    Value() { VariantInit(&v); }
    explicit Value(LONG number) : Value() { v.vt = VT_I4; v.lVal = number; }
    explicit Value(const char16_t *text) : Value() { v.vt = VT_BSTR; v.bstrVal = SysAllocString(text); }
    static Value boolean(bool value)
    {
        Value result;
        result.v.vt = VT_BOOL;
        result.v.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
        return result;
    }
    Value(const Value &) = delete;
    Value(Value &&other) noexcept : v(other.v) { VariantInit(&other.v); }
    Value &operator=(Value &&other) noexcept
    {
        std::swap(v, other.v);
        return *this;
    }
    ~Value() { VariantClear(&v); }
    VARIANT v;
};

// Arguments in parameter order.
template <typename... Items>
std::vector<Value> values(Items &&...items)
{
    std::vector<Value> result;
    (result.emplace_back(std::forward<Items>(items)), ...);
    return result;
}

// One object scripted through the description the manager gives for it.
class Scripted
{
public:
    Scripted(IvrQtObjectsManager *manager, QObject *object) : context(object)
    {
        hr = manager->GetObjectTypeInfo(object, into(info));
    }

    MEMBERID id(const char16_t *name, HRESULT *result = nullptr)
    {
        MEMBERID memid = MEMBERID_NIL;
        LPOLESTR names[] = { const_cast<LPOLESTR>(name) };
        const HRESULT outcome = info->GetIDsOfNames(names, 1, &memid);
        if (result)
            *result = outcome;
        return memid;
    }

    HRESULT get(const char16_t *name, Value &result)
    {
        VariantClear(&result.v);
        DISPPARAMS none = {};
        return info->Invoke(context.instance(), id(name), DISPATCH_PROPERTYGET, &none, &result.v, nullptr, nullptr);
    }

    HRESULT put(const char16_t *name, Value value)
    {
        DISPID named = DISPID_PROPERTYPUT;
        DISPPARAMS params = { &value.v, &named, 1, 1 };
        return info->Invoke(context.instance(), id(name), DISPATCH_PROPERTYPUT, &params, nullptr, nullptr, nullptr);
    }

    HRESULT call(const char16_t *name, std::vector<Value> arguments, Value &result)
    {
        VariantClear(&result.v);
        std::vector<VARIANT> raw;
        for (Value &argument : arguments)
            raw.push_back(argument.v);
        DISPPARAMS params = { raw.data(), nullptr, UINT(raw.size()), 0 };
        const HRESULT outcome =
            info->Invoke(context.instance(), id(name), DISPATCH_METHOD, &params, &result.v, nullptr, nullptr);
        // Coercion changes the arguments in place; the changed ones are freed here.
        for (size_t index = 0; index < raw.size(); ++index)
            arguments[index].v = raw[index];
        return outcome;
    }

    HRESULT hr = E_FAIL;
    Ref<ITypeInfo> info;
    CallContext context;
};

// The module loaded, its manager initialised with a counting factory.
class ScriptingTest : public ModuleTest
{
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        manager = host.manager().query<IvrQtObjectsManager>(IID_IvrQtObjectsManager);
        ASSERT_TRUE(manager);
        ASSERT_EQ(S_OK, manager->Initialize(&factoryHost));
    }

    void TearDown() override
    {
        manager.reset();
        ModuleTest::TearDown();
    }

    // Answers the factory's identifier with the counting factory.
    struct FactoryHost final : IUnknown {
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **result) override
        {
            if (!IsEqualGUID(riid, IID_IvrQtHostObjectFactory))
                return *result = nullptr, E_NOINTERFACE;
            *result = &factory;
            return S_OK;
        }
        ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
        ULONG STDMETHODCALLTYPE Release() override { return 1; }
        CountingFactory factory;
    };

    FactoryHost factoryHost;
    CountingFactory &factory = factoryHost.factory;
    Ref<IvrQtObjectsManager> manager;
};

} // namespace moduletest
