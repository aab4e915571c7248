// Storage by declared type name: filled from a QVariant for values Qt gives,
// or empty for method results, and freed by the same name.
#include <gtest/gtest.h>

#include <cstring>

#include <QRect>

#include "valuecases.h"
#include "values/qtcompat.h"
#include "values/valuestorage.h"

namespace {

TEST(ValueStorage, ScalarsTakeTheRowsTypeAndWidth)
{
    QObject object;
    const struct { const char *name; QVariant value; unsigned long long bits; size_t bytes; } rows[] = {
        { "LONG", QVariant::fromValue(0x180000001L), 0x80000001u, 4 }, // Qt's 8-byte long narrowed
        { "BYTE", QVariant(0x1FF), 0xFF, 1 },
        { "VARIANT_BOOL", QVariant(-1), 0xFFFF, 2 },
        { "FLOAT", QVariant(1.5), 0x3FC00000, 4 },
        { "int", QVariant(QStringLiteral("abc")), 0, 4 }, // what Qt cannot convert is the default
        { "bool", QVariant(true), 1, 4 },
        { "DATE", QVariant(2.0), 0x4000000000000000ull, 8 },
        { "VOID*", QVariant::fromValue(static_cast<void *>(&object)), quintptr(&object), 8 },
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
        const bool objectClass = typeName == QLatin1String("QObject") || typeName == QLatin1String("QWidget");
        // QRegExp and QMatrix left Qt with version 6: their names stay and make no storage.
        const bool retired = QT_VERSION_MAJOR >= 6 && (typeName == QLatin1String("QRegExp") || typeName == QLatin1String("QMatrix"));
        const QVariant defaultValue = QtCompat::VariantFromData(QtCompat::MetaTypeId(name), nullptr);
        void *fromValue = CreateValueFromQVariant(defaultValue, typeName);
        void *empty = CreateEmptyValue(name, 0);
        EXPECT_EQ(fromValue != nullptr, !objectClass && !retired) << "QObject and QWidget come only as pointers";
        EXPECT_EQ(empty != nullptr, !retired);
        DestroyValue(fromValue, typeName);
        DestroyValue(empty, typeName);
    }
    void *emptyRect = CreateEmptyValue("QRect", 0), *emptySize = CreateEmptyValue("QSize", 0);
    EXPECT_EQ(*static_cast<QRect *>(emptyRect), QRect(0, 0, 0, 0));
    EXPECT_EQ(*static_cast<QSize *>(emptySize), QSize(-1, -1));
    DestroyValue(emptyRect, QStringLiteral("QRect"));
    DestroyValue(emptySize, QStringLiteral("QSize"));
}

TEST(ValueStorage, RowsEachDirectionLacks)
{
    const struct { const char *name; bool fromValue, empty; } rows[] = {
        { "BSTR", false, true },      { "IUnknown", false, false },    { "VOID", false, false },
        { "VOID*", true, false },     { "QPicture", false, true },     { "QModelIndex", false, false },
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
    void *pointer = CreateEmptyValue("QAction", 1); // a pointer result: 8 bytes for any name
    EXPECT_NE(pointer, nullptr);
    DestroyValue(pointer, QStringLiteral("QAction*"));
}

} // namespace
