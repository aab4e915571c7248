#include "host/agent/typedescriber.h"

#include <QJsonObject>

#include <iterator>
#include <map>
#include <vector>

#include "host/modulehost.h"
#include "host/scripting/typechain.h"
#include "host/scripting/variants.h"
#include "interfaces/memberusage.h"

namespace vrqt::agent {

namespace {

struct KindName
{
    INVOKEKIND kind;
    const char *name;
};

constexpr KindName kKindNames[] = {
    { INVOKE_FUNC, "method" },
    { INVOKE_PROPERTYGET, "get" },
    { INVOKE_PROPERTYPUT, "put" },
    { INVOKE_PROPERTYPUTREF, "putref" },
};

// By the usage value: 0 unknown, 1 put only, 2 property, 3 method, 4
// property with parameters.
constexpr const char *kUsageNames[] = { "unknown", "put only", "property", "method", "indexed property" };

QString KindText(INVOKEKIND kind)
{
    for (const KindName &entry : kKindNames) {
        if (entry.kind == kind)
            return QLatin1String(entry.name);
    }
    return QString::number(int(kind));
}

// The functions of one member, in the order the description lists them.
struct Member
{
    MEMBERID memberId = 0;
    QJsonArray kinds;
    VARTYPE type = VT_EMPTY;
    QJsonArray parameters;
    bool typed = false;
};

QString TextOf(const host::Bstr &text)
{
    return scripting::FromBstr(text.get());
}

QJsonObject DescribeMember(ITypeInfo *type, IzkScriptFwTypeInfoMemberUsageInfo *usageInfo, const Member &member)
{
    host::Bstr name, documentation;
    type->GetDocumentation(member.memberId, name.out(), documentation.out(), nullptr, nullptr);
    QJsonObject described{
        { QStringLiteral("name"), TextOf(name) },
        { QStringLiteral("memberId"), double(member.memberId) },
        { QStringLiteral("kinds"), member.kinds },
        { QStringLiteral("type"), scripting::VarTypeName(member.type) },
        { QStringLiteral("parameters"), member.parameters },
    };
    int usage = MemberUsageUnknown;
    if (usageInfo && !name.isNull() && SUCCEEDED(usageInfo->GetMemberUsage(name.get(), &usage))) {
        described.insert(QStringLiteral("usage"), usage);
        if (usage >= 0 && size_t(usage) < std::size(kUsageNames))
            described.insert(QStringLiteral("usageName"), QLatin1String(kUsageNames[usage]));
    }
    if (!TextOf(documentation).isEmpty())
        described.insert(QStringLiteral("description"), TextOf(documentation));
    return described;
}

QJsonObject DescribeType(ITypeInfo *type, int depth)
{
    host::Bstr typeName;
    type->GetDocumentation(MEMBERID_NIL, typeName.out(), nullptr, nullptr, nullptr);
    std::vector<Member> members;
    std::map<MEMBERID, size_t> byId;
    TYPEATTR attributes{};
    const WORD functions = scripting::TypeAttributesOf(type, &attributes) ? attributes.cFuncs : 0;
    for (UINT index = 0; index < functions; ++index) {
        FUNCDESC *function = nullptr;
        if (FAILED(type->GetFuncDesc(index, &function)) || !function)
            continue;
        const auto known = byId.emplace(function->memid, members.size());
        if (known.second)
            members.push_back(Member{ function->memid, {}, VT_EMPTY, {}, false });
        Member &member = members[known.first->second];
        member.kinds.append(KindText(function->invkind));
        // A method's or a get's type is the member's; a put only names it
        // when nothing else does.
        if (!member.typed) {
            member.type = function->elemdescFunc.tdesc.vt;
            member.typed = function->invkind != INVOKE_PROPERTYPUT;
        }
        if (function->invkind != INVOKE_PROPERTYPUT && member.parameters.isEmpty()) {
            for (SHORT parameter = 0; parameter < function->cParams && function->lprgelemdescParam; ++parameter)
                member.parameters.append(scripting::VarTypeName(function->lprgelemdescParam[parameter].tdesc.vt));
        }
        type->ReleaseFuncDesc(function);
    }
    host::Ref<IzkScriptFwTypeInfoMemberUsageInfo> usageInfo;
    type->QueryInterface(IID_IzkScriptFwTypeInfoMemberUsageInfo, usageInfo.out());
    QJsonArray described;
    for (const Member &member : members)
        described.append(DescribeMember(type, usageInfo.get(), member));
    return { { QStringLiteral("typeName"), TextOf(typeName) },
             { QStringLiteral("depth"), depth },
             { QStringLiteral("members"), described } };
}

} // namespace

QJsonArray DescribeTypeChain(ITypeInfo *typeInfo)
{
    QJsonArray chain;
    scripting::ForEachTypeInChain(typeInfo, [&chain](ITypeInfo *type, int depth) {
        chain.append(DescribeType(type, depth));
        return true;
    });
    return chain;
}

} // namespace vrqt::agent
