#include "host/scripting/dispatchcalls.h"

#include "host/scripting/typechain.h"
#include "host/scripting/valueobject.h"

namespace vrqt::scripting {

HRESULT MemberIdOf(IDispatch *object, const QString &name, DISPID *memberId)
{
    if (!object || !memberId)
        return E_POINTER;
    std::u16string text(reinterpret_cast<const char16_t *>(name.utf16()), size_t(name.size()));
    LPOLESTR names[] = { text.data() };
    return object->GetIDsOfNames(IID_NULL, names, 1, 0, memberId);
}

HRESULT InvokeMember(IDispatch *object, DISPID memberId, WORD flags, std::vector<VARIANT> &arguments, VARIANT *result)
{
    if (!object)
        return E_POINTER;
    DISPID putName = DISPID_PROPERTYPUT;
    const bool put = (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
    DISPPARAMS params{ arguments.empty() ? nullptr : arguments.data(), put ? &putName : nullptr, UINT(arguments.size()),
                       put ? 1u : 0u };
    EXCEPINFO exception{};
    UINT argumentError = 0;
    const HRESULT hr = object->Invoke(memberId, IID_NULL, 0, flags, &params, result, &exception, &argumentError);
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrDescription);
    SysFreeString(exception.bstrHelpFile);
    return hr;
}

HRESULT ReadMember(IDispatch *object, const QString &name, VARIANT *result)
{
    DISPID memberId = DISPID_UNKNOWN;
    const HRESULT hr = MemberIdOf(object, name, &memberId);
    if (FAILED(hr))
        return hr;
    std::vector<VARIANT> none;
    return InvokeMember(object, memberId, DISPATCH_PROPERTYGET | DISPATCH_METHOD, none, result);
}

bool IsReadableProperty(IDispatch *object, DISPID memberId)
{
    // The host's own value objects read their value themselves.
    if (memberId == DISPID_VALUE && ValueObject::from(object))
        return true;
    UINT count = 0;
    if (!object || FAILED(object->GetTypeInfoCount(&count)) || count == 0)
        return object != nullptr;
    host::Ref<ITypeInfo> typeInfo;
    if (FAILED(object->GetTypeInfo(0, 0, reinterpret_cast<ITypeInfo **>(typeInfo.out()))) || !typeInfo)
        return false;
    return bool(FindFunction(typeInfo.get(), memberId, INVOKE_PROPERTYGET));
}

HRESULT ReadProperty(IDispatch *object, DISPID memberId, VARIANT *result)
{
    if (!object)
        return E_POINTER;
    if (!IsReadableProperty(object, memberId))
        return DISP_E_MEMBERNOTFOUND;
    std::vector<VARIANT> none;
    return InvokeMember(object, memberId, DISPATCH_PROPERTYGET, none, result);
}

} // namespace vrqt::scripting
