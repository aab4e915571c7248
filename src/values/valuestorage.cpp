#include "values/valuestorage.h"

#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>

#include <QApplication>
#include <QBitArray>
#include <QBitmap>
#include <QBrush>
#include <QColor>
#include <QCursor>
#include <QDateTime>
#include <QFont>
#include <QIcon>
#include <QImage>
#include <QKeySequence>
#include <QLine>
#include <QLocale>
#include <QPalette>
#include <QPen>
#include <QPicture>
#include <QPixmap>
#include <QPolygon>
#include <QRect>
#include <QRegion>
#include <QSize>
#include <QSizePolicy>
#include <QStringList>
#include <QTextFormat>
#include <QTextLength>
#include <QUrl>
#include <QWidget>

#include "values/qtcompat.h"
#include "values/typetable.h"

// One row of the storage tables; rows are named by StorageRows.
struct StorageRow {
    const char *name;
    void *(*fromVariant)(const QVariant &value); // null: the row makes no storage from a value
    void *(*empty)();                            // null: the row makes no empty storage
    void (*destroy)(void *storage);
    void (*fillCell)(const QVariant &value, void *cell) = nullptr; // scalar rows from a value
};

namespace {

// Scalars and pointers all live in one zeroed 8-byte cell, whatever the
// row's width: the cell frees alike, and a result Qt writes only partly (a
// bool into the "BOOL" row, a long into the "LONG" row) has defined bytes.
struct ScalarCell {
    alignas(8) unsigned char bytes[8];
};


template <typename Stored, typename Cast = Stored>
void FillScalarCell(const QVariant &value, void *cell)
{
    static_assert(sizeof(Stored) <= sizeof(ScalarCell), "scalars fit one cell");
    const Stored stored = Stored(qvariant_cast<Cast>(value));
    std::memcpy(cell, &stored, sizeof stored);
}

template <typename Stored, typename Cast = Stored>
void *ScalarFromVariant(const QVariant &value)
{
    ScalarCell *cell = new (std::nothrow) ScalarCell();
    if (cell)
        FillScalarCell<Stored, Cast>(value, cell->bytes);
    return cell;
}

void *EmptyScalar() { return new (std::nothrow) ScalarCell(); }
void DestroyScalar(void *storage) { delete static_cast<ScalarCell *>(storage); }

template <typename T>
void *ClassFromVariant(const QVariant &value) { return new (std::nothrow) T(qvariant_cast<T>(value)); }
template <typename T>
void *EmptyClass() { return new (std::nothrow) T(); }
template <typename T>
void DestroyClass(void *storage) { delete static_cast<T *>(storage); }

template <typename Stored, typename Cast = Stored>
constexpr StorageRow ScalarRow(const char *name)
{
    return { name, &ScalarFromVariant<Stored, Cast>, nullptr, &DestroyScalar, &FillScalarCell<Stored, Cast> };
}
constexpr StorageRow EmptyScalarRow(const char *name) { return { name, nullptr, &EmptyScalar, &DestroyScalar }; }

template <typename T>
constexpr StorageRow ClassRow(const char *name) { return { name, &ClassFromVariant<T>, &EmptyClass<T>, &DestroyClass<T> }; }
template <>
constexpr StorageRow ClassRow<AbsentQtClass>(const char *name) { return { name, nullptr, nullptr, nullptr }; }

void *EmptyObject() { return new (std::nothrow) QObject(nullptr); }
// Deliberate: a real top-level widget that is never shown and never deleted
// by this module. Without a QApplication a widget cannot exist at all.
void *EmptyWidget()
{
    if (!qobject_cast<QApplication *>(QCoreApplication::instance()))
        return nullptr;
    return new (std::nothrow) QWidget(nullptr, Qt::WindowFlags());
}
void *EmptyPicture() { return new (std::nothrow) QPicture(-1); }

// Qt's long and ulong are narrowed to the automation's 4 bytes.
constexpr StorageRow kScalarsFromVariant[] = {
    ScalarRow<std::int32_t, long>("LONG"),     ScalarRow<std::uint32_t, ulong>("ULONG"),
    ScalarRow<uchar>("BYTE"),                  ScalarRow<short>("SHORT"),
    ScalarRow<float>("FLOAT"),                 ScalarRow<double>("DOUBLE"),
    ScalarRow<short>("VARIANT_BOOL"),          ScalarRow<double>("DATE"),
    ScalarRow<char>("CHAR"),                   ScalarRow<ushort>("USHORT"),
    ScalarRow<int>("INT"),                     ScalarRow<uint>("UINT"),
    ScalarRow<int>("BOOL"),                    ScalarRow<void *>("VOID*"),
    ScalarRow<qlonglong>("LONGLONG"),          ScalarRow<qulonglong>("ULONGLONG"),
};

constexpr StorageRow kLeadingClasses[] = {
    ClassRow<QChar>("QChar"),
    ClassRow<QString>("QString"),
    ClassRow<QByteArray>("QByteArray"),
};

constexpr StorageRow kObjectPointers[] = {
    ScalarRow<void *, QObject *>("QObject*"),
    ScalarRow<void *, QWidget *>("QWidget*"),
};

constexpr StorageRow kObjects[] = {
    { "QObject", nullptr, &EmptyObject, &DestroyClass<QObject> },
    { "QWidget", nullptr, &EmptyWidget, &DestroyClass<QWidget> },
};

constexpr StorageRow kValueClasses[] = {
    ClassRow<QCursor>("QCursor"),           ClassRow<QDate>("QDate"),
    ClassRow<QSize>("QSize"),               ClassRow<QTime>("QTime"),
    ClassRow<QVariantList>("QVariantList"), ClassRow<QPolygon>("QPolygon"),
    ClassRow<QColor>("QColor"),             ClassRow<QSizeF>("QSizeF"),
    ClassRow<QRectF>("QRectF"),             ClassRow<QLine>("QLine"),
    ClassRow<QTextLength>("QTextLength"),   ClassRow<QStringList>("QStringList"),
    ClassRow<QVariantMap>("QVariantMap"),   ClassRow<QIcon>("QIcon"),
    ClassRow<QPen>("QPen"),                 ClassRow<QLineF>("QLineF"),
    ClassRow<QTextFormat>("QTextFormat"),   ClassRow<QRect>("QRect"),
    ClassRow<QPoint>("QPoint"),             ClassRow<QUrl>("QUrl"),
    ClassRow<QtRegExpClass>("QRegExp"),     ClassRow<QDateTime>("QDateTime"),
    ClassRow<QPointF>("QPointF"),           ClassRow<QPalette>("QPalette"),
    ClassRow<QFont>("QFont"),               ClassRow<QBrush>("QBrush"),
    ClassRow<QRegion>("QRegion"),           ClassRow<QBitArray>("QBitArray"),
    ClassRow<QImage>("QImage"),             ClassRow<QKeySequence>("QKeySequence"),
    ClassRow<QSizePolicy>("QSizePolicy"),   ClassRow<QPixmap>("QPixmap"),
    ClassRow<QLocale>("QLocale"),           ClassRow<QBitmap>("QBitmap"),
    ClassRow<QtMatrixClass>("QMatrix"),
};

constexpr StorageRow kTrailingScalarsFromVariant[] = {
    ScalarRow<double>("qreal"),
    ScalarRow<qlonglong>("qlonglong"),
    ScalarRow<qulonglong>("qulonglong"),
};

constexpr StorageRow kEmptyScalars[] = {
    EmptyScalarRow("LONG"),      EmptyScalarRow("ULONG"),     EmptyScalarRow("LONGLONG"),
    EmptyScalarRow("ULONGLONG"), EmptyScalarRow("BYTE"),      EmptyScalarRow("SHORT"),
    EmptyScalarRow("FLOAT"),     EmptyScalarRow("DOUBLE"),    EmptyScalarRow("VARIANT_BOOL"),
    EmptyScalarRow("qreal"),     EmptyScalarRow("qlonglong"), EmptyScalarRow("qulonglong"),
    EmptyScalarRow("DATE"),      EmptyScalarRow("BSTR"),      EmptyScalarRow("CHAR"),
    EmptyScalarRow("USHORT"),    EmptyScalarRow("INT"),       EmptyScalarRow("UINT"),
    EmptyScalarRow("BOOL"),
};

constexpr StorageRow kPicture[] = {
    { "QPicture", nullptr, &EmptyPicture, &DestroyClass<QPicture> },
};

struct RowRun {
    const StorageRow *rows;
    size_t count;
};

template <size_t N>
constexpr RowRun Run(const StorageRow (&rows)[N]) { return { rows, N }; }

// The rows of each direction in their order: 16 + 3 + 2 + 35 + 3 = 59
// from a QVariant, 19 + 3 + 2 + 35 + 1 = 60 empty.
constexpr RowRun kFromVariantRows[] = {
    Run(kScalarsFromVariant), Run(kLeadingClasses), Run(kObjectPointers), Run(kValueClasses),
    Run(kTrailingScalarsFromVariant),
};
constexpr RowRun kEmptyRows[] = {
    Run(kEmptyScalars), Run(kLeadingClasses), Run(kObjects), Run(kValueClasses), Run(kPicture),
};
template <size_t N>
constexpr size_t RowCount(const RowRun (&runs)[N])
{
    size_t count = 0;
    for (const RowRun &run : runs)
        count += run.count;
    return count;
}
static_assert(RowCount(kFromVariantRows) == 59 && RowCount(kEmptyRows) == 60, "59 rows from a value, 60 empty");

// Every row that makes a class, for freeing by name.
constexpr RowRun kClassRows[] = { Run(kLeadingClasses), Run(kObjects), Run(kValueClasses), Run(kPicture) };

// No two rows of one direction compare equal, so the first hit is the only
// one.
template <size_t N>
const StorageRow *FindRow(const RowRun (&runs)[N], const QString &name)
{
    for (const RowRun &run : runs) {
        for (size_t index = 0; index < run.count; ++index) {
            if (TypeNameEquals(name, run.rows[index].name, Qt::CaseInsensitive))
                return &run.rows[index];
        }
    }
    return nullptr;
}

} // namespace

StorageRows FindStorageRows(const QString &typeName)
{
    StorageRows rows;
    rows.fromValue = FindRow(kFromVariantRows, typeName);
    rows.empty = FindRow(kEmptyRows, QString::fromLatin1(CQtTypeTable::RemovePointerMarks(typeName).toLatin1()));
    rows.owner = typeName.contains(QLatin1Char('*')) ? nullptr : FindRow(kClassRows, typeName);
    return rows;
}

void *CreateValueFromQVariant(const QVariant &value, const StorageRows &rows)
{
    return rows.fromValue && rows.fromValue->fromVariant ? rows.fromValue->fromVariant(value) : nullptr;
}

bool FillScalarFromQVariant(const QVariant &value, const StorageRows &rows, void *cell)
{
    if (!rows.fromValue || !rows.fromValue->fillCell)
        return false;
    std::memset(cell, 0, sizeof(ScalarCell));
    rows.fromValue->fillCell(value, cell);
    return true;
}

void *CreateEmptyValue(const StorageRows &rows, int pointerDepth)
{
    if (pointerDepth != 0)
        return EmptyScalar(); // the pointer the method writes
    return rows.empty && rows.empty->empty ? rows.empty->empty() : nullptr;
}

void DestroyValue(void *storage, const StorageRows &rows)
{
    if (!storage)
        return;
    if (rows.owner && rows.owner->destroy)
        rows.owner->destroy(storage);
    else
        DestroyScalar(storage);
}

void *CreateValueFromQVariant(const QVariant &value, const QString &typeName)
{
    return CreateValueFromQVariant(value, FindStorageRows(typeName));
}

void *CreateEmptyValue(const char *typeName, int pointerDepth)
{
    return CreateEmptyValue(FindStorageRows(QString::fromLatin1(typeName)), pointerDepth);
}

void DestroyValue(void *storage, const QString &typeName)
{
    if (storage)
        DestroyValue(storage, FindStorageRows(typeName));
}
