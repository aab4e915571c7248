// The host's side of value transfer: the factory that wraps Qt values the
// module brings into heap storage, and the storage those wrappers give back
// when they return as arguments. The module calls these; the host
// implements them.
#pragma once

#include "interfaces/dispatch.h"

class QObject;

DEFINE_IID(IID_IvrQtHostObjectFactory, 0x69E53DB0, 0x1910, 0x499C, 0xAE, 0x14, 0x63, 0x75, 0xBD, 0x6E, 0xD8, 0x6B);
DEFINE_IID(IID_IvrQtCallContext, 0x8E9C2FA2, 0x94BF, 0x452D, 0xBC, 0x50, 0xF3, 0x3E, 0x71, 0x15, 0x34, 0xEB);
DEFINE_IID(IID_IvrQtHostContext, 0x3EE44987, 0xA31D, 0x499B, 0x9D, 0x78, 0x2A, 0x44, 0x22, 0x24, 0xBC, 0xDF);
DEFINE_IID(IID_IvrQtValueStorage, 0x5BC62750, 0x0CD5, 0x4E88, 0x91, 0xDD, 0x9E, 0x9A, 0x58, 0x7C, 0xAD, 0x9F);

struct IvrQtHostObjectFactory : IUnknown {
    // storage: heap storage of the C type typeName names, which the wrapper
    // takes over. The module passes VARIANT_TRUE for all three flags.
    virtual HRESULT STDMETHODCALLTYPE WrapStorage(void *storage, int hostContext, BSTR typeName, VARIANT_BOOL flag1,
                                                  VARIANT_BOOL flag2, VARIANT_BOOL flag3, IDispatch **result) = 0;
};

// What the host passes as the instance of ITypeInfo::Invoke: the object the
// call is about.
struct IvrQtCallContext : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetContextObject(QObject **object) = 0;
};

// The host's number for the script context a wrapped value belongs to.
struct IvrQtHostContext : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Unused() = 0; // the slot before is kept free
    virtual HRESULT STDMETHODCALLTYPE GetHostContext(int *hostContext) = 0;
};

struct IvrQtValueStorage : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetStorage(void **storage) = 0;
};
