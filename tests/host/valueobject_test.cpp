// The host's value objects without the module: what the factory makes of
// storage, what a script reads of it, how its storage is freed, and how a
// script's text becomes a value.
#include <gtest/gtest.h>

#include <QBitmap>
#include <QCoreApplication>
#include <QDateTime>
#include <QKeySequence>
#include <QPicture>
#include <QPixmap>
#include <QPointer>
#include <QRegion>
#include <QSizePolicy>
#include <QWidget>

#include <functional>

#include "host/scripting/objectfactory.h"
#include "host/scripting/scriptsession.h"
#include "host/scripting/scripttext.h"
#include "host/scripting/valueobject.h"
#include "host/scripting/variants.h"

using namespace vrqt::scripting;
using vrqt::host::Ref;

namespace {

// Calls run where they are asked for; nothing here crosses threads.
class DirectDelivery final : public ThreadDelivery
{
public:
    HRESULT deliver(QObject *, std::function<HRESULT()> work) override { return work(); }
};

struct Variant
{
    Variant() { VariantInit(&value); }
    ~Variant() { VariantClear(&value); }
    VARIANT value;
};

// Invoke with a read's flags and no arguments.
HRESULT Read(IDispatch *object, DISPID id, VARIANT *result, WORD flags = DISPATCH_PROPERTYGET)
{
    DISPPARAMS none{};
    return object->Invoke(id, IID_NULL, 0, flags, &none, result, nullptr, nullptr);
}

DISPID IdOf(IDispatch *object, const char16_t *name)
{
    LPOLESTR names[] = { const_cast<LPOLESTR>(name) };
    DISPID id = DISPID_UNKNOWN;
    object->GetIDsOfNames(IID_NULL, names, 1, 0, &id);
    return id;
}

QString ValueText(IDispatch *object)
{
    Variant value;
    if (FAILED(Read(object, DISPID_VALUE, &value.value)))
        return QStringLiteral("<failed>");
    return value.value.vt == VT_BSTR ? FromBstr(value.value.bstrVal) : QStringLiteral("<%1>").arg(VarTypeName(value.value.vt));
}

template <typename T>
void *Make()
{
    return new T();
}

class ValueObjectTest : public ::testing::Test
{
protected:
    Ref<IDispatch> wrap(void *storage, const char16_t *typeName)
    {
        BSTR name = SysAllocString(typeName);
        IDispatch *result = nullptr;
        EXPECT_EQ(S_OK, factory->WrapStorage(storage, 3, name, VARIANT_TRUE, VARIANT_TRUE, VARIANT_TRUE, &result));
        SysFreeString(name);
        return Ref<IDispatch>(result);
    }

    DirectDelivery delivery;
    std::shared_ptr<ScriptSession> session = ScriptSession::create(delivery);
    Ref<HostObjectFactory> factory{ HostObjectFactory::create(session) };
    const long liveBefore = ValueObject::liveCount();
};

} // namespace

TEST_F(ValueObjectTest, FreesItsStorageByTypeNameWhenTheLastReferenceGoes)
{
    QPointer<QObject> madeObject;
    struct Row {
        const char16_t *typeName;
        std::function<void *()> make;
    } rows[] = {
        { u"QChar", &Make<QChar> },           { u"QString", &Make<QString> },     { u"QVariantList", &Make<QVariantList> },
        { u"QRectF", &Make<QRectF> },         { u"QDateTime", &Make<QDateTime> }, { u"QVariantMap", &Make<QVariantMap> },
        { u"QFont", &Make<QFont> },           { u"QPixmap", &Make<QPixmap> },     { u"QKeySequence", &Make<QKeySequence> },
        { u"QRegion", &Make<QRegion> },       { u"QBitmap", &Make<QBitmap> },     { u"QSizePolicy", &Make<QSizePolicy> },
        { u"QPicture", [] { return static_cast<void *>(new QPicture(-1)); } },
        { u"qstring", &Make<QString> }, // names compare without regard to case
        { u"QObject*", [] { return NewPointerCell(nullptr); } },
        { u"QWidget*", [] { return NewPointerCell(reinterpret_cast<void *>(0x10)); } },
        { u"QObject", [&madeObject] { madeObject = new QObject; return static_cast<void *>(madeObject.data()); } },
        { u"QModelIndex", [] { return nullptr; } }, // no storage: the module has none for it
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(QString::fromUtf16(row.typeName).toStdString());
        Ref<IDispatch> value = wrap(row.make(), row.typeName);
        ASSERT_TRUE(value);
        EXPECT_EQ(ValueObject::liveCount(), liveBefore + 1);
        EXPECT_NE(ValueText(value.get()), QStringLiteral("<failed>"));
        value.reset();
        EXPECT_EQ(ValueObject::liveCount(), liveBefore);
    }
    // An object goes the way of every QObject, on its own thread's next turn.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(madeObject.isNull());
}

TEST_F(ValueObjectTest, GivesTheSameStorageBackAndTellsItsOwnFromOthers)
{
    QRect *rect = new QRect(1, 2, 3, 4);
    Ref<IDispatch> value = wrap(rect, u"QRect");
    Ref<IvrQtValueStorage> storage = value.query<IvrQtValueStorage>(IID_IvrQtValueStorage);
    ASSERT_TRUE(storage);
    void *given = nullptr;
    EXPECT_EQ(S_OK, storage->GetStorage(&given));
    EXPECT_EQ(given, rect);
    const Ref<ValueObject> own = ValueObject::from(value.get());
    ASSERT_TRUE(own);
    EXPECT_EQ(own->hostContext(), 3);
    EXPECT_FALSE(ValueObject::from(factory.get())) << "the factory is no value object";

    // Storage is taken over even when no wrapper can be handed out: the
    // leak checker sees the string freed.
    BSTR name = SysAllocString(u"QString");
    EXPECT_EQ(E_POINTER, factory->WrapStorage(new QString(QStringLiteral("kept?")), 0, name, VARIANT_TRUE, VARIANT_TRUE,
                                              VARIANT_TRUE, nullptr));
    SysFreeString(name);
    EXPECT_EQ(ValueObject::liveCount(), liveBefore + 1);
}

TEST_F(ValueObjectTest, AScriptReadsValuesAndPartsAndNothingElse)
{
    Ref<IDispatch> rect = wrap(new QRect(10, 20, 30, 40), u"QRect");
    struct Row {
        const char *name;
        DISPID id;
        WORD flags;
        UINT arguments;
        HRESULT expected;
        VARTYPE vt;
    } rows[] = {
        { "value as a property", DISPID_VALUE, DISPATCH_PROPERTYGET, 0, S_OK, VT_BSTR },
        { "value as a method", DISPID_VALUE, DISPATCH_METHOD, 0, S_OK, VT_BSTR },
        { "width", IdOf(rect.get(), u"WIDTH"), DISPATCH_PROPERTYGET, 0, S_OK, VT_I4 },
        { "a put", IdOf(rect.get(), u"x"), DISPATCH_PROPERTYPUT, 1, DISP_E_MEMBERNOTFOUND, VT_EMPTY },
        { "an argument", IdOf(rect.get(), u"x"), DISPATCH_PROPERTYGET, 1, DISP_E_BADPARAMCOUNT, VT_EMPTY },
        { "an unknown id", 99, DISPATCH_PROPERTYGET, 0, DISP_E_MEMBERNOTFOUND, VT_EMPTY },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        Variant argument, result;
        argument.value.vt = VT_I4;
        DISPPARAMS params{ row.arguments ? &argument.value : nullptr, nullptr, row.arguments, 0 };
        EXPECT_EQ(row.expected, rect->Invoke(row.id, IID_NULL, 0, row.flags, &params, &result.value, nullptr, nullptr));
        EXPECT_EQ(result.value.vt, row.vt);
    }
    LPOLESTR unknown[] = { const_cast<LPOLESTR>(u"depth") };
    DISPID id = 0;
    EXPECT_EQ(DISP_E_UNKNOWNNAME, rect->GetIDsOfNames(IID_NULL, unknown, 1, 0, &id));
    EXPECT_EQ(DISP_E_UNKNOWNINTERFACE, rect->GetIDsOfNames(IID_IDispatch, unknown, 1, 0, &id));
    UINT count = 1;
    EXPECT_EQ(S_OK, rect->GetTypeInfoCount(&count));
    EXPECT_EQ(count, 0u) << "a value has no type description";
}

TEST_F(ValueObjectTest, MakesValuesFromAScriptsText)
{
    using Parts = std::vector<std::pair<const char16_t *, QVariant>>;
    struct Row {
        const char *typeName;
        const char *text;
        const char *valueText; // null: the text does not read as the type
        Parts parts;
    } rows[] = {
        { "QString", "h\xC3\xA9llo", "h\xC3\xA9llo", {} },
        { "QRect", "10,20 30x40", "10,20 30x40", { { u"x", 10 }, { u"y", 20 }, { u"width", 30 }, { u"height", 40 } } },
        { "QPointF", "1.5,-2", "1.5,-2", { { u"x", 1.5 }, { u"y", -2.0 } } },
        { "QDate", "2024-06-14", "2024-06-14", { { u"year", 2024 }, { u"month", 6 }, { u"day", 14 } } },
        { "QTime", "12:34:56.789", "12:34:56.789", { { u"msec", 789 } } },
        { "QColor", "#ff8000", "#ff8000", { { u"red", 255 }, { u"green", 128 }, { u"blue", 0 }, { u"alpha", 255 } } },
        { "QKeySequence", "Ctrl+S", "Ctrl+S", {} },
        { "QBitArray", "0110", "0110", { { u"count", 4 } } },
        { "QChar", "x", "x", {} },
        { "QRect", "10,20", nullptr, {} },
        { "QChar", "xy", nullptr, {} },
        { "QPalette", "#ffffff", nullptr, {} },
        { "QObject*", "0x10", nullptr, {} },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(row.typeName) + " from " + row.text);
        IDispatch *made = nullptr;
        const HRESULT hr = session->valueFromText(QLatin1String(row.typeName), QString::fromUtf8(row.text), &made);
        Ref<IDispatch> value(made);
        if (!row.valueText) {
            EXPECT_EQ(hr, E_INVALIDARG);
            EXPECT_FALSE(value);
            continue;
        }
        ASSERT_EQ(hr, S_OK);
        EXPECT_EQ(ValueText(value.get()), QString::fromUtf8(row.valueText));
        for (const auto &[name, expected] : row.parts) {
            SCOPED_TRACE(QString::fromUtf16(name).toStdString());
            Variant part;
            ASSERT_EQ(S_OK, Read(value.get(), IdOf(value.get(), name), &part.value));
            EXPECT_EQ(part.value.vt, expected.userType() == QMetaType::Double ? VT_R8 : VT_I4);
            EXPECT_EQ(part.value.vt == VT_R8 ? part.value.dblVal : double(part.value.lVal), expected.toDouble());
        }
    }
}

TEST(ScriptText, ReadsLiteralsAsAScriptHostWould)
{
    struct Row {
        const char *text;
        VARTYPE vt;
        double number; // VT_I4, VT_R8, VT_BOOL (-1 true)
        const char *bstr;
    } rows[] = {
        { "42", VT_I4, 42, nullptr },
        { "+3", VT_I4, 3, nullptr },
        { "2147483647", VT_I4, 2147483647.0, nullptr },
        { "2147483648", VT_R8, 2147483648.0, nullptr },
        { "-2147483649", VT_R8, -2147483649.0, nullptr },
        { "2.5", VT_R8, 2.5, nullptr },
        { "1e3", VT_R8, 1000, nullptr },
        { "true", VT_BOOL, -1, nullptr },
        { "FALSE", VT_BOOL, 0, nullptr },
        { "\"42\"", VT_BSTR, 0, "42" },
        { "\"\"", VT_BSTR, 0, "" },
        { "\"", VT_BSTR, 0, "\"" },
        { "", VT_BSTR, 0, "" },
        { "12abc", VT_BSTR, 0, "12abc" },
        { "1e999", VT_BSTR, 0, "1e999" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.text);
        Variant value;
        ASSERT_EQ(S_OK, ScriptValueFromText(QString::fromUtf8(row.text), &value.value));
        ASSERT_EQ(value.value.vt, row.vt);
        if (row.vt == VT_I4)
            EXPECT_EQ(value.value.lVal, row.number);
        else if (row.vt == VT_R8)
            EXPECT_EQ(value.value.dblVal, row.number);
        else if (row.vt == VT_BOOL)
            EXPECT_EQ(value.value.boolVal, VARIANT_BOOL(row.number));
        else
            EXPECT_EQ(FromBstr(value.value.bstrVal), QString::fromUtf8(row.bstr));
    }
    EXPECT_EQ(UnquotedScriptText(QStringLiteral("\"a b\"")), QStringLiteral("a b"));
    EXPECT_EQ(UnquotedScriptText(QStringLiteral("a b")), QStringLiteral("a b"));
}
