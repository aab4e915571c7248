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

} // namespace vrqt::scripting
