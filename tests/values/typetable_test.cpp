// The type vocabulary: normalising names and classifying them, table by
// table, under the property and the method masks.
#include <gtest/gtest.h>

#include "valuecases.h"
#include "values/typetable.h"

namespace {

QtTypeDescription Describe(const QByteArray &rawName, unsigned mask)
{
    QtTypeDescription description;
    CQtTypeTable::DescribeType(rawName.constData(), description, mask);
    return description;
}

TEST(TypeTable, NormalizesNames)
{
    const struct { const char *raw, *normalized; } rows[] = {
        { "", "void" },
        { "const QString &", "QString" },
        { "QString const&", "QString" },
        { "  long  ", "long" },
        { "int const *", "int*" },
        { "Qconstring", "Qring" }, // "const" is cut out as text, not as a word
        { "a&b&", "ab&" },         // only the first ampersand goes
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.raw);
        EXPECT_EQ(CQtTypeTable::NormalizeTypeName(row.raw), QString::fromLatin1(row.normalized));
    }
    EXPECT_EQ(CQtTypeTable::RemovePointerMarks(QStringLiteral("QObject**")), QStringLiteral("QObject"));
}

TEST(TypeTable, DescribesTheEdgesOfTheVocabulary)
{
    const struct {
        const char *raw;
        unsigned mask;
        VARTYPE vt;
        bool isObject;
        int pointerDepth;
        bool isReference;
        const char *typeName;
    } rows[] = {
        { "", MethodTypeMask, VT_VOID, false, 0, false, "void" },
        { "void", MethodTypeMask, VT_VOID, false, 0, false, "void" },
        { "void*", MethodTypeMask, VT_VOID | VT_BYREF, false, 1, false, "void*" },
        { "int", MethodTypeMask, VT_INT, false, 0, false, "int" },
        { "long", MethodTypeMask, VT_I4, false, 0, false, "long" },
        { "int*", MethodTypeMask, VT_INT | VT_BYREF, false, 1, false, "int*" },
        { "int&", MethodTypeMask, VT_INT | VT_BYREF, false, 0, true, "int" },
        { "char*", MethodTypeMask, VT_I1 | VT_BYREF, false, 1, false, "char*" },
        { "int**", MethodTypeMask, VT_ILLEGAL, false, 2, false, "int**" },
        { "const QString&", MethodTypeMask, VT_DISPATCH, true, 0, false, "QString" },
        { "QObject*", PropertyTypeMask, VT_DISPATCH, true, 1, false, "QObject*" },
        { "qstring", MethodTypeMask, VT_ILLEGAL, false, 0, false, "qstring" },
        { "Bool", PropertyTypeMask, VT_BOOL, false, 0, false, "Bool" },
        { "QVariant", MethodTypeMask, VT_ILLEGAL, false, 0, false, "QVariant" },
        { "QAction*", MethodTypeMask, VT_ILLEGAL, false, 1, false, "QAction*" },
        { "uchar", MethodTypeMask, VT_ILLEGAL, false, 0, false, "uchar" },
        { "BSTR&", MethodTypeMask, VT_BSTR | VT_BYREF, false, 0, true, "BSTR" },
        { "BSTR", PropertyTypeMask, VT_ILLEGAL, false, 0, false, "BSTR" },
        { "QModelIndex", PropertyTypeMask, VT_ILLEGAL, false, 0, false, "QModelIndex" },
        { "QString&&", MethodTypeMask, VT_ILLEGAL, false, 0, false, "QString&" },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.raw);
        const QtTypeDescription description = Describe(row.raw, row.mask);
        EXPECT_EQ(description.vt, row.vt);
        EXPECT_EQ(description.isObject, row.isObject);
        EXPECT_EQ(description.pointerDepth, row.pointerDepth);
        EXPECT_EQ(description.isReference, row.isReference);
        EXPECT_EQ(description.typeName, QString::fromLatin1(row.typeName));
    }
}

TEST(TypeTable, ScalarAndInterfaceNamesIgnoreCase)
{
    const struct { const char *name; VARTYPE vt; unsigned table; } rows[] = {
        { "LONG", VT_I4, SimpleTypesMask },        { "BYTE", VT_UI1, SimpleTypesMask },
        { "SHORT", VT_I2, SimpleTypesMask },       { "FLOAT", VT_R4, SimpleTypesMask },
        { "DOUBLE", VT_R8, SimpleTypesMask },      { "VARIANT_BOOL", VT_BOOL, SimpleTypesMask },
        { "DATE", VT_DATE, SimpleTypesMask },      { "CHAR", VT_I1, SimpleTypesMask },
        { "USHORT", VT_UI2, SimpleTypesMask },     { "INT", VT_INT, SimpleTypesMask },
        { "UINT", VT_UINT, SimpleTypesMask },      { "BOOL", VT_BOOL, SimpleTypesMask },
        { "VOID", VT_VOID, SimpleTypesMask },      { "ULONG", VT_UI4, SimpleTypesMask },
        { "LONGLONG", VT_I8, SimpleTypesMask },    { "ULONGLONG", VT_UI8, SimpleTypesMask },
        { "qlonglong", VT_I8, SimpleTypesMask },   { "qulonglong", VT_UI8, SimpleTypesMask },
        { "qreal", VT_R8, SimpleTypesMask },
        { "BSTR", VT_BSTR, InterfaceTypesMask },   { "IUnknown", VT_UNKNOWN, InterfaceTypesMask },
        { "IDispatch", VT_DISPATCH, InterfaceTypesMask }, { "SAFEARRAY", VT_ARRAY, InterfaceTypesMask },
    };
    for (const auto &row : rows) {
        for (const QByteArray &name : { QByteArray(row.name), QByteArray(row.name).toLower(), QByteArray(row.name).toUpper() }) {
            SCOPED_TRACE(name.constData());
            EXPECT_EQ(Describe(name, row.table).vt, row.vt);
            EXPECT_EQ(Describe(name, MethodTypeMask & ~row.table).vt, VT_ILLEGAL);
            EXPECT_FALSE(Describe(name, row.table).isObject);
        }
    }
}

TEST(TypeTable, QtClassesAreObjectsAndMatchExactly)
{
    const auto check = [](const QByteArray &name, unsigned table) {
        SCOPED_TRACE(name.constData());
        for (const QByteArray &raw : { name, name + "*", "const " + name + "&" }) {
            const QtTypeDescription described = Describe(raw, table);
            EXPECT_EQ(described.vt, VT_DISPATCH);
            EXPECT_TRUE(described.isObject);
            EXPECT_FALSE(described.isReference);
            EXPECT_EQ(described.pointerDepth, raw.count('*'));
            EXPECT_EQ(Describe(raw, MethodTypeMask & ~table).vt, VT_ILLEGAL);
        }
        EXPECT_EQ(Describe(name.toLower(), MethodTypeMask).vt, VT_ILLEGAL);
    };
    for (const char *name : kQtValueTypeNames)
        check(name, QtValueTypesMask);
    for (const char *name : kQtExtraTypeNames)
        check(name, QtExtraTypesMask);
}

} // namespace
