// The type vocabulary: names normalised and classified, table by table,
// under the property and the method masks.
#include <gtest/gtest.h>

#include <QList>

#include "valuecases.h"
#include "values/typetable.h"

namespace {

QtTypeDescription Describe(const QByteArray &rawName, unsigned mask)
{
    QtTypeDescription description;
    CQtTypeTable::DescribeType(rawName.constData(), description, mask);
    return description;
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
        { "  long  ", MethodTypeMask, VT_I4, false, 0, false, "long" },
        { "int const *", MethodTypeMask, VT_INT | VT_BYREF, false, 1, false, "int*" },
        { "int&", MethodTypeMask, VT_INT | VT_BYREF, false, 0, true, "int" },
        { "char*", MethodTypeMask, VT_I1 | VT_BYREF, false, 1, false, "char*" },
        { "int**", MethodTypeMask, VT_ILLEGAL, false, 2, false, "int**" },
        { "QString const&", MethodTypeMask, VT_DISPATCH, true, 0, false, "QString" },
        { "QObject*", PropertyTypeMask, VT_DISPATCH, true, 1, false, "QObject*" },
        { "qstring", MethodTypeMask, VT_ILLEGAL, false, 0, false, "qstring" },
        { "Bool", PropertyTypeMask, VT_BOOL, false, 0, false, "Bool" },
        { "QVariant", MethodTypeMask, VT_ILLEGAL, false, 0, false, "QVariant" },
        { "QAction*", MethodTypeMask, VT_ILLEGAL, false, 1, false, "QAction*" },
        { "uchar", MethodTypeMask, VT_ILLEGAL, false, 0, false, "uchar" },
        { "BSTR&", MethodTypeMask, VT_BSTR | VT_BYREF, false, 0, true, "BSTR" },
        { "BSTR", PropertyTypeMask, VT_ILLEGAL, false, 0, false, "BSTR" },
        { "Qconstring", MethodTypeMask, VT_ILLEGAL, false, 0, false, "Qring" }, // "const" goes as text, not as a word
        { "QRect&&", MethodTypeMask, VT_ILLEGAL, false, 0, false, "QRect&" },   // only the first '&' goes
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
    const struct { const char *names; VARTYPE vt; unsigned table = SimpleTypesMask; } rows[] = {
        { "LONG", VT_I4 }, { "DOUBLE qreal", VT_R8 }, { "VARIANT_BOOL BOOL", VT_BOOL },
        { "ULONGLONG qulonglong", VT_UI8 }, { "BSTR", VT_BSTR, InterfaceTypesMask },
        { "IDispatch", VT_DISPATCH, InterfaceTypesMask }, { "SAFEARRAY", VT_ARRAY, InterfaceTypesMask },
    };
    for (const auto &row : rows) {
        for (const QByteArray &name : QByteArray(row.names).split(' ')) {
            for (const QByteArray &spelling : { name, name.toLower(), name.toUpper() }) {
                SCOPED_TRACE(spelling.constData());
                EXPECT_EQ(Describe(spelling, row.table).vt, row.vt);
                EXPECT_EQ(Describe(spelling, MethodTypeMask & ~row.table).vt, VT_ILLEGAL);
            }
        }
    }
}

TEST(TypeTable, QtClassesAreObjectsAndMatchExactly)
{
    const auto check = [](const QByteArray &name, unsigned table) {
        SCOPED_TRACE(name.constData());
        for (const QByteArray &raw : { name, name + "*", "const " + name + "&" }) {
            const QtTypeDescription described = Describe(raw, table);
            EXPECT_TRUE(described.vt == VT_DISPATCH && described.isObject && !described.isReference);
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
