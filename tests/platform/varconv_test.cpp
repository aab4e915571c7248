// VariantChangeType as a whole: every pair of the supported types, VT_EMPTY,
// VT_NULL and VT_ERROR's own rules, objects through their default member,
// by-reference sources, conversion in place, what happens to the
// destination, bad types and arrays. Expected values are the Windows results.
#include <cstdint>
#include <string>

#include "counting_objects.h"
#include "varconv_cases.h"

using namespace conversion_cases;

namespace {

// An object whose default member (DISPID_VALUE) returns `value`, or fails
// with `failure`; it checks the call Windows makes.
class DefaultValueObject : public testing_objects::CountingDispatch {
public:
    explicit DefaultValueObject(const Literal &literal) : value(makeVariant(literal)) {}
    ~DefaultValueObject() { VariantClear(&value); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override
    {
        if (!object)
            return E_POINTER;
        if (riid == IID_IUnknown || riid == IID_IDispatch) {
            *object = static_cast<IDispatch *>(this);
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }

    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID riid, LCID, WORD flags, DISPPARAMS *params, VARIANT *result,
                                     EXCEPINFO *exception, UINT *argumentError) override
    {
        ++invokes;
        EXPECT_EQ(id, DISPID_VALUE);
        EXPECT_TRUE(riid == IID_NULL);
        EXPECT_EQ(flags, DISPATCH_PROPERTYGET);
        EXPECT_TRUE(params && params->cArgs == 0 && params->cNamedArgs == 0 && !params->rgvarg);
        EXPECT_TRUE(result && result->vt == VT_EMPTY);
        EXPECT_EQ(exception, nullptr);
        EXPECT_EQ(argumentError, nullptr);
        if (failure != S_OK)
            return failure;
        if (returnsItself) {
            result->vt = VT_DISPATCH;
            result->pdispVal = this;
            AddRef();
            return S_OK;
        }
        return VariantCopy(result, &value);
    }

    VARIANT value;
    HRESULT failure = S_OK;
    bool returnsItself = false;
    int invokes = 0;
};

VARIANT objectVariant(VARTYPE vt, IUnknown *object)
{
    VARIANT variant;
    VariantInit(&variant);
    variant.vt = vt;
    variant.punkVal = object;
    return variant;
}

// The supported scalar types, each holding one (true for VT_BOOL is the
// integer 1, as VariantChangeType sees it).
struct TypeOne {
    const char *name;
    Literal one;
};
const TypeOne kTypes[] = {
    { "EMPTY", v::Empty() }, { "NULL", v::Null() }, { "I1", v::I1(1) }, { "UI1", v::UI1(1) },
    { "I2", v::I2(1) }, { "UI2", v::UI2(1) }, { "I4", v::I4(1) }, { "UI4", v::UI4(1) },
    { "I8", v::I8(1) }, { "UI8", v::UI8(1) }, { "INT", v::Int(1) }, { "UINT", v::UInt(1) },
    { "R4", v::R4(1.0f) }, { "R8", v::R8(1.0) }, { "CY", v::Cy(10000) }, { "DATE", v::Date(1.0) },
    { "BOOL", v::Bool(1) }, { "BSTR", v::Str(u"1") }, { "ERROR", v::Error(1) },
};

bool isObjectOrError(VARTYPE vt)
{
    return vt == VT_ERROR || vt == VT_DISPATCH || vt == VT_UNKNOWN;
}

// What one becomes in each type, by the Windows rules.
Case expectedOne(const TypeOne &from, const TypeOne &to)
{
    const VARTYPE source = from.one.vt, target = to.one.vt;
    Case row{ to.name, from.one, target, S_OK, to.one };
    if (source == target)
        row.result = from.one;
    else if (source == VT_NULL || source == VT_ERROR || isObjectOrError(target))
        row.expected = DISP_E_TYPEMISMATCH;
    else if (target == VT_EMPTY || target == VT_NULL)
        row.result = v::integer(target, 0);
    else if (source == VT_EMPTY)
        row.result = target == VT_BSTR ? v::Str(u"") : target == VT_DECIMAL ? v::Dec(0, false, 0, 0) : v::integer(target, 0);
    else if (target == VT_BOOL)
        row.result = v::Bool(VARIANT_TRUE);
    else if (source == VT_DATE && target == VT_BSTR)
        row.result = v::Str(u"12/31/1899");
    else if (source == VT_BSTR && target == VT_DATE)
        row.expected = DISP_E_TYPEMISMATCH; // "1" is no date
    else if (source == VT_CY && target == VT_DECIMAL)
        row.result = v::Dec(4, false, 0, 10000); // currency keeps its four decimals
    if (target == VT_EMPTY || target == VT_NULL)
        row.result.integer = 0;
    return row;
}

TEST(VariantChangeType, EveryPairOfSupportedTypes)
{
    const TypeOne objectTargets[] = { { "DISPATCH", v::integer(VT_DISPATCH, 0) }, { "UNKNOWN", v::integer(VT_UNKNOWN, 0) } };
    for (const TypeOne &from : kTypes) {
        SCOPED_TRACE(std::string("from ") + from.name);
        for (const TypeOne &to : kTypes)
            runCase(expectedOne(from, to));
        for (const TypeOne &to : objectTargets)
            runCase(Case{ to.name, from.one, to.one.vt, DISP_E_TYPEMISMATCH, {} });
    }
}

// The result codes over every vt up to VT_BSTR_BLOB, as Windows gives them
// for VT_EMPTY, VT_NULL, VT_ERROR and VT_UNKNOWN sources.
HRESULT codeForTarget(VARTYPE source, VARTYPE target)
{
    const bool classic = target <= VT_UINT && target != 15;
    if (!classic && target != VT_RECORD)
        return DISP_E_BADVARTYPE;
    if (source == target)
        return S_OK;
    switch (source) {
    case VT_EMPTY:
        return target == VT_RECORD || target == VT_VARIANT || isObjectOrError(target) ? DISP_E_TYPEMISMATCH : S_OK;
    case VT_UNKNOWN:
        return target == VT_EMPTY || target == VT_NULL || target == VT_DISPATCH ? S_OK : DISP_E_TYPEMISMATCH;
    default: // VT_NULL, VT_ERROR
        return DISP_E_TYPEMISMATCH;
    }
}

TEST(VariantChangeType, EmptyNullErrorAndUnknownOverEveryVt)
{
    DefaultValueObject object(v::I4(1));
    for (VARTYPE source : { VT_EMPTY, VT_NULL, VT_ERROR, VT_UNKNOWN }) {
        for (VARTYPE target = 0; target <= VT_BSTR_BLOB; ++target) {
            if (target > VT_VERSIONED_STREAM && target < VT_BSTR_BLOB)
                continue;
            SCOPED_TRACE(std::to_string(source) + " to " + std::to_string(target));
            VARIANT from = source == VT_UNKNOWN ? objectVariant(VT_UNKNOWN, &object) : makeVariant(v::integer(source, 1));
            VARIANT dest;
            VariantInit(&dest);
            const HRESULT hr = VariantChangeTypeEx(&dest, &from, kEnglishUS, 0, target);
            EXPECT_EQ(hr, codeForTarget(source, target));
            EXPECT_EQ(dest.vt, hr == S_OK ? target : VARTYPE(VT_EMPTY));
            VariantClear(&dest);
        }
    }
    EXPECT_EQ(object.invokes, 0) << "an IUnknown gives no default value";
    EXPECT_EQ(object.references, 1u);
}

TEST(VariantChangeType, DispatchSourcesGiveTheirDefaultMember)
{
    struct Row {
        const char *name;
        Literal value;
        VARTYPE target;
        USHORT flags;
        HRESULT expected;
        Literal result;
        int invokes;
    } rows[] = {
        { "I4 to I2", v::I4(42), VT_I2, 0, S_OK, v::I2(42), 1 },
        { "bool to text with ALPHABOOL", v::Bool(VARIANT_TRUE), VT_BSTR, VARIANT_ALPHABOOL, S_OK, v::Str(u"True"), 1 },
        { "value overflows", v::I4(300), VT_UI1, 0, DISP_E_OVERFLOW, {}, 1 },
        { "value is no number", v::Str(u"abc"), VT_I4, 0, DISP_E_TYPEMISMATCH, {}, 1 },
        { "NOVALUEPROP", v::I4(42), VT_I4, VARIANT_NOVALUEPROP, DISP_E_TYPEMISMATCH, {}, 0 },
        { "to EMPTY without a call", v::I4(42), VT_EMPTY, 0, S_OK, v::Empty(), 0 },
        { "to ERROR", v::I4(42), VT_ERROR, 0, DISP_E_TYPEMISMATCH, {}, 0 },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        DefaultValueObject object(row.value);
        VARIANT source = objectVariant(VT_DISPATCH, &object);
        VARIANT dest;
        VariantInit(&dest);
        EXPECT_EQ(VariantChangeTypeEx(&dest, &source, kEnglishUS, row.flags, row.target), row.expected);
        if (row.expected == S_OK) {
            EXPECT_TRUE(sameValue(dest, row.result));
        } else {
            EXPECT_EQ(dest.vt, VT_EMPTY);
        }
        EXPECT_EQ(object.invokes, row.invokes);
        VariantClear(&dest);
        EXPECT_EQ(object.references, 1u) << "every reference taken is given back";
    }
}

TEST(VariantChangeType, FailingOrMissingObjects)
{
    DefaultValueObject failing(v::I4(1));
    failing.failure = E_OUTOFMEMORY;
    VARIANT source = objectVariant(VT_DISPATCH, &failing);
    VARIANT dest;
    VariantInit(&dest);
    EXPECT_EQ(VariantChangeType(&dest, &source, 0, VT_UI1), DISP_E_TYPEMISMATCH) << "a failing call";
    EXPECT_EQ(dest.vt, VT_EMPTY);
    EXPECT_EQ(failing.invokes, 1);

    DefaultValueObject selfish(v::I4(1));
    selfish.returnsItself = true;
    source = objectVariant(VT_DISPATCH, &selfish);
    EXPECT_EQ(VariantChangeType(&dest, &source, 0, VT_I4), DISP_E_TYPEMISMATCH) << "a default member returning itself";
    EXPECT_EQ(selfish.references, 1u);

    source = objectVariant(VT_DISPATCH, nullptr);
    EXPECT_EQ(VariantChangeType(&dest, &source, 0, VT_I4), DISP_E_BADVARTYPE) << "a null IDispatch has no value";
    EXPECT_EQ(VariantChangeType(&dest, &source, 0, VT_UNKNOWN), S_OK) << "but is a null IUnknown";
    EXPECT_TRUE(dest.vt == VT_UNKNOWN && dest.punkVal == nullptr);
    source = objectVariant(VT_UNKNOWN, nullptr);
    EXPECT_EQ(VariantChangeType(&dest, &source, 0, VT_DISPATCH), S_OK);
    EXPECT_TRUE(dest.vt == VT_DISPATCH && dest.pdispVal == nullptr);

    testing_objects::Counting<IUnknown> plain;
    source = objectVariant(VT_UNKNOWN, &plain);
    VariantInit(&dest);
    EXPECT_EQ(VariantChangeType(&dest, &source, 0, VT_DISPATCH), E_NOINTERFACE) << "no IDispatch to query";
    EXPECT_EQ(dest.vt, VT_EMPTY);
    EXPECT_EQ(plain.references, 1u);
}

TEST(VariantChangeType, ObjectsConvertThroughQueryInterface)
{
    DefaultValueObject object(v::I4(1));
    VARIANT source = objectVariant(VT_DISPATCH, &object);
    VARIANT dest;
    VariantInit(&dest);
    ASSERT_EQ(VariantChangeType(&dest, &source, 0, VT_UNKNOWN), S_OK);
    EXPECT_EQ(dest.punkVal, static_cast<IUnknown *>(&object));
    EXPECT_EQ(object.references, 2u) << "the source keeps its reference";
    VariantClear(&dest);

    ASSERT_EQ(VariantChangeType(&source, &source, 0, VT_UNKNOWN), S_OK) << "in place";
    EXPECT_EQ(source.vt, VT_UNKNOWN);
    EXPECT_EQ(object.references, 1u) << "in place the old reference is given back";
    ASSERT_EQ(VariantChangeType(&source, &source, VARIANT_NOVALUEPROP, VT_DISPATCH), S_OK);
    EXPECT_EQ(source.vt, VT_DISPATCH);
    EXPECT_EQ(object.references, 1u);
    ASSERT_EQ(VariantChangeType(&dest, &source, VARIANT_NOVALUEPROP, VT_UNKNOWN), S_OK)
        << "NOVALUEPROP still allows IUnknown";
    VariantClear(&dest);
    EXPECT_EQ(object.invokes, 0);
    EXPECT_EQ(object.references, 1u);
}

TEST(VariantChangeType, ReadsByReferenceSources)
{
    LONG number = -7;
    DECIMAL decimal{};
    decimal.scale = 1;
    decimal.Lo64 = 35;
    BSTR text = SysAllocString(u"1,234");
    VARIANT referenced = makeVariant(v::R8(2.5));
    VARIANT twice;
    twice.vt = VT_VARIANT | VT_BYREF;
    twice.pvarVal = &referenced;
    struct Row {
        const char *name;
        VARTYPE vt;
        void *pointer;
        VARTYPE target;
        HRESULT expected;
        Literal result;
    } rows[] = {
        { "I4", VT_I4, &number, VT_I2, S_OK, v::I2(-7) },
        { "DECIMAL", VT_DECIMAL, &decimal, VT_I4, S_OK, v::I4(4) },
        { "BSTR", VT_BSTR, &text, VT_I4, S_OK, v::I4(1234) },
        { "VARIANT", VT_VARIANT, &referenced, VT_BSTR, S_OK, v::Str(u"2.5") },
        { "VARIANT of VARIANT", VT_VARIANT, &twice, VT_I4, E_INVALIDARG, {} },
        { "null pointer", VT_I4, nullptr, VT_I2, DISP_E_TYPEMISMATCH, {} },
        { "by-reference EMPTY", VT_EMPTY, &number, VT_I2, DISP_E_BADVARTYPE, {} },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        VARIANT source;
        VariantInit(&source);
        source.vt = row.vt | VT_BYREF;
        source.byref = row.pointer;
        VARIANT dest;
        VariantInit(&dest);
        EXPECT_EQ(VariantChangeTypeEx(&dest, &source, kEnglishUS, 0, row.target), row.expected);
        if (row.expected == S_OK) {
            EXPECT_TRUE(sameValue(dest, row.result));
        }
        VariantClear(&dest);
    }
    EXPECT_EQ(number, -7);
    EXPECT_EQ(std::u16string(text), u"1,234") << "the referenced value stays";
    SysFreeString(text);
}

TEST(VariantChangeType, InPlaceAndDestinations)
{
    VARIANT value = makeVariant(v::Str(u"12"));
    ASSERT_EQ(VariantChangeType(&value, &value, 0, VT_I4), S_OK);
    EXPECT_TRUE(sameValue(value, v::I4(12)));
    ASSERT_EQ(VariantChangeType(&value, &value, 0, VT_BSTR), S_OK);
    EXPECT_TRUE(sameValue(value, v::Str(u"12")));

    // A failure leaves source and destination as they were.
    VARIANT word = makeVariant(v::Str(u"test"));
    const BSTR original = word.bstrVal;
    EXPECT_EQ(VariantChangeType(&word, &word, 0, VT_INT), DISP_E_TYPEMISMATCH);
    EXPECT_TRUE(word.vt == VT_BSTR && word.bstrVal == original);
    VARIANT dest = makeVariant(v::Int(4));
    EXPECT_EQ(VariantChangeType(&dest, &word, 0, VT_INT), DISP_E_TYPEMISMATCH);
    EXPECT_TRUE(sameValue(dest, v::Int(4)));

    // A destination with an invalid vt cannot be cleared to take a result.
    dest.vt = 0xFF;
    EXPECT_EQ(VariantChangeType(&dest, &word, 0, VT_INT), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(VariantChangeType(&dest, &word, 0, VT_BSTR), DISP_E_BADVARTYPE);
    EXPECT_EQ(dest.vt, 0xFF);

    // A destination holding text gives it up for the result.
    dest = makeVariant(v::Str(u"old"));
    EXPECT_EQ(VariantChangeType(&dest, &value, 0, VT_R8), S_OK);
    EXPECT_TRUE(sameValue(dest, v::R8(12.0)));
    VariantClear(&word);
    VariantClear(&value);
}

TEST(VariantChangeType, BadTypesAndArguments)
{
    const Case rows[] = {
        { "target CLSID", v::I4(1), VT_CLSID, DISP_E_BADVARTYPE, {} },
        { "target vector", v::I4(1), VT_VECTOR | VT_I4, DISP_E_BADVARTYPE, {} },
        { "target with all modifiers", v::I4(1), 0x3847, DISP_E_BADVARTYPE, {} },
        { "target by reference", v::I4(1), VT_BYREF | VT_I4, DISP_E_TYPEMISMATCH, {} },
        { "source 15", v::integer(15, 1), VT_I4, DISP_E_BADVARTYPE, {} },
        { "source vector", v::integer(VT_VECTOR | VT_I4, 1), VT_I4, DISP_E_BADVARTYPE, {} },
        { "source CLSID", v::integer(VT_CLSID, 1), VT_I4, DISP_E_BADVARTYPE, {} },
    };
    runCases(rows);
    VARIANT value = makeVariant(v::I4(1));
    EXPECT_EQ(VariantChangeType(nullptr, &value, 0, VT_I2), E_INVALIDARG);
    EXPECT_EQ(VariantChangeTypeEx(&value, nullptr, kEnglishUS, 0, VT_I2), E_INVALIDARG);
}

TEST(VariantChangeType, ArraysAndTheBytesOfText)
{
    SAFEARRAY *bytes = SafeArrayCreateVector(VT_UI1, 0, 4);
    ASSERT_NE(bytes, nullptr);
    std::memcpy(bytes->pvData, "a\0b\0", 4);
    VARIANT source;
    VariantInit(&source);
    source.vt = VT_ARRAY | VT_UI1;
    source.parray = bytes;

    VARIANT text;
    VariantInit(&text);
    ASSERT_EQ(VariantChangeType(&text, &source, 0, VT_BSTR), S_OK);
    EXPECT_EQ(std::u16string(text.bstrVal, SysStringLen(text.bstrVal)), u"ab");

    VARIANT back;
    VariantInit(&back);
    ASSERT_EQ(VariantChangeType(&back, &text, 0, VT_ARRAY | VT_UI1), S_OK);
    EXPECT_EQ(back.parray->rgsabound[0].cElements, 4u);
    EXPECT_EQ(std::memcmp(back.parray->pvData, "a\0b\0", 4), 0);

    VARIANT copy;
    VariantInit(&copy);
    ASSERT_EQ(VariantChangeType(&copy, &source, 0, VT_ARRAY | VT_UI1), S_OK);
    EXPECT_NE(copy.parray, bytes) << "an array of its own";
    EXPECT_EQ(VariantChangeType(&copy, &source, 0, VT_ARRAY | VT_I4), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(VariantChangeType(&copy, &source, 0, VT_I4), DISP_E_TYPEMISMATCH);
    VariantClear(&copy);
    VariantClear(&back);
    VariantClear(&text);
    VariantClear(&source);
}

} // namespace
