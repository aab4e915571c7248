// Values across the line between the host and Qt, moved as the exposers
// move them: what the scripting tests of the module cannot reach (widths,
// the union's upper bytes, failures of the host's factory and context).
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include <QMetaMethod>

#include "countingfactory.h"
#include "probeobject.h"
#include "values/hostarguments.h"
#include "values/methodarguments.h"
#include "values/methodresult.h"
#include "values/propertyvalues.h"

long LiveAllocations(); // main.cpp counts every operator new

namespace {

// A host value: a scalar's bits (the rest of the union included), or text.
struct HostValue {
    int vt;
    long long bits;
    const char16_t *text = nullptr;

    VARIANT make() const
    {
        VARIANT value;
        std::memset(&value, 0, sizeof value);
        value.vt = VARTYPE(vt);
        value.llVal = bits;
        if (text)
            value.bstrVal = SysAllocString(text);
        return value;
    }
};

QMetaProperty Property(const QObject &object, const char *name, QtTypeDescription &description)
{
    const QMetaProperty property = object.metaObject()->property(object.metaObject()->indexOfProperty(name));
    DescribePropertyType(property, description);
    return property;
}

HRESULT ReadProperty(const QObject &object, const char *name, const HostWrapper &host, VARIANT *result)
{
    QtTypeDescription description;
    const QVariant value = Property(object, name, description).read(&object);
    return PropertyValueToVariant(value, description, host, result);
}

HRESULT WriteProperty(QObject &object, const char *name, VARIANT &value)
{
    QtTypeDescription description;
    const QMetaProperty property = Property(object, name, description);
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
    const QMetaMethod method = meta->method(meta->indexOfMethod(QMetaObject::normalizedSignature(name)));
    std::vector<QtTypeDescription> descriptions(arguments.size() + 1);
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
    if (!QMetaObject::invokeMethod(&object, method.name(), Qt::DirectConnection, slot.returnArgument(), packed.at(0)))
        return DISP_E_EXCEPTION;
    packed.WriteBack();
    return slot.Deliver(host, result);
}

// The call's instance as the host passes it, with a fixed host context.
struct FixedHostContext final : IvrQtHostContext {
    FixedHostContext(HRESULT answer, int value) : answer(answer), value(value) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override
    {
        *object = IsEqualGUID(riid, IID_IvrQtHostContext) ? this : nullptr;
        return *object ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE Unused() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetHostContext(int *context) override { *context = value; return answer; }
    HRESULT answer;
    int value;
} hostContext77(S_OK, 77);

HostWrapper WrapperFor(CountingFactory &factory)
{
    return { &factory, &hostContext77 };
}

TEST(ValueTransfer, ScalarPropertiesRoundTrip)
{
    const struct {
        const char *property;
        HostValue in;
        VARTYPE vt;
        long long bits;
        long long (*held)(const ProbeObject &);
        long long inQt; // exactly what the host sent; the union's upper bytes are not the host's
    } rows[] = {
        { "count", { VT_I4, -5 }, VT_INT, 0xFFFFFFFB, [](auto &o) -> long long { return o.count; }, -5 },
        { "wide", { VT_I4, 0x5555555580000000 }, VT_I4, 0x80000000,
          [](auto &o) -> long long { return o.wide; }, -0x80000000LL },
        { "unsignedWide", { VT_UI4, 0x55555555FFFFFFFF }, VT_UI4, 0xFFFFFFFF,
          [](auto &o) -> long long { return o.unsignedWide; }, 0xFFFFFFFF },
        { "flag", { VT_BOOL, 0xFFFF }, VT_BOOL, 0xFFFF, [](auto &o) -> long long { return o.flag; }, 1 },
        { "flag", { VT_BSTR, 0, u"True" }, VT_BOOL, 0xFFFF, [](auto &o) -> long long { return o.flag; }, 1 },
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
        VARIANT out = HostValue{ VT_EMPTY, 0 }.make();
        ASSERT_EQ(ReadProperty(object, row.property, WrapperFor(factory), &out), S_OK);
        EXPECT_EQ(out.vt, row.vt);
        EXPECT_EQ(out.llVal, row.bits);
        VariantClear(&in);
    }
    EXPECT_TRUE(factory.calls.empty()) << "scalars never reach the factory";
}

TEST(ValueTransfer, WrapAndContextFailures)
{
    CountingFactory factory;
    ProbeObject object;
    VARIANT out = HostValue{ VT_EMPTY, 0 }.make();
    FixedHostContext refusing(E_ACCESSDENIED, 0);
    EXPECT_EQ(ReadProperty(object, "text", { &factory, &refusing }, &out), E_ACCESSDENIED);
    EXPECT_TRUE(factory.calls.empty());
    factory.failWith = E_OUTOFMEMORY;
    EXPECT_EQ(ReadProperty(object, "text", WrapperFor(factory), &out), E_OUTOFMEMORY) << "a property reports it";
    EXPECT_EQ(out.vt, VT_EMPTY);
    std::vector<VARIANT> none;
    EXPECT_EQ(CallMethod(object, "describe()", none, WrapperFor(factory), &out), S_OK) << "a method deliberately not";
    EXPECT_EQ(out.vt, VT_DISPATCH);
    EXPECT_EQ(out.pdispVal, nullptr);
    for (VARIANT_BOOL flag : factory.calls.back().flags)
        EXPECT_EQ(flag, VARIANT_TRUE);

    std::vector<VARIANT> nullRect{ HostValue{ VT_DISPATCH, 0 }.make() };
    EXPECT_EQ(CallMethod(object, "grow(QRect)", nullRect, WrapperFor(factory), &out), DISP_E_TYPEMISMATCH)
        << "a null object passes coercion, but Qt would read the rectangle through it";
}

TEST(ValueTransfer, CoercionFailuresAreThePlatformsResult)
{
    const struct { const char *type; HostValue in; HRESULT expected; } rows[] = {
        { "int", { VT_BSTR, 0, u"abc" }, DISP_E_TYPEMISMATCH },
        { "int", { VT_R8, 0x4415AF1D78B58C40 }, DISP_E_OVERFLOW }, // 1e20
        { "bool", { VT_BSTR, 0, u"maybe" }, DISP_E_TYPEMISMATCH },
        { "uchar", { VT_I4, 1 }, DISP_E_BADVARTYPE },                 // a name without an automation type
        { "QString", { VT_BSTR, 0, u"text" }, DISP_E_TYPEMISMATCH },  // host values never become Qt classes
        { "QString", { VT_DISPATCH, 0 }, S_OK },                      // even a null object passes
        { "QString", { VT_BYREF | VT_VARIANT, 0 }, DISP_E_TYPEMISMATCH },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.type);
        QtTypeDescription description;
        CQtTypeTable::DescribeType(row.type, description, MethodTypeMask);
        VARIANT value = row.in.make(), copy = row.in.make();
        EXPECT_EQ(CoerceArgument(&value, description), row.expected);
        if (!description.isObject) {
            EXPECT_EQ(VariantChangeType(&copy, &copy, VARIANT_ALPHABOOL, description.vt), row.expected);
        }
        VariantClear(&value);
        VariantClear(&copy);
    }
    EXPECT_EQ(CoerceArgument(nullptr, QtTypeDescription()), DISP_E_TYPEMISMATCH);
}

TEST(ValueTransfer, MethodArgumentsAndResults)
{
    const struct { const char *method; std::vector<HostValue> arguments; int vt; long long bits; } rows[] = {
        { "twice(int)", { { VT_I4, 21 } }, VT_INT, 42 },
        { "negate(long)", { { VT_I4, 0x555555557FFFFFFF } }, VT_I4, 0x80000001 },
        { "invert(bool)", { { VT_BOOL, 0xFFFF } }, VT_BOOL, 0 },
        { "touch()", {}, VT_EMPTY, 0 },
        { "counterAddress()", {}, VT_UI2 | VT_BYREF, 0 }, // deliberate: the union stays as it was
    };
    CountingFactory factory;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.method);
        ProbeObject object;
        std::vector<VARIANT> arguments;
        for (const HostValue &argument : row.arguments)
            arguments.push_back(argument.make());
        VARIANT result = HostValue{ VT_EMPTY, 0 }.make();
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
    LONG host[2] = { 3, 0x5A5A5A5A }; // the second is not the host's value: Qt must not write it
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
    const auto transfers = [&] { // four of them
        VARIANT value = HostValue{ VT_I4, 0x80000000 }.make(), out = HostValue{ VT_EMPTY, 0 }.make();
        return WriteProperty(object, "options", value) | ReadProperty(object, "options", WrapperFor(factory), &out)
             | ReadProperty(object, "flag", WrapperFor(factory), &out)
             | CallMethod(object, "negate(long)", arguments, WrapperFor(factory), &out);
    };
    ASSERT_EQ(transfers(), S_OK); // Qt's own first-use allocations happen here
    const long before = LiveAllocations();
    for (int round = 0; round < 250000; ++round)
        ASSERT_EQ(transfers(), S_OK);
    EXPECT_EQ(LiveAllocations(), before);
}

} // namespace
