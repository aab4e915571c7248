// Calls on an IDispatch as a script host makes them: a name looked up, then
// an Invoke with the arguments in the order the module reads them.
#pragma once

#include <QString>

#include <vector>

#include "interfaces/dispatch.h"
#include "platform/automation.h"

namespace vrqt::scripting {

// GetIDsOfNames for one name. Its result: DISP_E_UNKNOWNNAME for a member
// the object does not have.
HRESULT MemberIdOf(IDispatch *object, const QString &name, DISPID *memberId);

// Invoke with arguments, first argument first: the module reads rgvarg[0]
// as the first parameter, deliberately unlike the usual reversed order of
// DISPPARAMS. A put passes its one argument as the named DISPID_PROPERTYPUT.
// result may be null. excepInfo's texts are freed here.
HRESULT InvokeMember(IDispatch *object, DISPID memberId, WORD flags, std::vector<VARIANT> &arguments, VARIANT *result);

// A property read (or a method without arguments) by name into result.
HRESULT ReadMember(IDispatch *object, const QString &name, VARIANT *result);

// Reading that never calls: a property get of memberId, made only when the
// object's type description (and its bases) declare a get of it; a method
// is never run, as a script host would run one asked for its value. Values
// without a type description read their own parts. DISP_E_MEMBERNOTFOUND
// when the member is a method or cannot be read.
HRESULT ReadProperty(IDispatch *object, DISPID memberId, VARIANT *result);

// Whether memberId is a property of object that can be read: true for the
// members of values without a type description, and for DISPID_VALUE of the
// host's value objects, which read it themselves.
bool IsReadableProperty(IDispatch *object, DISPID memberId);

} // namespace vrqt::scripting
