// What a script host makes of a literal a user typed: the argument texts
// of `vrqt set` and `vrqt call`, and the texts of the protocol's requests.
#pragma once

#include <QString>

#include "platform/automation.h"

namespace vrqt::scripting {

// text as a script host would read it as a literal:
// - true or false, in any case: VT_BOOL;
// - an integer ("42", "-7"): VT_I4, or VT_R8 beyond 32 bits;
// - a decimal ("2.5", "-.5", "1e3"): VT_R8;
// - text in double quotes: VT_BSTR of what stands between them;
// - anything else: VT_BSTR of the text as it is.
// The module's coercion then brings a scalar to the member's type. value is
// overwritten, not cleared. E_OUTOFMEMORY when the text cannot be copied.
HRESULT ScriptValueFromText(const QString &text, VARIANT *value);

// The text a literal stands for: without its double quotes, if it has them.
// The host reads a Qt value (a QString, a QRect) from this.
QString UnquotedScriptText(const QString &text);

} // namespace vrqt::scripting
