// Walking a type description and its base descriptions, as a script host
// does to learn what an object offers.
#pragma once

#include <functional>

#include "host/modulehost.h"
#include "interfaces/dispatch.h"

namespace vrqt::scripting {

// One function description, released with its owner when this goes.
class FunctionDescription
{
public:
    FunctionDescription() = default;
    FunctionDescription(host::Ref<ITypeInfo> owner, FUNCDESC *description) : owner(std::move(owner)), description(description) {}
    FunctionDescription(FunctionDescription &&other) noexcept : owner(std::move(other.owner)), description(other.description)
    {
        other.description = nullptr;
    }
    FunctionDescription &operator=(FunctionDescription &&other) noexcept
    {
        std::swap(owner, other.owner);
        std::swap(description, other.description);
        return *this;
    }
    FunctionDescription(const FunctionDescription &) = delete;
    FunctionDescription &operator=(const FunctionDescription &) = delete;
    ~FunctionDescription()
    {
        if (description)
            owner->ReleaseFuncDesc(description);
    }

    explicit operator bool() const { return description != nullptr; }
    const FUNCDESC *operator->() const { return description; }
    // The declared type of parameter index; VT_EMPTY when there is none.
    VARTYPE parameterType(int index) const;

private:
    host::Ref<ITypeInfo> owner;
    FUNCDESC *description = nullptr;
};

// A copy of typeInfo's attributes, its own released at once; false when it
// gives none.
bool TypeAttributesOf(ITypeInfo *typeInfo, TYPEATTR *attributes);

// Calls visit for typeInfo, then for its bases, depth first in the order
// the descriptions list them; each description once, at most 64 deep.
// visit returns false to stop the walk.
void ForEachTypeInChain(ITypeInfo *typeInfo, const std::function<bool(ITypeInfo *type, int depth)> &visit);

// The first function of memberId whose kind is kind, in typeInfo's chain;
// empty when there is none.
FunctionDescription FindFunction(ITypeInfo *typeInfo, MEMBERID memberId, INVOKEKIND kind);

} // namespace vrqt::scripting
