// SAFEARRAY storage shared by the array functions: the Windows layout of a
// descriptor and its hidden bytes, element sizes by type, and the release
// and copy of elements by the array's features. Internal to the platform
// library.
//
// A descriptor is preceded by 16 hidden bytes in the same malloc block:
// the element interface's IID for FADF_HAVEIID arrays, the VARTYPE in the
// last 4 bytes for FADF_HAVEVARTYPE arrays, the IRecordInfo pointer in the
// last 8 bytes for FADF_RECORD arrays. rgsabound holds the dimensions right
// to left: rgsabound[0] is the last dimension, the one that varies slowest
// in memory and the one SafeArrayRedim changes. Index arrays name the
// dimensions left to right, the first varying fastest.
#pragma once

#include <cstddef>

#include "platform/oleauto.h"

namespace platform::arrays {

// Features Windows keeps in the reserved bits.
constexpr USHORT featureCreateVector = 0x2000; // descriptor and data are one block
constexpr ULONG maximumLocks = 0xFFFF;
// Features a copy does not inherit: they describe the source's storage.
constexpr USHORT storageFeatures = FADF_AUTO | FADF_STATIC | FADF_EMBEDDED | FADF_FIXEDSIZE | featureCreateVector;

struct ElementType {
    VARTYPE vt;
    ULONG size;
    USHORT feature; // the FADF_ flag of elements that own something
};
// The element type of arrays of vt, or null where Windows refuses to create them.
const ElementType *elementType(VARTYPE vt);

char *hiddenArea(SAFEARRAY *array);
VARTYPE hiddenVarType(SAFEARRAY *array);
IRecordInfo *hiddenRecordInfo(SAFEARRAY *array);
void setHiddenRecordInfo(SAFEARRAY *array, IRecordInfo *info);
// The type marks Windows gives a descriptor made for vt.
void setTypeFeatures(SAFEARRAY *array, VARTYPE vt);
// Copies the hidden bytes; a record info copied with them gains a reference.
void copyTypeMarks(SAFEARRAY *source, SAFEARRAY *dest);

// A zeroed descriptor of dims dimensions with extraBytes after it.
SAFEARRAY *allocateDescriptor(UINT dims, size_t extraBytes);
// Number of elements (0 when a dimension is empty), saturating.
size_t cellCount(const SAFEARRAY *array);
// Bytes of the data block, or SIZE_MAX when it cannot exist.
size_t dataBytes(const SAFEARRAY *array);
// A zeroed block, or null for SIZE_MAX bytes or lack of memory.
void *allocateData(size_t bytes);
// Whether pvData is the part of the descriptor's block a vector was made with.
bool dataIsInline(const SAFEARRAY *array);

// Releases what the elements from firstCell on own; the memory stays.
void releaseElements(SAFEARRAY *array, size_t firstCell);
// Copies one element into an initialised cell, releasing what it held.
HRESULT copyElement(const SAFEARRAY *array, const void *source, void *dest);
// Copies every element of source into dest of the same shape and gives
// dest the source's features and type marks.
HRESULT copyAllData(SAFEARRAY *source, SAFEARRAY *dest);

} // namespace platform::arrays
