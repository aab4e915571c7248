#include "host/scripting/dispatchcalls.h"

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

} // namespace vrqt::scripting
