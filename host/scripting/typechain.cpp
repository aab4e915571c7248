#include "host/scripting/typechain.h"

#include <set>

namespace vrqt::scripting {

namespace {

// Deeper than any class hierarchy; a description that lists itself as its
// own base cannot hold the walk.
constexpr int kMaximumDepth = 64;

bool Walk(ITypeInfo *type, int depth, std::set<ITypeInfo *> &seen, const std::function<bool(ITypeInfo *, int)> &visit)
{
    if (!type || depth >= kMaximumDepth || !seen.insert(type).second)
        return true;
    if (!visit(type, depth))
        return false;
    TYPEATTR attributes{};
    if (!TypeAttributesOf(type, &attributes))
        return true;
    for (UINT index = 0; index < attributes.cImplTypes; ++index) {
        HREFTYPE reference = 0;
        host::Ref<ITypeInfo> base;
        if (FAILED(type->GetRefTypeOfImplType(index, &reference))
            || FAILED(type->GetRefTypeInfo(reference, reinterpret_cast<ITypeInfo **>(base.out()))))
            continue;
        if (!Walk(base.get(), depth + 1, seen, visit))
            return false;
    }
    return true;
}

} // namespace

bool TypeAttributesOf(ITypeInfo *typeInfo, TYPEATTR *attributes)
{
    TYPEATTR *given = nullptr;
    if (!typeInfo || FAILED(typeInfo->GetTypeAttr(&given)) || !given)
        return false;
    *attributes = *given;
    typeInfo->ReleaseTypeAttr(given);
    return true;
}

VARTYPE FunctionDescription::parameterType(int index) const
{
    if (!description || index < 0 || index >= description->cParams || !description->lprgelemdescParam)
        return VT_EMPTY;
    return description->lprgelemdescParam[index].tdesc.vt;
}

void ForEachTypeInChain(ITypeInfo *typeInfo, const std::function<bool(ITypeInfo *type, int depth)> &visit)
{
    std::set<ITypeInfo *> seen;
    Walk(typeInfo, 0, seen, visit);
}

FunctionDescription FindFunction(ITypeInfo *typeInfo, MEMBERID memberId, INVOKEKIND kind)
{
    FunctionDescription found;
    ForEachTypeInChain(typeInfo, [&](ITypeInfo *type, int) {
        TYPEATTR attributes{};
        if (!TypeAttributesOf(type, &attributes))
            return true;
        for (UINT index = 0; index < attributes.cFuncs; ++index) {
            FUNCDESC *description = nullptr;
            if (FAILED(type->GetFuncDesc(index, &description)) || !description)
                continue;
            if (description->memid != memberId || description->invkind != kind) {
                type->ReleaseFuncDesc(description);
                continue;
            }
            type->AddRef();
            found = FunctionDescription(host::Ref<ITypeInfo>(type), description);
            return false;
        }
        return true;
    });
    return found;
}

} // namespace vrqt::scripting
