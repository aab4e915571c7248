#include "host/agent/scriptrequests.h"

#include <QJsonArray>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "host/agent/destructionguard.h"
#include "host/agent/moduleview.h"
#include "host/agent/objectpath.h"
#include "host/agent/typedescriber.h"
#include "host/agent/valuejson.h"
#include "host/protocol/protocol.h"
#include "host/scripting/dispatchcalls.h"
#include "host/scripting/enumtext.h"
#include "host/scripting/membertypes.h"
#include "host/scripting/scriptsession.h"
#include "host/scripting/scripttext.h"
#include "host/scripting/typechain.h"
#include "host/scripting/valueobject.h"
#include "host/scripting/valuetypes.h"
#include "host/scripting/variants.h"

namespace vrqt::agent {

namespace {

using host::Ref;
using scripting::ValueObject;

Reply InvalidParams(const QString &message)
{
    return Reply::failure(protocol::error::kInvalidParams, message);
}

// A failed call: busy when the object's thread did not take it in time,
// else invoke-failed; both with the HRESULT and its system text.
Reply CallFailure(const QString &what, HRESULT hr)
{
    const QString code = scripting::HResultText(hr);
    const QString text = scripting::SystemMessageText(hr);
    const bool busy = hr == HRESULT_FROM_WIN32(ERROR_TIMEOUT);
    return Reply::failure(busy ? protocol::error::kBusy : protocol::error::kInvokeFailed,
                          QStringLiteral("%1 failed: %2%3").arg(what, code, text.isEmpty() ? QString() : QLatin1Char(' ') + text),
                          { { QStringLiteral("hresult"), code }, { QStringLiteral("hresultText"), text } });
}

// Reading never runs a method: a script host asked for a method's value
// would call it, and a click or a deleteLater is no value.
Reply NotAProperty(const QString &path, const QString &name)
{
    return Reply::failure(protocol::error::kNotAProperty,
                          QStringLiteral("%1.%2 is a method, not a property: get and describe read properties and never call "
                                         "methods (call runs them)")
                              .arg(path, protocol::excerpt(name)));
}

// Holds a VARIANT for one statement's scope.
class Variant
{
public:
    Variant() { VariantInit(&value); }
    ~Variant() { VariantClear(&value); }
    Variant(const Variant &) = delete;
    Variant &operator=(const Variant &) = delete;
    VARIANT *out() { return &value; }
    const VARIANT &get() const { return value; }

private:
    VARIANT value;
};

// What a request reaches: the object that holds the member, and the
// member's name, or the reply that ends the request. Once the member is
// looked up, its id, its declared function where the holder has a type
// description, and the holder's object.
struct Reach
{
    std::shared_ptr<scripting::ScriptSession> session;
    Ref<IDispatch> holder;
    QString member;
    QString path; // "object.name.name" up to the member, for messages
    std::optional<Reply> failure;
    DISPID memberId = DISPID_UNKNOWN;
    scripting::FunctionDescription function;
    Ref<ITypeInfo> typeInfo; // the holder's type description; empty for plain values
    QObject *object = nullptr;

    // Whether the member can be read without running anything: a property,
    // a plain value's part, or a value object's own value.
    bool readable() const { return !typeInfo || function || memberId == DISPID_VALUE; }
};

// The member names of path; nothing when a name is empty.
std::optional<QStringList> MemberNames(const QString &path)
{
    const QStringList names = path.split(QLatin1Char('.'));
    for (const QString &name : names) {
        if (name.isEmpty())
            return std::nullopt;
    }
    return names;
}

// A member's id on holder, or the no-such-member reply.
std::optional<Reply> LookUp(IDispatch *holder, const QString &name, const QString &path, DISPID *memberId)
{
    const HRESULT hr = scripting::MemberIdOf(holder, name, memberId);
    if (hr == DISP_E_UNKNOWNNAME)
        return Reply::failure(protocol::error::kNoSuchMember, QStringLiteral("%1 has no member \"%2\"").arg(path, protocol::excerpt(name)));
    if (FAILED(hr))
        return CallFailure(QStringLiteral("looking up %1.%2").arg(path, protocol::excerpt(name)), hr);
    return std::nullopt;
}

// The type description of a scriptable holder; empty for plain values.
Ref<ITypeInfo> TypeInfoOf(IDispatch *holder)
{
    Ref<ITypeInfo> typeInfo;
    holder->GetTypeInfo(0, 0, reinterpret_cast<ITypeInfo **>(typeInfo.out()));
    return typeInfo;
}

QObject *ObjectOf(IDispatch *holder)
{
    const Ref<ValueObject> own = ValueObject::from(holder);
    return own ? own->object() : nullptr;
}

class Script
{
public:
    explicit Script(ModuleView &module) : module(module) {}

    // reach, then the member's id and its function of kind.
    Reach member(const QJsonObject &params, const char *memberKey, INVOKEKIND kind)
    {
        Reach reach = this->reach(params, memberKey, true, true);
        if (reach.failure)
            return reach;
        if (std::optional<Reply> missing = LookUp(reach.holder.get(), reach.member, reach.path, &reach.memberId))
            return failed(reach, *missing);
        reach.typeInfo = TypeInfoOf(reach.holder.get());
        if (reach.typeInfo)
            reach.function = scripting::FindFunction(reach.typeInfo.get(), reach.memberId, kind);
        reach.object = ObjectOf(reach.holder.get());
        return reach;
    }

    // Finds the object of params["object"] and reads every name of the
    // member path but the last (all of them when keepLast is false). Each
    // must be a property: a method on the way is refused, never run.
    Reach reach(const QJsonObject &params, const char *memberKey, bool memberRequired, bool keepLast)
    {
        Reach reach;
        const QString objectText = params.value(QLatin1String("object")).toString();
        const QJsonValue memberValue = params.value(QLatin1String(memberKey));
        if (objectText.isEmpty())
            return failed(reach, InvalidParams(QStringLiteral("\"object\" must name an object")));
        if (memberValue.isUndefined() && !memberRequired)
            keepLast = false;
        else if (!memberValue.isString())
            return failed(reach, InvalidParams(QStringLiteral("\"%1\" must be a member name or a path of them").arg(QLatin1String(memberKey))));
        std::optional<QStringList> names = memberValue.isString() ? MemberNames(memberValue.toString()) : QStringList();
        if (!names)
            return failed(reach, InvalidParams(QStringLiteral("\"%1\" has an empty name").arg(protocol::excerpt(memberValue.toString()))));
        reach.session = module.scripting();
        if (!reach.session)
            return failed(reach, Reply::failure(protocol::error::kModuleUnavailable, QString::fromStdString(module.error())));
        const ObjectLookup lookup = FindObject(objectText, module.objects());
        if (!lookup.object)
            return failed(reach, Reply::failure(lookup.error, lookup.message));
        HRESULT hr = reach.session->objectDispatch(lookup.object, reinterpret_cast<IDispatch **>(reach.holder.out()));
        if (FAILED(hr))
            return failed(reach, CallFailure(QStringLiteral("scripting %1").arg(protocol::excerpt(objectText)), hr));
        reach.path = protocol::excerpt(objectText);
        if (keepLast)
            reach.member = names->takeLast();
        for (const QString &name : *names) {
            DISPID memberId = DISPID_UNKNOWN;
            if (std::optional<Reply> missing = LookUp(reach.holder.get(), name, reach.path, &memberId))
                return failed(reach, *missing);
            Variant value;
            hr = scripting::ReadProperty(reach.holder.get(), memberId, value.out());
            if (hr == DISP_E_MEMBERNOTFOUND && !scripting::IsReadableProperty(reach.holder.get(), memberId))
                return failed(reach, NotAProperty(reach.path, name));
            if (FAILED(hr))
                return failed(reach, CallFailure(QStringLiteral("reading %1.%2").arg(reach.path, name), hr));
            reach.path += QLatin1Char('.') + protocol::excerpt(name);
            if (value.get().vt != VT_DISPATCH || !value.get().pdispVal)
                return failed(reach, Reply::failure(protocol::error::kNoSuchMember,
                                                    QStringLiteral("%1 is a %2, which has no members")
                                                        .arg(reach.path, scripting::VarTypeName(value.get().vt))));
            value.get().pdispVal->AddRef();
            reach.holder = Ref<IDispatch>(value.get().pdispVal);
        }
        return reach;
    }

    // An argument for a member whose declared type is declared: a script
    // literal, or, where a Qt class is expected, a value of that class made
    // from the text (an object found by its reference for an object
    // pointer). qtType names the class.
    std::optional<Reply> argument(const Reach &reach, const QString &text, VARTYPE declared,
                                  const std::function<QByteArray()> &qtType, VARIANT *into)
    {
        VariantInit(into);
        const QString typeName = declared == VT_DISPATCH ? QString::fromLatin1(qtType()) : QString();
        const scripting::ValueType &type = scripting::ValueTypeOf(typeName);
        HRESULT hr = S_OK;
        if (!typeName.isEmpty() && type.kind == scripting::ValueKind::ObjectPointer) {
            const ObjectLookup lookup = FindObject(scripting::UnquotedScriptText(text), module.objects());
            if (!lookup.object)
                return Reply::failure(lookup.error, lookup.message);
            hr = reach.session->objectDispatch(lookup.object, &into->pdispVal);
        } else if (!typeName.isEmpty() && type.fromText) {
            hr = reach.session->valueFromText(typeName, scripting::UnquotedScriptText(text), &into->pdispVal);
            if (hr == E_INVALIDARG)
                return InvalidParams(QStringLiteral("\"%1\" does not read as a %2").arg(protocol::excerpt(text), typeName));
        } else {
            hr = scripting::ScriptValueFromText(text, into);
            return SUCCEEDED(hr) ? std::nullopt
                                 : std::optional<Reply>(CallFailure(QStringLiteral("reading \"%1\"").arg(protocol::excerpt(text)), hr));
        }
        if (FAILED(hr))
            return CallFailure(QStringLiteral("making a %1 of \"%2\"").arg(typeName, protocol::excerpt(text)), hr);
        into->vt = VT_DISPATCH;
        return std::nullopt;
    }

private:
    static Reach failed(Reach &reach, Reply reply)
    {
        reach.failure = std::move(reply);
        return std::move(reach);
    }

    ModuleView &module;
};

// Clears the VARIANTs of a call's arguments.
struct Arguments
{
    std::vector<VARIANT> values;
    ~Arguments()
    {
        for (VARIANT &value : values)
            VariantClear(&value);
    }
};

// Invokes the member reach found with arguments; result is null for a put.
Reply Finish(const Reach &reach, WORD flags, std::vector<VARIANT> &arguments, const char *doing, VARIANT *result)
{
    const HRESULT hr = scripting::InvokeMember(reach.holder.get(), reach.memberId, flags, arguments, result);
    if (FAILED(hr))
        return CallFailure(QStringLiteral("%1 %2.%3").arg(QLatin1String(doing), reach.path, reach.member), hr);
    return Reply::success(result ? QJsonValue(RenderValue(*result)) : QJsonValue(QJsonObject()));
}

// The member's name as its type description writes it ("deleteLater" for
// "DELETELATER").
QString DeclaredName(const Reach &reach)
{
    host::Bstr name;
    if (!reach.typeInfo || FAILED(reach.typeInfo->GetDocumentation(reach.memberId, name.out(), nullptr, nullptr, nullptr)))
        return reach.member;
    return scripting::FromBstr(name.get());
}

// The enumeration or flags type of the property reach names; invalid for
// any other member.
QMetaEnum EnumerationOf(const Reach &reach)
{
    const QMetaProperty property = scripting::PropertyOf(reach.object, reach.member);
    return property.isValid() && (property.isEnumType() || property.isFlagType()) ? property.enumerator() : QMetaEnum();
}

// A value for an enumeration or flags property: its names, or a number.
std::optional<Reply> EnumerationValue(const QMetaEnum &enumerator, QString *text)
{
    const QString unquoted = scripting::UnquotedScriptText(*text);
    if (const std::optional<int> value = scripting::EnumValueFromText(enumerator, unquoted)) {
        *text = QString::number(*value);
        return std::nullopt;
    }
    bool number = false;
    unquoted.toInt(&number);
    if (number)
        return std::nullopt;
    return InvalidParams(QStringLiteral("\"%1\" is no value of %2, whose names are %3%4")
                             .arg(protocol::excerpt(*text), scripting::EnumTypeName(enumerator),
                                  scripting::EnumKeys(enumerator).join(QStringLiteral(", ")),
                                  QLatin1String(enumerator.isFlag() ? " (joined by |)" : "")));
}

} // namespace

Reply ScriptRequests::get(const QJsonObject &params)
{
    const Reach reach = Script(module).member(params, "member", INVOKE_PROPERTYGET);
    if (reach.failure)
        return *reach.failure;
    if (!reach.readable())
        return NotAProperty(reach.path, reach.member);
    Variant value;
    std::vector<VARIANT> none;
    Reply reply = Finish(reach, DISPATCH_PROPERTYGET, none, "reading", value.out());
    if (!reply.ok || value.get().vt != VT_I4)
        return reply;
    const QMetaEnum enumerator = EnumerationOf(reach);
    if (!enumerator.isValid())
        return reply;
    QJsonObject rendered = reply.result.toObject();
    rendered.insert(QStringLiteral("qtType"), scripting::EnumTypeName(enumerator));
    const QString name = scripting::EnumValueText(enumerator, value.get().lVal);
    if (!name.isEmpty())
        rendered.insert(QStringLiteral("name"), name);
    return Reply::success(rendered);
}

Reply ScriptRequests::set(const QJsonObject &params)
{
    QString text;
    if (!ArgumentText(params.value(QLatin1String("value")), &text))
        return InvalidParams(QStringLiteral("\"value\" must be a string, a number or a boolean"));
    Script script(module);
    const Reach reach = script.member(params, "member", INVOKE_PROPERTYPUT);
    if (reach.failure)
        return *reach.failure;
    if (const QMetaEnum enumerator = EnumerationOf(reach); enumerator.isValid()) {
        if (std::optional<Reply> refused = EnumerationValue(enumerator, &text))
            return *refused;
    }
    Arguments arguments;
    arguments.values.resize(1);
    const VARTYPE declared = reach.function ? reach.function->elemdescFunc.tdesc.vt : VARTYPE(VT_EMPTY);
    const auto qtType = [&reach] { return scripting::PropertyTypeName(reach.object, reach.member); };
    if (std::optional<Reply> refused = script.argument(reach, text, declared, qtType, &arguments.values[0]))
        return *refused;
    return Finish(reach, DISPATCH_PROPERTYPUT, arguments.values, "writing", nullptr);
}

Reply ScriptRequests::call(const QJsonObject &params)
{
    const QJsonValue given = params.value(QLatin1String("arguments"));
    if (!given.isUndefined() && !given.isArray())
        return InvalidParams(QStringLiteral("\"arguments\" must be an array"));
    QStringList texts;
    for (const QJsonValue &entry : given.toArray()) {
        QString text;
        if (!ArgumentText(entry, &text))
            return InvalidParams(QStringLiteral("each argument must be a string, a number or a boolean"));
        texts << text;
    }
    Script script(module);
    const Reach reach = script.member(params, "method", INVOKE_FUNC);
    if (reach.failure)
        return *reach.failure;
    if (reach.object && reach.typeInfo && DestroysObject(reach.object, DeclaredName(reach))) {
        if (std::optional<Reply> refused = RefuseUnsafeDeletion(reach.object, reach.path, module.threadDelivery()))
            return *refused;
    }
    Arguments arguments;
    arguments.values.resize(size_t(texts.size()));
    for (int index = 0; index < texts.size(); ++index) {
        const auto qtType = [&reach, &texts, index] { return scripting::ParameterTypeName(reach.object, reach.member, texts.size(), index); };
        if (std::optional<Reply> refused =
                script.argument(reach, texts.at(index), reach.function.parameterType(index), qtType, &arguments.values[size_t(index)]))
            return *refused;
    }
    Variant value;
    return Finish(reach, DISPATCH_METHOD, arguments.values, "calling", value.out());
}

Reply ScriptRequests::describe(const QJsonObject &params)
{
    Script script(module);
    const Reach reach = script.reach(params, "member", false, true);
    if (reach.failure)
        return *reach.failure;
    Ref<IDispatch> described = reach.holder;
    QString path = reach.path;
    DISPID memberId = DISPID_UNKNOWN;
    if (!reach.member.isEmpty()) {
        if (std::optional<Reply> missing = LookUp(reach.holder.get(), reach.member, reach.path, &memberId))
            return *missing;
        // A property that holds an object leads on to that object; a method,
        // or any other property, is described itself.
        Variant value;
        if (SUCCEEDED(scripting::ReadProperty(reach.holder.get(), memberId, value.out())) && value.get().vt == VT_DISPATCH
            && ObjectOf(value.get().pdispVal)) {
            value.get().pdispVal->AddRef();
            described = Ref<IDispatch>(value.get().pdispVal);
            path += QLatin1Char('.') + reach.member;
            memberId = DISPID_UNKNOWN;
        }
    }
    QObject *object = ObjectOf(described.get());
    const Ref<ITypeInfo> typeInfo = TypeInfoOf(described.get());
    if (!object || !typeInfo)
        return Reply::failure(protocol::error::kNoSuchObject, QStringLiteral("%1 is no object that has a type description").arg(path));
    QJsonObject result{ { QStringLiteral("object"), ObjectIdentity(described.get(), object) } };
    if (memberId == DISPID_UNKNOWN) {
        result.insert(QStringLiteral("chain"), DescribeTypeChain(typeInfo.get(), object));
        return Reply::success(result);
    }
    const QJsonObject member = DescribeChainMember(typeInfo.get(), object, memberId);
    if (member.isEmpty())
        return Reply::failure(protocol::error::kNoSuchMember,
                              QStringLiteral("%1 has no member \"%2\" in its type description").arg(path, protocol::excerpt(reach.member)));
    result.insert(QStringLiteral("member"), member);
    return Reply::success(result);
}

} // namespace vrqt::agent
