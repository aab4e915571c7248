// Storage by declared type name: filled from a QVariant for values Qt gives,
// or empty for method results, and freed by the same name.
#include <gtest/gtest.h>

#include <cstring>

#include <QObject>
#include <QRect>
#include <QSize>

#include "valuecases.h"
#include "values/qtcompat.h"
#include "values/valuestorage.h"

namespace {

TEST(ValueStorage, ScalarsTakeTheRowsTypeAndWidth)
{
    QObject object;
    const struct { const char *name; QVariant value; unsigned long long bits; size_t bytes; } rows[] = {
        { "LONG", QVariant::fromValue(0x180000001L), 0x80000001u, 4 }, // Qt's 8-byte long narrowed
        { "long", QVariant::fromValue(-2L), 0xFFFFFFFEu, 4 },
        { "ULONG", QVariant::fromValue(0x1FFFFFFFFul), 0xFFFFFFFFu, 4 },
        { "BYTE", QVariant(0x1FF), 0xFF, 1 },
        { "SHORT", QVariant(-1), 0xFFFF, 2 },
        { "FLOAT", QVariant(1.5), 0x3FC00000, 4 },
        { "DOUBLE", QVariant(1.5), 0x3FF8000000000000ull, 8 },
        { "VARIANT_BOOL", QVariant(-1), 0xFFFF, 2 },
        { "DATE", QVariant(2.0), 0x4000000000000000ull, 8 },
        { "CHAR", QVariant(65), 65, 1 },
        { "USHORT", QVariant(0x12345), 0x2345, 2 },
        { "INT", QVariant(-7), 0xFFFFFFF9u, 4 },
        { "int", QVariant(QStringLiteral("abc")), 0, 4 }, // what Qt cannot convert is the default
        { "UINT", QVariant(3u), 3, 4 },
        { "BOOL", QVariant(true), 1, 4 },
        { "VOID*", QVariant::fromValue(static_cast<void *>(&object)), quintptr(&object), 8 },
        { "QObject*", QVariant::fromValue(&object), quintptr(&object), 8 },
        { "LONGLONG", QVariant(-2LL), 0xFFFFFFFFFFFFFFFEull, 8 },
        { "ULONGLONG", QVariant(~0ULL), ~0ULL, 8 },
        { "qreal", QVariant(1.5), 0x3FF8000000000000ull, 8 },
        { "qlonglong", QVariant(1LL << 40), 1ULL << 40, 8 },
        { "qulonglong", QVariant(1ULL << 63), 1ULL << 63, 8 },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        void *storage = CreateValueFromQVariant(row.value, QString::fromLatin1(row.name));
        ASSERT_NE(storage, nullptr);
        unsigned long long bits = 0;
        std::memcpy(&bits, storage, row.bytes);
        EXPECT_EQ(bits, row.bits);
        DestroyValue(storage, QString::fromLatin1(row.name));
    }
}

TEST(ValueStorage, QtClassesBothWays)
{
    for (const char *name : kQtValueTypeNames) {
        SCOPED_TRACE(name);
        const QString typeName = QString::fromLatin1(name);
        const bool isObjectClass = typeName == QLatin1String("QObject") || typeName == QLatin1String("QWidget");
        const QVariant defaultValue = QtCompat::VariantFromData(QtCompat::MetaTypeId(name), nullptr);
        void *fromValue = CreateValueFromQVariant(defaultValue, typeName);
        EXPECT_EQ(fromValue != nullptr, !isObjectClass) << "QObject and QWidget come only as pointers";
        void *empty = CreateEmptyValue(name, 0);
        EXPECT_NE(empty, nullptr);
        DestroyValue(fromValue, typeName);
        DestroyValue(empty, typeName);
    }
    const QRect rect(5, 6, 7, 8);
    void *storage = CreateValueFromQVariant(rect, QStringLiteral("QRect"));
    EXPECT_EQ(*static_cast<QRect *>(storage), rect);
    DestroyValue(storage, QStringLiteral("QRect"));
}

TEST(ValueStorage, RowsEachDirectionLacks)
{
    const struct { const char *name; bool fromValue; bool empty; } rows[] = {
        { "BSTR", false, true },       { "IUnknown", false, false }, { "IDispatch", false, false },
        { "SAFEARRAY", false, false }, { "VOID", false, false },     { "VOID*", true, false },
        { "QObject*", true, false },   { "QPicture", false, true },  { "QModelIndex", false, false },
        { "QItemSelection", false, false }, { "QAction", false, false },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        void *fromValue = CreateValueFromQVariant(QVariant(), QString::fromLatin1(row.name));
        void *empty = CreateEmptyValue(row.name, 0);
        EXPECT_EQ(fromValue != nullptr, row.fromValue);
        EXPECT_EQ(empty != nullptr, row.empty);
        DestroyValue(fromValue, QString::fromLatin1(row.name));
        DestroyValue(empty, QString::fromLatin1(row.name));
    }
}

TEST(ValueStorage, EmptyValuesAreDefaultsAndPointersAnyName)
{
    void *rect = CreateEmptyValue("QRect", 0);
    EXPECT_EQ(*static_cast<QRect *>(rect), QRect(0, 0, 0, 0));
    void *size = CreateEmptyValue("QSize", 0);
    EXPECT_EQ(*static_cast<QSize *>(size), QSize(-1, -1));
    void *pointer = CreateEmptyValue("NoSuchClass", 1);
    ASSERT_NE(pointer, nullptr);
    *static_cast<void **>(pointer) = rect; // room for the pointer the method writes
    DestroyValue(rect, QStringLiteral("QRect"));
    DestroyValue(size, QStringLiteral("QSize"));
    DestroyValue(pointer, QStringLiteral("NoSuchClass*"));
}

} // namespace
