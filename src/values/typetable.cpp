#include "values/typetable.h"

#include "values/valuestorage.h"

#include <iterator>

#include <QMetaObject>

namespace {

struct TypeRow {
    const char *name;
    VARTYPE vt;
};

struct TypeTable {
    const TypeRow *rows;
    size_t count;
    Qt::CaseSensitivity sensitivity;
};

// Upper-case names compared without regard to case are what make the C
// scalar names (int, long, bool, void, ...) hit a row; uchar, quint32 or
// qint64 deliberately hit none.
constexpr TypeRow kSimpleTypes[] = {
    { "LONG", VT_I4 },        { "BYTE", VT_UI1 },      { "SHORT", VT_I2 },       { "FLOAT", VT_R4 },
    { "DOUBLE", VT_R8 },      { "VARIANT_BOOL", VT_BOOL }, { "DATE", VT_DATE },  { "CHAR", VT_I1 },
    { "USHORT", VT_UI2 },     { "INT", VT_INT },       { "UINT", VT_UINT },      { "BOOL", VT_BOOL },
    { "VOID", VT_VOID },      { "ULONG", VT_UI4 },     { "LONGLONG", VT_I8 },    { "ULONGLONG", VT_UI8 },
    { "qlonglong", VT_I8 },   { "qulonglong", VT_UI8 }, { "qreal", VT_R8 },
};

constexpr TypeRow kInterfaceTypes[] = {
    { "BSTR", VT_BSTR },
    { "IUnknown", VT_UNKNOWN },
    { "IDispatch", VT_DISPATCH },
    { "SAFEARRAY", VT_ARRAY },
};

// Every Qt class travels as an object behind IDispatch.
constexpr TypeRow kQtValueTypes[] = {
    { "QChar", VT_DISPATCH },       { "QString", VT_DISPATCH },     { "QByteArray", VT_DISPATCH },
    { "QObject", VT_DISPATCH },     { "QWidget", VT_DISPATCH },     { "QCursor", VT_DISPATCH },
    { "QDate", VT_DISPATCH },       { "QSize", VT_DISPATCH },       { "QTime", VT_DISPATCH },
    { "QVariantList", VT_DISPATCH }, { "QPolygon", VT_DISPATCH },   { "QColor", VT_DISPATCH },
    { "QSizeF", VT_DISPATCH },      { "QRectF", VT_DISPATCH },      { "QLine", VT_DISPATCH },
    { "QTextLength", VT_DISPATCH }, { "QStringList", VT_DISPATCH }, { "QVariantMap", VT_DISPATCH },
    { "QIcon", VT_DISPATCH },       { "QPen", VT_DISPATCH },        { "QLineF", VT_DISPATCH },
    { "QTextFormat", VT_DISPATCH }, { "QRect", VT_DISPATCH },       { "QPoint", VT_DISPATCH },
    { "QUrl", VT_DISPATCH },        { "QRegExp", VT_DISPATCH },     { "QDateTime", VT_DISPATCH },
    { "QPointF", VT_DISPATCH },     { "QPalette", VT_DISPATCH },    { "QFont", VT_DISPATCH },
    { "QBrush", VT_DISPATCH },      { "QRegion", VT_DISPATCH },     { "QBitArray", VT_DISPATCH },
    { "QImage", VT_DISPATCH },      { "QKeySequence", VT_DISPATCH }, { "QSizePolicy", VT_DISPATCH },
    { "QPixmap", VT_DISPATCH },     { "QLocale", VT_DISPATCH },     { "QBitmap", VT_DISPATCH },
    { "QMatrix", VT_DISPATCH },
};

constexpr TypeRow kQtExtraTypes[] = {
    { "QPicture", VT_DISPATCH },
    { "QModelIndex", VT_DISPATCH },
    { "QItemSelection", VT_DISPATCH },
};

static_assert(std::size(kSimpleTypes) == 19 && std::size(kInterfaceTypes) == 4 && std::size(kQtValueTypes) == 40
                  && std::size(kQtExtraTypes) == 3,
              "the vocabulary has 19, 4, 40 and 3 names");

constexpr TypeTable kSimpleTable{ kSimpleTypes, std::size(kSimpleTypes), Qt::CaseInsensitive };
constexpr TypeTable kInterfaceTable{ kInterfaceTypes, std::size(kInterfaceTypes), Qt::CaseInsensitive };
constexpr TypeTable kQtValueTable{ kQtValueTypes, std::size(kQtValueTypes), Qt::CaseSensitive };
constexpr TypeTable kQtExtraTable{ kQtExtraTypes, std::size(kQtExtraTypes), Qt::CaseSensitive };

// No two names of one table compare equal, so the first hit is the only one
// and the order of the search has no visible effect.
VARTYPE SearchTable(const TypeTable &table, const QString &name)
{
    for (size_t index = 0; index < table.count; ++index) {
        if (TypeNameEquals(name, table.rows[index].name, table.sensitivity))
            return table.rows[index].vt;
    }
    return VT_ILLEGAL;
}

} // namespace

QString CQtTypeTable::NormalizeTypeName(const char *rawName)
{
    QString name = QString::fromLatin1(rawName);
    if (name.isEmpty())
        return QStringLiteral("void");
    const QLatin1String qualifier("const");
    for (int at = name.indexOf(qualifier); at >= 0; at = name.indexOf(qualifier))
        name.remove(at, qualifier.size());
    const int ampersand = name.indexOf(QLatin1Char('&'));
    if (ampersand >= 0)
        name.remove(ampersand, 1);
    return QString::fromLatin1(QMetaObject::normalizedSignature(name.toLatin1().constData()));
}

QString CQtTypeTable::RemovePointerMarks(const QString &name)
{
    QString bare = name;
    bare.remove(QLatin1Char('*'));
    return bare;
}

void CQtTypeTable::DescribeType(const char *rawName, QtTypeDescription &out, unsigned mask)
{
    Describe(rawName, out, mask);
    SetDescribedName(out, out.typeName);
}

void SetDescribedName(QtTypeDescription &out, const QString &typeName)
{
    out.typeName = typeName;
    out.latin1Name = typeName.toLatin1();
    out.storage = FindStorageRows(typeName);
}

void CQtTypeTable::Describe(const char *rawName, QtTypeDescription &out, unsigned mask)
{
    out.vt = VT_ILLEGAL;
    out.pointerDepth = 0;
    out.isObject = false;
    out.isReference = false;
    out.typeName = NormalizeTypeName(rawName);

    const QString raw = QString::fromLatin1(rawName);
    if (raw.isEmpty()) {
        out.vt = VT_VOID;
        return;
    }
    out.pointerDepth = raw.count(QLatin1Char('*'));
    if (out.pointerDepth >= 2)
        return; // a pointer to a pointer has no automation type

    const QString key = RemovePointerMarks(out.typeName);
    if (mask & SimpleTypesMask)
        out.vt = SearchTable(kSimpleTable, key);
    if (out.vt == VT_ILLEGAL && (mask & InterfaceTypesMask))
        out.vt = SearchTable(kInterfaceTable, key);
    if (out.vt != VT_ILLEGAL) {
        if (out.pointerDepth != 0)
            out.vt |= VT_BYREF;
        if (raw.contains(QLatin1Char('&'))) {
            out.vt |= VT_BYREF;
            out.isReference = true;
        }
        return;
    }
    // Deliberate: a Qt class keeps plain VT_DISPATCH whether it was declared
    // by value, by reference or by pointer.
    if ((mask & QtValueTypesMask) && SearchTable(kQtValueTable, key) != VT_ILLEGAL) {
        out.vt = VT_DISPATCH;
        out.isObject = true;
        return;
    }
    if ((mask & QtExtraTypesMask) && SearchTable(kQtExtraTable, key) != VT_ILLEGAL) {
        out.vt = VT_DISPATCH;
        out.isObject = true;
    }
}
