#include "host/agent/typedescriber.h"

#include <QJsonObject>
#include <QRegularExpression>

#include <iterator>
#include <map>
#include <vector>

#include "host/modulehost.h"
#include "host/scripting/enumtext.h"
#include "host/scripting/membertypes.h"
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
    bool method = false;
    int parameterCount = 0;
};

QString TextOf(const host::Bstr &text)
{
    return scripting::FromBstr(text.get());
}

QJsonArray TypeNames(const QList<QByteArray> &names)
{
    QJsonArray array;
    for (const QByteArray &name : names)
        array.append(QString::fromLatin1(name));
    return array;
}

// What meta (the class of the description) declares for member: a method's
// result and parameter types, a property's type and, for an enumeration
// or flags, its keys. ordinal counts the description's earlier methods of
// the same name and parameter count.
void AddQtTypes(const QMetaObject *meta, const QString &name, const Member &member, int ordinal, QJsonObject *described)
{
    if (member.method) {
        const QMetaMethod method = scripting::OwnMethod(meta, name, member.parameterCount, ordinal);
        if (!method.isValid())
            return;
        described->insert(QStringLiteral("qtType"), QString::fromLatin1(method.typeName()));
        described->insert(QStringLiteral("qtParameters"), TypeNames(method.parameterTypes()));
        return;
    }
    const QMetaProperty property = scripting::OwnProperty(meta, name);
    if (!property.isValid())
        return;
    // An enumeration by its scope and name: Qt 6 would say "QFlags<Qt::AlignmentFlag>".
    const bool enumeration = property.isEnumType() || property.isFlagType();
    described->insert(QStringLiteral("qtType"), enumeration ? scripting::EnumTypeName(property.enumerator())
                                                            : QString::fromLatin1(property.typeName()));
    if (enumeration)
        described->insert(QStringLiteral("keys"), QJsonArray::fromStringList(scripting::EnumKeys(property.enumerator())));
}

QJsonObject DescribeMember(ITypeInfo *type, IzkScriptFwTypeInfoMemberUsageInfo *usageInfo, const Member &member, QString *nameOut)
{
    host::Bstr name, documentation;
    type->GetDocumentation(member.memberId, name.out(), documentation.out(), nullptr, nullptr);
    *nameOut = TextOf(name);
    QJsonObject described{
        { QStringLiteral("name"), *nameOut },
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

std::vector<Member> MembersOf(ITypeInfo *type)
{
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
            members.push_back(Member{ function->memid, {}, VT_EMPTY, {}, false, false, 0 });
        Member &member = members[known.first->second];
        member.kinds.append(KindText(function->invkind));
        // A method's or a get's type is the member's; a put only names it
        // when nothing else does.
        if (!member.typed) {
            member.type = function->elemdescFunc.tdesc.vt;
            member.typed = function->invkind != INVOKE_PROPERTYPUT;
        }
        if (function->invkind == INVOKE_FUNC) {
            member.method = true;
            member.parameterCount = function->cParams;
        }
        if (function->invkind != INVOKE_PROPERTYPUT && member.parameters.isEmpty()) {
            for (SHORT parameter = 0; parameter < function->cParams && function->lprgelemdescParam; ++parameter)
                member.parameters.append(scripting::VarTypeName(function->lprgelemdescParam[parameter].tdesc.vt));
        }
        type->ReleaseFuncDesc(function);
    }
    return members;
}

QString TypeNameOf(ITypeInfo *type)
{
    host::Bstr typeName;
    type->GetDocumentation(MEMBERID_NIL, typeName.out(), nullptr, nullptr, nullptr);
    return TextOf(typeName);
}

// The members of one description; only, when not MEMBERID_NIL, the member
// of that id.
QJsonArray DescribeMembers(ITypeInfo *type, const QObject *object, MEMBERID only)
{
    const QMetaObject *meta = scripting::MetaObjectNamed(object, TypeNameOf(type));
    host::Ref<IzkScriptFwTypeInfoMemberUsageInfo> usageInfo;
    type->QueryInterface(IID_IzkScriptFwTypeInfoMemberUsageInfo, usageInfo.out());
    static const QRegularExpression suffix(QStringLiteral("_\\d+$"));
    std::map<std::pair<QString, int>, int> overloads;
    QJsonArray described;
    for (const Member &member : MembersOf(type)) {
        QString name;
        QJsonObject entry = DescribeMember(type, usageInfo.get(), member, &name);
        // Counted over every member, so that one member alone finds its
        // method among the overloads too.
        const std::pair<QString, int> overload{ QString(name).remove(suffix), member.parameterCount };
        const int ordinal = member.method ? overloads[overload]++ : 0;
        if (only != MEMBERID_NIL && member.memberId != only)
            continue;
        if (meta)
            AddQtTypes(meta, name, member, ordinal, &entry);
        described.append(entry);
    }
    return described;
}

} // namespace

QJsonArray DescribeTypeChain(ITypeInfo *typeInfo, const QObject *object)
{
    QJsonArray chain;
    scripting::ForEachTypeInChain(typeInfo, [&chain, object](ITypeInfo *type, int depth) {
        chain.append(QJsonObject{ { QStringLiteral("typeName"), TypeNameOf(type) },
                                  { QStringLiteral("depth"), depth },
                                  { QStringLiteral("members"), DescribeMembers(type, object, MEMBERID_NIL) } });
        return true;
    });
    return chain;
}

QJsonObject DescribeChainMember(ITypeInfo *typeInfo, const QObject *object, MEMBERID memberId)
{
    QJsonObject found;
    scripting::ForEachTypeInChain(typeInfo, [&found, object, memberId](ITypeInfo *type, int) {
        const QJsonArray members = DescribeMembers(type, object, memberId);
        if (members.isEmpty())
            return true;
        found = members.first().toObject();
        found.insert(QStringLiteral("typeName"), TypeNameOf(type));
        return false;
    });
    return found;
}

} // namespace vrqt::agent
