// Copies of function and variable records, as a type description keeps them
// and hands them out. A copy owns its parameter array (and a constant's
// value); what those point to further (result codes, nested type records,
// default values) is borrowed from whoever made the original.
#pragma once

#include <new>

#include "platform/automation.h"

namespace vrOpenAppHook {

// Fills target with source and a parameter array of its own (none when
// cParams is below 1). E_OUTOFMEMORY leaves target without an array.
HRESULT CopyRecordInto(const FUNCDESC &source, FUNCDESC &target);
void FreeRecordParts(FUNCDESC &record);
// The same for a variable; a constant gets a value of its own.
HRESULT CopyRecordInto(const VARDESC &source, VARDESC &target);
void FreeRecordParts(VARDESC &record);

// A heap copy for the host, freed by DeleteRecordCopy; null on shortage.
template <typename Record>
Record *NewRecordCopy(const Record &source)
{
    auto *copy = new (std::nothrow) Record;
    if (copy && FAILED(CopyRecordInto(source, *copy))) {
        delete copy;
        return nullptr;
    }
    return copy;
}

template <typename Record>
void DeleteRecordCopy(Record *record)
{
    if (!record)
        return;
    FreeRecordParts(*record);
    delete record;
}

} // namespace vrOpenAppHook
