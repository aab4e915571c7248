// The host's side of value transfer: the factory that wraps Qt values the
// module brings into heap storage, and the storage those wrappers give back
// when they return as arguments. The module calls these; the host
// implements them.
#pragma once

#include "interfaces/dispatch.h"

DEFINE_IID(IID_IvrQtHostObjectFactory, 0x69E53DB0, 0x1910, 0x499C, 0xAE, 0x14, 0x63, 0x75, 0xBD, 0x6E, 0xD8, 0x6B);
DEFINE_IID(IID_IvrQtValueStorage, 0x5BC62750, 0x0CD5, 0x4E88, 0x91, 0xDD, 0x9E, 0x9A, 0x58, 0x7C, 0xAD, 0x9F);

struct IvrQtHostObjectFactory : IUnknown {
    // storage: heap storage of the C type typeName names, which the wrapper
    // takes over. The module passes VARIANT_TRUE for all three flags.
    virtual HRESULT STDMETHODCALLTYPE WrapStorage(void *storage, int hostContext, BSTR typeName, VARIANT_BOOL flag1,
                                                  VARIANT_BOOL flag2, VARIANT_BOOL flag3, IDispatch **result) = 0;
};

struct IvrQtValueStorage : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetStorage(void **storage) = 0;
};
