#include "host/scripting/valuetypes.h"

#include <QBitArray>
#include <QBitmap>
#include <QBrush>
#include <QColor>
#include <QCoreApplication>
#include <QCursor>
#include <QDateTime>
#include <QFont>
#include <QHash>
#include <QIcon>
#include <QImage>
#include <QKeySequence>
#include <QLine>
#include <QLocale>
#include <QMetaEnum>
#include <QPalette>
#include <QPen>
#include <QPicture>
#include <QPixmap>
#include <QPolygon>
#include <QRect>
#include <QRegion>
#include <QRegularExpression>
#include <QSize>
#include <QSizePolicy>
#include <QStringList>
#include <QTextFormat>
#include <QTextLength>
#include <QThread>
#include <QUrl>

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
#include <QMatrix>
#include <QRegExp>
#endif

#include <cmath>
#include <cstring>
#include <new>

namespace vrqt::scripting {

namespace {

// What the module allocates for every scalar and pointer: one zeroed cell of
// 8 bytes, aligned to 8.
struct PointerCell
{
    alignas(8) unsigned char bytes[8];
};

void DestroyCell(void *storage)
{
    delete static_cast<PointerCell *>(storage);
}

template <typename T>
void DestroyClass(void *storage)
{
    delete static_cast<T *>(storage);
}

// Pixmaps, cursors and icons belong to the GUI thread; a wrapper released
// elsewhere sends its value there.
template <typename T>
void DestroyOnGuiThread(void *storage)
{
    T *value = static_cast<T *>(storage);
    QCoreApplication *application = QCoreApplication::instance();
    if (!application || QThread::currentThread() == application->thread()) {
        delete value;
        return;
    }
    QMetaObject::invokeMethod(application, [value] { delete value; }, Qt::QueuedConnection);
}

// An object the module made as a method's result: it goes the way of every
// QObject, on its own thread.
void DestroyObject(void *storage)
{
    static_cast<QObject *>(storage)->deleteLater();
}

QString Number(double value)
{
    return QLocale::c().toString(value, 'g', QLocale::FloatingPointShortest);
}

QString PointText(double x, double y)
{
    return Number(x) + QLatin1Char(',') + Number(y);
}

QString SizeText(double width, double height)
{
    return Number(width) + QLatin1Char('x') + Number(height);
}

QString ColorText(const QColor &color)
{
    if (!color.isValid())
        return QString();
    return color.name(color.alpha() == 255 ? QColor::HexRgb : QColor::HexArgb);
}

template <typename Enum>
QString KeyText(Enum value)
{
    const char *key = QMetaEnum::fromType<Enum>().valueToKey(int(value));
    return key ? QLatin1String(key) : QString::number(int(value));
}

// Text and parts of each class. The general forms: Qt's own conversion to
// text, and no parts.
template <typename T>
QString TextOf(const T &value)
{
    return QVariant::fromValue(value).toString();
}
template <typename T>
std::vector<ValuePart> PartsOf(const T &)
{
    return {};
}

template <> QString TextOf(const QDate &value) { return value.toString(Qt::ISODate); }
template <> QString TextOf(const QTime &value) { return value.toString(Qt::ISODateWithMs); }
template <> QString TextOf(const QDateTime &value) { return value.toString(Qt::ISODateWithMs); }
template <> QString TextOf(const QKeySequence &value) { return value.toString(QKeySequence::PortableText); }
template <> QString TextOf(const QColor &value) { return ColorText(value); }
template <> QString TextOf(const QFont &value) { return value.toString(); }
template <> QString TextOf(const QStringList &value) { return value.join(QLatin1Char('\n')); }
template <> QString TextOf(const QLocale &value) { return value.name(); }
template <> QString TextOf(const QIcon &value) { return value.name(); }
template <> QString TextOf(const QPen &value) { return ColorText(value.color()); }
template <> QString TextOf(const QBrush &value) { return ColorText(value.color()); }
template <> QString TextOf(const QCursor &value) { return KeyText(value.shape()); }
template <> QString TextOf(const QTextLength &value) { return Number(value.rawValue()); }
template <> QString TextOf(const QTextFormat &value) { return QString::number(value.type()); }
template <> QString TextOf(const QPoint &value) { return PointText(value.x(), value.y()); }
template <> QString TextOf(const QPointF &value) { return PointText(value.x(), value.y()); }
template <> QString TextOf(const QSize &value) { return SizeText(value.width(), value.height()); }
template <> QString TextOf(const QSizeF &value) { return SizeText(value.width(), value.height()); }
template <> QString TextOf(const QRect &value) { return PointText(value.x(), value.y()) + QLatin1Char(' ') + SizeText(value.width(), value.height()); }
template <> QString TextOf(const QRectF &value) { return PointText(value.x(), value.y()) + QLatin1Char(' ') + SizeText(value.width(), value.height()); }
template <> QString TextOf(const QLine &value) { return PointText(value.x1(), value.y1()) + QLatin1Char(' ') + PointText(value.x2(), value.y2()); }
template <> QString TextOf(const QLineF &value) { return PointText(value.x1(), value.y1()) + QLatin1Char(' ') + PointText(value.x2(), value.y2()); }
template <> QString TextOf(const QRegion &value) { return TextOf(value.boundingRect()); }
template <> QString TextOf(const QImage &value) { return SizeText(value.width(), value.height()); }
template <> QString TextOf(const QPixmap &value) { return SizeText(value.width(), value.height()); }
template <> QString TextOf(const QBitmap &value) { return SizeText(value.width(), value.height()); }
template <> QString TextOf(const QPicture &value) { return TextOf(value.boundingRect()); }
template <> QString TextOf(const QSizePolicy &value)
{
    return KeyText(value.horizontalPolicy()) + QLatin1Char(',') + KeyText(value.verticalPolicy());
}
template <> QString TextOf(const QBitArray &value)
{
    QString bits;
    for (int index = 0; index < value.size(); ++index)
        bits += value.testBit(index) ? QLatin1Char('1') : QLatin1Char('0');
    return bits;
}
template <> QString TextOf(const QPolygon &value)
{
    QStringList points;
    for (const QPoint &point : value)
        points << TextOf(point);
    return points.join(QLatin1Char(' '));
}
template <> QString TextOf(const QVariantList &value)
{
    QStringList items;
    for (const QVariant &item : value)
        items << item.toString();
    return items.join(QLatin1Char('\n'));
}
template <> QString TextOf(const QVariantMap &value)
{
    QStringList items;
    for (auto entry = value.begin(); entry != value.end(); ++entry)
        items << entry.key() + QLatin1Char('=') + entry.value().toString();
    return items.join(QLatin1Char('\n'));
}
template <> QString TextOf(const QPalette &value) { return ColorText(value.color(QPalette::Window)); }

template <> std::vector<ValuePart> PartsOf(const QPoint &v) { return { { "x", v.x() }, { "y", v.y() } }; }
template <> std::vector<ValuePart> PartsOf(const QPointF &v) { return { { "x", v.x() }, { "y", v.y() } }; }
template <> std::vector<ValuePart> PartsOf(const QSize &v) { return { { "width", v.width() }, { "height", v.height() } }; }
template <> std::vector<ValuePart> PartsOf(const QSizeF &v) { return { { "width", v.width() }, { "height", v.height() } }; }
template <> std::vector<ValuePart> PartsOf(const QRect &v)
{
    return { { "x", v.x() }, { "y", v.y() }, { "width", v.width() }, { "height", v.height() } };
}
template <> std::vector<ValuePart> PartsOf(const QRectF &v)
{
    return { { "x", v.x() }, { "y", v.y() }, { "width", v.width() }, { "height", v.height() } };
}
template <> std::vector<ValuePart> PartsOf(const QLine &v)
{
    return { { "x1", v.x1() }, { "y1", v.y1() }, { "x2", v.x2() }, { "y2", v.y2() } };
}
template <> std::vector<ValuePart> PartsOf(const QLineF &v)
{
    return { { "x1", v.x1() }, { "y1", v.y1() }, { "x2", v.x2() }, { "y2", v.y2() } };
}
template <> std::vector<ValuePart> PartsOf(const QColor &v)
{
    return { { "red", v.red() }, { "green", v.green() }, { "blue", v.blue() }, { "alpha", v.alpha() } };
}
template <> std::vector<ValuePart> PartsOf(const QDate &v) { return { { "year", v.year() }, { "month", v.month() }, { "day", v.day() } }; }
template <> std::vector<ValuePart> PartsOf(const QTime &v)
{
    return { { "hour", v.hour() }, { "minute", v.minute() }, { "second", v.second() }, { "msec", v.msec() } };
}
template <> std::vector<ValuePart> PartsOf(const QStringList &v) { return { { "count", v.size() } }; }
template <> std::vector<ValuePart> PartsOf(const QVariantList &v) { return { { "count", v.size() } }; }
template <> std::vector<ValuePart> PartsOf(const QVariantMap &v) { return { { "count", v.size() } }; }
template <> std::vector<ValuePart> PartsOf(const QPolygon &v) { return { { "count", v.size() } }; }
template <> std::vector<ValuePart> PartsOf(const QBitArray &v) { return { { "count", v.size() } }; }
template <> std::vector<ValuePart> PartsOf(const QRegion &v) { return { { "rectCount", v.rectCount() } }; }
template <> std::vector<ValuePart> PartsOf(const QPen &v) { return { { "width", v.widthF() }, { "style", int(v.style()) } }; }
template <> std::vector<ValuePart> PartsOf(const QBrush &v) { return { { "style", int(v.style()) } }; }
template <> std::vector<ValuePart> PartsOf(const QFont &v)
{
    return { { "family", v.family() }, { "pointSize", v.pointSizeF() }, { "bold", v.bold() }, { "italic", v.italic() } };
}
template <> std::vector<ValuePart> PartsOf(const QImage &v) { return { { "width", v.width() }, { "height", v.height() }, { "depth", v.depth() } }; }
template <> std::vector<ValuePart> PartsOf(const QPixmap &v) { return { { "width", v.width() }, { "height", v.height() }, { "depth", v.depth() } }; }
template <> std::vector<ValuePart> PartsOf(const QBitmap &v) { return { { "width", v.width() }, { "height", v.height() } }; }
template <> std::vector<ValuePart> PartsOf(const QSizePolicy &v)
{
    return { { "horizontalPolicy", int(v.horizontalPolicy()) }, { "verticalPolicy", int(v.verticalPolicy()) },
             { "horizontalStretch", v.horizontalStretch() }, { "verticalStretch", v.verticalStretch() } };
}
template <> std::vector<ValuePart> PartsOf(const QTextLength &v) { return { { "type", int(v.type()) }, { "value", v.rawValue() } }; }
template <> std::vector<ValuePart> PartsOf(const QPalette &v)
{
    return { { "window", ColorText(v.color(QPalette::Window)) }, { "windowText", ColorText(v.color(QPalette::WindowText)) },
             { "base", ColorText(v.color(QPalette::Base)) },     { "text", ColorText(v.color(QPalette::Text)) },
             { "button", ColorText(v.color(QPalette::Button)) }, { "buttonText", ColorText(v.color(QPalette::ButtonText)) } };
}

// Reading a script's text ------------------------------------------------

template <typename T>
void *Made(T value)
{
    return new (std::nothrow) T(std::move(value));
}

// Exactly count numbers in text, whatever stands between them: "10,20 30x40"
// reads as 10 20 30 40. integral refuses fractions.
bool ReadNumbers(const QString &text, int count, bool integral, double *numbers)
{
    static const QRegularExpression number(QStringLiteral("[-+]?(?:\\d+\\.?\\d*|\\.\\d+)(?:[eE][-+]?\\d+)?"));
    int found = 0;
    for (QRegularExpressionMatchIterator matches = number.globalMatch(text); matches.hasNext();) {
        if (found == count)
            return false;
        const double value = matches.next().captured().toDouble();
        if (integral && (value != std::floor(value) || std::fabs(value) > 2147483647.0))
            return false;
        numbers[found++] = value;
    }
    return found == count;
}

template <typename T>
void *GeometryFromText(const QString &text);

template <> void *GeometryFromText<QPoint>(const QString &t) { double n[2]; return ReadNumbers(t, 2, true, n) ? Made(QPoint(int(n[0]), int(n[1]))) : nullptr; }
template <> void *GeometryFromText<QPointF>(const QString &t) { double n[2]; return ReadNumbers(t, 2, false, n) ? Made(QPointF(n[0], n[1])) : nullptr; }
template <> void *GeometryFromText<QSize>(const QString &t) { double n[2]; return ReadNumbers(t, 2, true, n) ? Made(QSize(int(n[0]), int(n[1]))) : nullptr; }
template <> void *GeometryFromText<QSizeF>(const QString &t) { double n[2]; return ReadNumbers(t, 2, false, n) ? Made(QSizeF(n[0], n[1])) : nullptr; }
template <> void *GeometryFromText<QRect>(const QString &t) { double n[4]; return ReadNumbers(t, 4, true, n) ? Made(QRect(int(n[0]), int(n[1]), int(n[2]), int(n[3]))) : nullptr; }
template <> void *GeometryFromText<QRectF>(const QString &t) { double n[4]; return ReadNumbers(t, 4, false, n) ? Made(QRectF(n[0], n[1], n[2], n[3])) : nullptr; }
template <> void *GeometryFromText<QLine>(const QString &t) { double n[4]; return ReadNumbers(t, 4, true, n) ? Made(QLine(int(n[0]), int(n[1]), int(n[2]), int(n[3]))) : nullptr; }
template <> void *GeometryFromText<QLineF>(const QString &t) { double n[4]; return ReadNumbers(t, 4, false, n) ? Made(QLineF(n[0], n[1], n[2], n[3])) : nullptr; }

void *StringFromText(const QString &text) { return Made(text); }
void *ByteArrayFromText(const QString &text) { return Made(text.toUtf8()); }
void *CharFromText(const QString &text) { return text.size() == 1 ? Made(text.at(0)) : nullptr; }
void *StringListFromText(const QString &text) { return Made(text.isEmpty() ? QStringList() : text.split(QLatin1Char('\n'))); }
void *LocaleFromText(const QString &text) { return Made(QLocale(text)); }

void *DateFromText(const QString &text)
{
    const QDate date = QDate::fromString(text, Qt::ISODate);
    return date.isValid() ? Made(date) : nullptr;
}
void *TimeFromText(const QString &text)
{
    const QTime time = QTime::fromString(text, Qt::ISODateWithMs);
    return time.isValid() ? Made(time) : nullptr;
}
void *DateTimeFromText(const QString &text)
{
    const QDateTime dateTime = QDateTime::fromString(text, Qt::ISODateWithMs);
    return dateTime.isValid() ? Made(dateTime) : nullptr;
}
void *UrlFromText(const QString &text)
{
    const QUrl url(text, QUrl::StrictMode);
    return url.isValid() ? Made(url) : nullptr;
}
void *ColorFromText(const QString &text)
{
    return QColor::isValidColor(text) ? Made(QColor(text)) : nullptr;
}
void *KeySequenceFromText(const QString &text)
{
    const QKeySequence sequence = QKeySequence::fromString(text, QKeySequence::PortableText);
    return sequence.isEmpty() && !text.isEmpty() ? nullptr : Made(sequence);
}
void *FontFromText(const QString &text)
{
    QFont font;
    return font.fromString(text) ? Made(font) : nullptr;
}
void *BitArrayFromText(const QString &text)
{
    QBitArray bits(text.size());
    for (int index = 0; index < text.size(); ++index) {
        if (text.at(index) != QLatin1Char('0') && text.at(index) != QLatin1Char('1'))
            return nullptr;
        bits.setBit(index, text.at(index) == QLatin1Char('1'));
    }
    return Made(bits);
}

// The table ----------------------------------------------------------------

template <typename T>
QString StoredText(const void *storage)
{
    return TextOf(*static_cast<const T *>(storage));
}

template <typename T>
std::vector<ValuePart> StoredParts(const void *storage)
{
    return PartsOf(*static_cast<const T *>(storage));
}

template <typename T>
constexpr ValueType ClassRow(const char *name, void *(*fromText)(const QString &) = nullptr, void (*destroy)(void *) = &DestroyClass<T>)
{
    return { name, ValueKind::Value, destroy, &StoredText<T>, &StoredParts<T>, fromText };
}

template <typename T>
constexpr ValueType GuiClassRow(const char *name)
{
    return ClassRow<T>(name, nullptr, &DestroyOnGuiThread<T>);
}

// Every Qt class the module wraps, in the order of its storage rows (but
// for the two below).
constexpr ValueType kClasses[] = {
    ClassRow<QChar>("QChar", &CharFromText),
    ClassRow<QString>("QString", &StringFromText),
    ClassRow<QByteArray>("QByteArray", &ByteArrayFromText),
    GuiClassRow<QCursor>("QCursor"),
    ClassRow<QDate>("QDate", &DateFromText),
    ClassRow<QSize>("QSize", &GeometryFromText<QSize>),
    ClassRow<QTime>("QTime", &TimeFromText),
    ClassRow<QVariantList>("QVariantList"),
    ClassRow<QPolygon>("QPolygon"),
    ClassRow<QColor>("QColor", &ColorFromText),
    ClassRow<QSizeF>("QSizeF", &GeometryFromText<QSizeF>),
    ClassRow<QRectF>("QRectF", &GeometryFromText<QRectF>),
    ClassRow<QLine>("QLine", &GeometryFromText<QLine>),
    ClassRow<QTextLength>("QTextLength"),
    ClassRow<QStringList>("QStringList", &StringListFromText),
    ClassRow<QVariantMap>("QVariantMap"),
    GuiClassRow<QIcon>("QIcon"),
    ClassRow<QPen>("QPen"),
    ClassRow<QLineF>("QLineF", &GeometryFromText<QLineF>),
    ClassRow<QTextFormat>("QTextFormat"),
    ClassRow<QRect>("QRect", &GeometryFromText<QRect>),
    ClassRow<QPoint>("QPoint", &GeometryFromText<QPoint>),
    ClassRow<QUrl>("QUrl", &UrlFromText),
    ClassRow<QDateTime>("QDateTime", &DateTimeFromText),
    ClassRow<QPointF>("QPointF", &GeometryFromText<QPointF>),
    ClassRow<QPalette>("QPalette"),
    ClassRow<QFont>("QFont", &FontFromText),
    ClassRow<QBrush>("QBrush"),
    ClassRow<QRegion>("QRegion"),
    ClassRow<QBitArray>("QBitArray", &BitArrayFromText),
    ClassRow<QImage>("QImage"),
    ClassRow<QKeySequence>("QKeySequence", &KeySequenceFromText),
    ClassRow<QSizePolicy>("QSizePolicy"),
    GuiClassRow<QPixmap>("QPixmap"),
    ClassRow<QLocale>("QLocale", &LocaleFromText),
    GuiClassRow<QBitmap>("QBitmap"),
    GuiClassRow<QPicture>("QPicture"),
    { "QObject", ValueKind::Object, &DestroyObject, nullptr, nullptr, nullptr },
    { "QWidget", ValueKind::Object, &DestroyObject, nullptr, nullptr, nullptr },
};

// Classes Qt 6 no longer has; the module makes no storage for them there.
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
template <> QString TextOf(const QRegExp &value) { return value.pattern(); }
template <> QString TextOf(const QMatrix &value)
{
    QStringList numbers;
    for (double number : { value.m11(), value.m12(), value.m21(), value.m22(), value.dx(), value.dy() })
        numbers << Number(number);
    return numbers.join(QLatin1Char(' '));
}

void *RegExpFromText(const QString &text)
{
    const QRegExp pattern(text);
    return pattern.isValid() ? Made(pattern) : nullptr;
}

constexpr ValueType kRetiredClasses[] = {
    ClassRow<QRegExp>("QRegExp", &RegExpFromText),
    ClassRow<QMatrix>("QMatrix"),
};
#endif

constexpr ValueType kObjectPointers[] = {
    { "QObject*", ValueKind::ObjectPointer, &DestroyCell, nullptr, nullptr, nullptr },
    { "QWidget*", ValueKind::ObjectPointer, &DestroyCell, nullptr, nullptr, nullptr },
};

constexpr ValueType kOtherPointer{ "*", ValueKind::Pointer, &DestroyCell, nullptr, nullptr, nullptr };
constexpr ValueType kUnknown{ "", ValueKind::Unknown, nullptr, nullptr, nullptr, nullptr };

template <size_t N>
const ValueType *FindRow(const ValueType (&rows)[N], const QString &name)
{
    for (const ValueType &row : rows) {
        if (name.compare(QLatin1String(row.name), Qt::CaseInsensitive) == 0)
            return &row;
    }
    return nullptr;
}

} // namespace

namespace {

// Every row by its name as written: what the module passes. Built once.
const QHash<QString, const ValueType *> &RowsByName()
{
    static const QHash<QString, const ValueType *> index = [] {
        QHash<QString, const ValueType *> rows;
        const auto add = [&rows](const auto &table) {
            for (const ValueType &row : table)
                rows.insert(QLatin1String(row.name), &row);
        };
        add(kObjectPointers);
        add(kClasses);
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
        add(kRetiredClasses);
#endif
        return rows;
    }();
    return index;
}

} // namespace

const ValueType &ValueTypeOf(const QString &typeName)
{
    if (const ValueType *exact = RowsByName().value(typeName))
        return *exact;
    // Names in another case are the same names.
    if (typeName.contains(QLatin1Char('*'))) {
        const ValueType *pointer = FindRow(kObjectPointers, typeName);
        return pointer ? *pointer : kOtherPointer;
    }
    const ValueType *row = FindRow(kClasses, typeName);
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    if (!row)
        row = FindRow(kRetiredClasses, typeName);
#endif
    return row ? *row : kUnknown;
}

void *NewPointerCell(const void *pointer)
{
    PointerCell *cell = new (std::nothrow) PointerCell();
    if (cell)
        std::memcpy(cell->bytes, &pointer, sizeof pointer);
    return cell;
}

void *PointerOf(const ValueType &type, const void *storage)
{
    if (!storage)
        return nullptr;
    switch (type.kind) {
    case ValueKind::ObjectPointer:
    case ValueKind::Pointer: {
        void *pointer = nullptr;
        std::memcpy(&pointer, storage, sizeof pointer);
        return pointer;
    }
    case ValueKind::Object:
        return const_cast<void *>(storage);
    case ValueKind::Value:
    case ValueKind::Unknown:
        break;
    }
    return nullptr;
}

} // namespace vrqt::scripting
