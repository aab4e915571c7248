// The aggregate of the eighteen helpers, one for each widget family, made
// once for the whole process. The object manager hands it every interface
// identifier it does not answer itself, so that one manager answers every
// primary helper interface.
#pragma once

#include "platform/automation.h"
#include "runtime/comobject.h"

class CvrQtControlsHelper : public ComObjectRoot
{
public:
    // Makes the aggregate and its helpers, in field order. A helper that
    // could not be made leaves its field empty, which answers
    // E_NOINTERFACE; the result is then still S_OK. E_POINTER for a null
    // result, E_OUTOFMEMORY when the aggregate itself cannot be made.
    // The caller owns the result.
    static HRESULT CreateInstance(CvrQtControlsHelper **aggregate);
    ~CvrQtControlsHelper() override;

    // An identifier of the eighteen primary interfaces is handed on to its
    // helper's QueryInterface; any other gives E_NOINTERFACE. Any thread.
    HRESULT QueryInterface(REFIID riid, void **object);

private:
    CvrQtControlsHelper() = default;

    static constexpr int kHelperCount = 18;
    IUnknown *helpers[kHelperCount] = {};
};
