// The three roots of the exposers: what a class, a method and a property
// share when they turn a meta-object's declarations into something an
// automation host calls. One object exposer stands for each class met; under
// it, one member exposer for each method and property the class declares.
#pragma once

#include <vector>

#include "interfaces/values.h"
#include "platform/automation.h"
#include "values/typetable.h"
#include "values/valuedelivery.h"

class QObject;
struct QMetaObject;
class CvrQtBaseObjectExposer;
class CvrQtCustomTypeInfo;
class CvrQtExposerRegistry;
struct ClassRecord;

// How exposers compare names: VarBstrCmp under locale 1024, no flags.
bool NameEquals(BSTR name, const OLECHAR *text);

// Exposers carry no lock: they are built under the registry's lock and
// called on the thread that owns the object the call is about.
class CvrQtBaseExposer
{
public:
    CvrQtBaseExposer() = default;
    CvrQtBaseExposer(const CvrQtBaseExposer &) = delete;
    CvrQtBaseExposer &operator=(const CvrQtBaseExposer &) = delete;

    // A hidden member is not kept.
    virtual bool IsHidden() { return false; }
    virtual ~CvrQtBaseExposer();

    // A fresh copy of the name, or null.
    BSTR GetName() const;
    bool IsInitialized() const { return initialized; }

protected:
    bool initialized = false;
    BSTR name = nullptr;
};

class CvrQtBaseMemberExposer : public CvrQtBaseExposer
{
public:
    ~CvrQtBaseMemberExposer() override;

    // Makes the member's function records; the caller owns them.
    virtual void BuildFuncDescs(FUNCDESC ***result) = 0;
    virtual QtTypeDescription *DescribeMemberType(const char *rawName);
    // Slot 0 is the result or the property, slot i+1 parameter i.
    virtual HRESULT CoerceArgument(VARIANT *value, int slot);
    virtual HRESULT CheckResultArgument(VARIANT *result);
    virtual HRESULT CheckArguments(DISPPARAMS *params);
    // Only the first call counts.
    virtual void Initialize(CvrQtBaseObjectExposer *owner);
    virtual int GetFuncDescCount() = 0;
    // context is the instance the host passed to ITypeInfo::Invoke.
    // Thread: the thread that owns the context's object.
    virtual HRESULT Invoke(IUnknown *context, DISPPARAMS *params, VARIANT *result) = 0;

    FUNCDESC **GetFuncDescs();

protected:
    // The first step of every call: the object the host's context names. A
    // failure of the context is the call's result; an object that is not
    // alive, or of a class that does not declare this member, is refused
    // with E_INVALIDARG, so that Qt never runs a member on it.
    HRESULT ContextObject(IUnknown *context, const QMetaObject *declaringClass, QObject **object) const;
    HostWrapper Wrapper(IUnknown *context) const;
    // Exactly count arguments, each coerced to its slot, from firstSlot on.
    // DISP_E_TYPEMISMATCH for null params, DISP_E_BADPARAMCOUNT, or the
    // first coercion's failure.
    HRESULT CoerceArguments(DISPPARAMS *params, size_t count, int firstSlot);

    CvrQtBaseObjectExposer *owner = nullptr;
    std::vector<QtTypeDescription *> descriptions;
};

class CvrQtBaseObjectExposer : public CvrQtBaseExposer
{
public:
    ~CvrQtBaseObjectExposer() override;

    virtual void ReleaseReferences();
    // Lets go of the class's type description, which a host may still hold.
    void ReleaseTypeInfo();
    // Only the first call counts. registry is the manager's class registry,
    // which keeps this exposer; the exposer holds a reference to the
    // registry's manager. factory may be null.
    virtual void Initialize(CvrQtExposerRegistry *registry, IvrQtHostObjectFactory *factory);
    // The class as a plain record for its type description; null before
    // Initialize.
    virtual ClassRecord *BuildTypeData() = 0;
    // memberIndex is a position in the record BuildTypeData made.
    virtual HRESULT InvokeMember(int memberIndex, IUnknown *context, DISPPARAMS *params, VARIANT *result) = 0;

    // The class's type description, made on the first request and kept.
    // Thread: under the registry's lock.
    HRESULT GetTypeInfo(ITypeInfo **result);

    IvrQtHostObjectFactory *HostFactory() const { return hostFactory; }
    CvrQtExposerRegistry *Registry() const { return registry; }

protected:
    IvrQtHostObjectFactory *hostFactory = nullptr;
    CvrQtCustomTypeInfo *typeInfo = nullptr; // one reference
    IUnknown *manager = nullptr;             // one reference
    CvrQtExposerRegistry *registry = nullptr;
};
