// Values across the line between the host and Qt, the way the exposers move
// them: properties read and written, methods called with arguments and
// results, objects wrapped by the host's factory and given back.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include <QMetaMethod>

#include "allocationcount.h"
#include "countingfactory.h"
#include "probeobject.h"
#include "values/hostarguments.h"
#include "values/methodarguments.h"
#include "values/methodresult.h"
#include "values/propertyvalues.h"

namespace {

// A host value: a scalar's bits, or text that becomes a BSTR.
struct HostValue {
    VARTYPE vt;
    long long bits;
    const char16_t *text = nullptr;

    VARIANT make() const
    {
        VARIANT value;
        VariantInit(&value);
        value.vt = vt;
        value.llVal = bits;
        if (text)
            value.bstrVal = SysAllocString(text);
        return value;
    }
};

// A VARIANT with every byte 0, so that a test sees each byte written.
VARIANT Blank()
{
    VARIANT value;
    std::memset(&value, 0, sizeof value);
    return value;
}

QMetaProperty PropertyOf(const QObject &object, const char *name)
{
    return object.metaObject()->property(object.metaObject()->indexOfProperty(name));
}

HRESULT ReadProperty(const QObject &object, const char *name, const HostWrapper &host, VARIANT *result)
{
    const QMetaProperty property = PropertyOf(object, name);
    QtTypeDescription description;
    DescribePropertyType(property, description);
    return PropertyValueToVariant(property.read(&object), description, host, result);
}

HRESULT WriteProperty(QObject &object, const char *name, VARIANT &value)
{
    const QMetaProperty property = PropertyOf(object, name);
    QtTypeDescription description;
    DescribePropertyType(property, description);
    const HRESULT hr = CoerceArgument(&value, description);
    if (FAILED(hr))
        return hr;
    return property.write(&object, PropertyWriteValue(value, description, property)) ? S_OK : E_FAIL;
}

// What the method exposer does: describe, coerce, pack, invoke, deliver.
HRESULT CallMethod(QObject &object, const char *name, std::vector<VARIANT> &arguments, const HostWrapper &host,
                   VARIANT *result)
{
    const QMetaObject *meta = object.metaObject();
    QMetaMethod method;
    for (int index = 0; index < meta->methodCount(); ++index) {
        if (meta->method(index).name() == name)
            method = meta->method(index);
    }
    std::vector<QtTypeDescription> descriptions(size_t(method.parameterCount()) + 1);
    CQtTypeTable::DescribeType(method.typeName(), descriptions[0], MethodTypeMask);
    MethodArguments packed;
    for (size_t index = 0; index < arguments.size(); ++index) {
        CQtTypeTable::DescribeType(method.parameterTypes()[int(index)], descriptions[index + 1], MethodTypeMask);
        HRESULT hr = CoerceArgument(&arguments[index], descriptions[index + 1]);
        if (SUCCEEDED(hr))
            hr = packed.Append(arguments[index], descriptions[index + 1]);
        if (FAILED(hr))
            return hr;
    }
    MethodResult slot(descriptions[0]);
    if (!QMetaObject::invokeMethod(&object, name, Qt::DirectConnection, slot.returnArgument(), packed.at(0),
                                   packed.at(1), packed.at(2)))
        return DISP_E_EXCEPTION;
    packed.WriteBack();
    return slot.Deliver(host, result);
}

HostWrapper WrapperFor(CountingFactory &factory, int hostContext = 77)
{
    return { &factory, [hostContext](int *context) { *context = hostContext; return S_OK; } };
}

TEST(ValueTransfer, ScalarPropertiesRoundTrip)
{
    using QtSide = long long (*)(const ProbeObject &);
    const struct {
        const char *property;
        HostValue in;
        VARTYPE vt;
        long long bits;
        QtSide held;
        long long inQt; // exactly what the host sent
    } rows[] = {
        { "count", { VT_I4, -5 }, VT_INT, 0xFFFFFFFB, [](auto &o) -> long long { return o.count; }, -5 },
        { "count", { VT_BSTR, 0, u"42" }, VT_INT, 42, [](auto &o) -> long long { return o.count; }, 42 },
        { "wide", { VT_I4, 0x5555555580000000 }, VT_I4, 0x80000000, [](auto &o) -> long long { return o.wide; }, -0x80000000LL },
        { "unsignedWide", { VT_UI4, 0x55555555FFFFFFFF }, VT_UI4, 0xFFFFFFFF,
          [](auto &o) -> long long { return o.unsignedWide; }, 0xFFFFFFFF },
        { "flag", { VT_BOOL, 0xFFFF }, VT_BOOL, 0xFFFF, [](auto &o) -> long long { return o.flag; }, 1 },
        { "flag", { VT_BOOL, 0 }, VT_BOOL, 0, [](auto &o) -> long long { return o.flag; }, 0 },
        { "flag", { VT_BSTR, 0, u"True" }, VT_BOOL, 0xFFFF, [](auto &o) -> long long { return o.flag; }, 1 },
        { "ratio", { VT_R8, 0x4004000000000000 }, VT_R8, 0x4004000000000000,
          [](auto &o) -> long long { return o.ratio * 10; }, 25 },
        { "letter", { VT_I1, 'x' }, VT_I1, 'x', [](auto &o) -> long long { return o.letter; }, 'x' },
        { "mode", { VT_I4, 0x5555555500000002 }, VT_I4, 2, [](auto &o) -> long long { return o.mode; }, ProbeObject::Busy },
        { "options", { VT_I4, 0x5555555580000001 }, VT_I4, 0x80000001,
          [](auto &o) -> long long { return o.options; }, ProbeObject::First | ProbeObject::Top },
    };
    CountingFactory factory;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.property);
        ProbeObject object;
        VARIANT in = row.in.make();
        ASSERT_EQ(WriteProperty(object, row.property, in), S_OK);
        EXPECT_EQ(row.held(object), row.inQt);
        VARIANT out = Blank();
        ASSERT_EQ(ReadProperty(object, row.property, WrapperFor(factory), &out), S_OK);
        EXPECT_EQ(out.vt, row.vt);
        EXPECT_EQ(out.llVal, row.bits);
        VariantClear(&in);
    }
    EXPECT_TRUE(factory.calls.empty()) << "scalars never reach the factory";
}

TEST(ValueTransfer, ObjectsGoToTheFactoryAndComeBack)
{
    CountingFactory factory;
    ProbeObject source, target;
    source.buddy = &target;
    source.area = QRect(10, 20, 30, 40);
    const struct { const char *property, *typeName; } rows[] = {
        { "text", "QString" }, { "buddy", "QObject*" }, { "area", "QRect" } };
    std::vector<VARIANT> wrapped;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.property);
        VARIANT out;
        VariantInit(&out);
        ASSERT_EQ(ReadProperty(source, row.property, WrapperFor(factory), &out), S_OK);
        EXPECT_EQ(out.vt, VT_DISPATCH);
        const CountingFactory::Call &call = factory.calls.back();
        EXPECT_EQ(call.typeName, QString::fromLatin1(row.typeName));
        EXPECT_EQ(call.hostContext, 77);
        EXPECT_EQ(call.flags[0] & call.flags[1] & call.flags[2], VARIANT_TRUE);
        wrapped.push_back(out);
    }
    EXPECT_EQ(*static_cast<QString *>(factory.calls[0].storage), source.text);
    EXPECT_EQ(*static_cast<QObject **>(factory.calls[1].storage), &target);
    // The wrapped rectangle returns as a property value and as an argument.
    ASSERT_EQ(WriteProperty(target, "area", wrapped[2]), S_OK);
    EXPECT_EQ(target.area, source.area);
    std::vector<VARIANT> arguments{ wrapped[2] };
    VARIANT grown;
    VariantInit(&grown);
    ASSERT_EQ(CallMethod(target, "grow", arguments, WrapperFor(factory), &grown), S_OK);
    EXPECT_EQ(*static_cast<QRect *>(factory.calls.back().storage), QRect(9, 19, 32, 42));
    VariantClear(&grown);
    for (VARIANT &value : wrapped)
        VariantClear(&value);
    EXPECT_EQ(factory.liveStorage, 0);
}

TEST(ValueTransfer, WrapAndContextFailures)
{
    CountingFactory factory;
    ProbeObject object;
    VARIANT out;
    VariantInit(&out);
    const HostWrapper refusingContext{ &factory, [](int *) { return E_ACCESSDENIED; } };
    EXPECT_EQ(ReadProperty(object, "text", refusingContext, &out), E_ACCESSDENIED);
    EXPECT_TRUE(factory.calls.empty());
    factory.failWith = E_OUTOFMEMORY;
    EXPECT_EQ(ReadProperty(object, "text", WrapperFor(factory), &out), E_OUTOFMEMORY) << "a property reports it";
    EXPECT_EQ(out.vt, VT_EMPTY);
    std::vector<VARIANT> none;
    EXPECT_EQ(CallMethod(object, "describe", none, WrapperFor(factory), &out), S_OK) << "a method ignores it";
    EXPECT_EQ(out.vt, VT_DISPATCH);
    EXPECT_EQ(out.pdispVal, nullptr);
}

TEST(ValueTransfer, CoercionFailuresAreThePlatformsResult)
{
    const struct { const char *type; HostValue in; HRESULT expected; } rows[] = {
        { "int", { VT_BSTR, 0, u"abc" }, DISP_E_TYPEMISMATCH },
        { "int", { VT_R8, 0x4415AF1D78B58C40 }, DISP_E_OVERFLOW }, // 1e20
        { "bool", { VT_BSTR, 0, u"maybe" }, DISP_E_TYPEMISMATCH },
        { "uchar", { VT_I4, 1 }, DISP_E_BADVARTYPE },           // no automation type
        { "QString", { VT_I4, 1 }, DISP_E_TYPEMISMATCH },        // host values never become Qt classes
        { "QString", { VT_BSTR, 0, u"text" }, DISP_E_TYPEMISMATCH },
        { "QString", { VT_DISPATCH, 0 }, S_OK },                 // even a null object passes
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.type);
        QtTypeDescription description;
        CQtTypeTable::DescribeType(row.type, description, MethodTypeMask);
        VARIANT value = row.in.make();
        VARIANT copy = row.in.make();
        EXPECT_EQ(CoerceArgument(&value, description), row.expected);
        if (!description.isObject) {
            EXPECT_EQ(VariantChangeType(&copy, &copy, VARIANT_ALPHABOOL, description.vt), row.expected);
        }
        VariantClear(&value);
        VariantClear(&copy);
    }
    QtTypeDescription object;
    CQtTypeTable::DescribeType("QString", object, MethodTypeMask);
    VARIANT nullObject = HostValue{ VT_DISPATCH, 0 }.make();
    VARIANT reference = HostValue{ VT_BYREF | VT_VARIANT, 0 }.make();
    reference.pvarVal = &nullObject;
    EXPECT_EQ(CoerceArgument(&reference, object), DISP_E_TYPEMISMATCH) << "a reference needs an object";
    EXPECT_EQ(CoerceArgument(nullptr, object), DISP_E_TYPEMISMATCH);
}

TEST(ValueTransfer, MethodArgumentsAndResults)
{
    const struct {
        const char *method;
        std::vector<HostValue> arguments;
        VARTYPE vt;
        long long bits;
    } rows[] = {
        { "twice", { { VT_I4, 21 } }, VT_INT, 42 },
        { "twice", { { VT_BSTR, 0, u"-4" } }, VT_INT, 0xFFFFFFF8 },
        { "negate", { { VT_I4, 0x555555557FFFFFFF } }, VT_I4, 0x80000001 },
        { "invert", { { VT_BOOL, 0xFFFF } }, VT_BOOL, 0 },
        { "invert", { { VT_BOOL, 0 } }, VT_BOOL, 0xFFFF },
        { "touch", {}, VT_EMPTY, 0 },
        // Deliberate: a ushort* result leaves the union as it was.
        { "counterAddress", {}, VT_UI2 | VT_BYREF, 0 },
    };
    CountingFactory factory;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.method);
        ProbeObject object;
        std::vector<VARIANT> arguments;
        for (const HostValue &argument : row.arguments)
            arguments.push_back(argument.make());
        VARIANT result = Blank();
        ASSERT_EQ(CallMethod(object, row.method, arguments, WrapperFor(factory), &result), S_OK);
        EXPECT_EQ(result.vt, row.vt);
        EXPECT_EQ(result.llVal, row.bits);
        for (VARIANT &argument : arguments)
            VariantClear(&argument);
    }
}

TEST(ValueTransfer, LongThroughAPointerKeepsTheHostsWidth)
{
    ProbeObject object;
    QtTypeDescription description;
    CQtTypeTable::DescribeType("long*", description, MethodTypeMask);
    LONG host[2] = { 3, 0x5A5A5A5A }; // the second is not the host's: Qt must not write it
    VARIANT argument = HostValue{ VT_I4 | VT_BYREF, 0 }.make();
    argument.plVal = host;
    MethodArguments packed;
    ASSERT_EQ(packed.Append(argument, description), S_OK);
    ASSERT_TRUE(QMetaObject::invokeMethod(&object, "stretch", Qt::DirectConnection, packed.at(0)));
    packed.WriteBack();
    EXPECT_EQ(host[0], 7);
    EXPECT_EQ(host[1], 0x5A5A5A5A);
}

TEST(ValueTransfer, AMillionScalarTransfersLeaveMemoryFlat)
{
    CountingFactory factory;
    ProbeObject object;
    std::vector<VARIANT> arguments{ HostValue{ VT_I4, 1 }.make() };
    const auto transfer = [&] {
        VARIANT value = HostValue{ VT_I4, 0x80000000 }.make();
        VARIANT out = Blank();
        return WriteProperty(object, "options", value) | ReadProperty(object, "options", WrapperFor(factory), &out)
             | ReadProperty(object, "flag", WrapperFor(factory), &out)
             | CallMethod(object, "negate", arguments, WrapperFor(factory), &out);
    };
    ASSERT_EQ(transfer(), S_OK); // Qt's own first-use allocations happen here
    const long before = LiveAllocations();
    for (int round = 0; round < 250000; ++round)
        ASSERT_EQ(transfer(), S_OK);
    EXPECT_EQ(LiveAllocations(), before);
    EXPECT_TRUE(factory.calls.empty());
}

} // namespace
