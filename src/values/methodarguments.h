// The arguments of one QMetaObject::invokeMethod call, made from the host's
// VARIANTs. The object lives on the caller's stack across the call: it keeps
// the type names Qt matches against the signature and the temporaries that
// long, ulong and bool arguments go through (see qttemporary.h).
#pragma once

#include <array>

#include <QByteArray>
#include <QGenericArgument>

#include "platform/automation.h"
#include "values/qttemporary.h"
#include "values/typetable.h"

class MethodArguments
{
public:
    static constexpr int MaximumCount = 10; // what invokeMethod takes

    MethodArguments() = default;
    MethodArguments(const MethodArguments &) = delete;
    MethodArguments &operator=(const MethodArguments &) = delete;

    // Adds the next argument: value after CoerceArgument, described by the
    // parameter's description (slot i+1). value must outlive the call.
    // Returns S_OK; E_INVALIDARG beyond MaximumCount; DISP_E_TYPEMISMATCH
    // when ArgumentDataPointer gives no data, which Qt would read through.
    HRESULT Append(VARIANT &value, const QtTypeDescription &description);

    int count() const { return appended; }

    // The argument at index for invokeMethod; an empty QGenericArgument
    // beyond those appended.
    QGenericArgument at(int index) const;

    // After the call: a long, ulong or bool that Qt could change, through a
    // reference or a pointer, goes back to the host's value.
    void WriteBack();

private:
    struct Slot {
        QByteArray typeName;
        void *data = nullptr;
        QtTemporary kind = QtTemporary::None;
        void *hostValue = nullptr;            // where a changed temporary returns to
        unsigned long temporary = 0;          // room for Qt's long, ulong or bool
        unsigned long *temporaryPointer = nullptr; // what a pointer parameter receives
    };

    std::array<Slot, MaximumCount> entries;
    int appended = 0;
};
