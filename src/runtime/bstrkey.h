// Hashing and comparison for the module's maps keyed by BSTR (class names,
// member names): one rule for every such map, so that a name found in one
// is found the same way in another.
#pragma once

#include <cstddef>

#include "platform/automation.h"

// Over the SysStringLen units: h = h * 31 + unit, from 0, in 32 bits.
struct BstrKeyHash {
    size_t operator()(BSTR key) const
    {
        ULONG hash = 0;
        const UINT length = SysStringLen(key);
        for (UINT index = 0; index < length; ++index)
            hash = hash * 31 + key[index];
        return hash;
    }
};

// Case-sensitive order: code units up to the shorter length, then length;
// null before everything (an empty string included).
inline int CompareBstrKeys(BSTR left, BSTR right)
{
    if (!left || !right)
        return (left ? 1 : 0) - (right ? 1 : 0);
    const UINT leftLength = SysStringLen(left);
    const UINT rightLength = SysStringLen(right);
    const UINT common = leftLength < rightLength ? leftLength : rightLength;
    for (UINT index = 0; index < common; ++index) {
        if (left[index] != right[index])
            return left[index] < right[index] ? -1 : 1;
    }
    return leftLength == rightLength ? 0 : (leftLength < rightLength ? -1 : 1);
}

struct BstrKeyEqual {
    bool operator()(BSTR left, BSTR right) const { return CompareBstrKeys(left, right) == 0; }
};
