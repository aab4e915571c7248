#include "host/agent/pictures.h"

#include <QAbstractScrollArea>
#include <QApplication>
#include <QDir>
#include <QGuiApplication>
#include <QJsonArray>
#include <QMainWindow>
#include <QPainter>
#include <QPixmap>
#include <QScreen>
#include <QTabBar>
#include <QWidget>

#include <algorithm>
#include <functional>

#include "host/agent/itemfamily.h"
#include "host/agent/itemrequests.h"
#include "host/agent/moduleview.h"
#include "host/agent/objectpath.h"
#include "host/protocol/protocol.h"
#include "host/scripting/variants.h"

namespace vrqt::agent {

namespace {

struct Named
{
    QString name;      // what the outline writes beside it
    QString reference; // how vrqt names it: an object path, or an item key
    QString owner;     // an item's object, when that is not the pictured one
    QRect rect;        // in the picture's coordinates
};

// The window a user looks at first: the main window, else the first window shown.
QWidget *MainWindow()
{
    QWidget *first = nullptr;
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (!widget->isVisible() || !widget->isWindow())
            continue;
        if (qobject_cast<QMainWindow *>(widget))
            return widget;
        if (!first)
            first = widget;
    }
    return first;
}

// Whether the helper of widget's class lists items drawn inside widget: a
// combo box's entries live in its popup, an editor has values, not items.
bool ShowsItsItems(ModuleView &module, QWidget *widget)
{
    if (!module.loaded())
        return false;
    switch (FamilyOf(ClassChain(widget, module.objects()))) {
    case ItemFamily::List:
    case ItemFamily::Table:
    case ItemFamily::Tree:
    case ItemFamily::TabWidget:
    case ItemFamily::Menu:
    case ItemFamily::MenuBar:
        return true;
    default:
        return false;
    }
}

QRect RectIn(QWidget *pictured, QWidget *widget, const QRect &rect)
{
    return rect.translated(widget->mapTo(pictured, QPoint(0, 0)));
}

// Where served shows its items, in pictured's coordinates: the viewports of
// its scroll areas (a table's headers are scroll areas of their own) and its
// tab bars; served as a whole when it has none. An item shows only as far
// as it lies inside one of them: the rest is scrolled away or hidden.
QList<QRect> ItemAreas(QWidget *pictured, QWidget *served)
{
    QList<QRect> areas;
    QList<QWidget *> widgets = served->findChildren<QWidget *>();
    widgets.prepend(served);
    for (QWidget *widget : widgets) {
        if (widget != served && !widget->isVisibleTo(served))
            continue;
        if (auto *scrollArea = qobject_cast<QAbstractScrollArea *>(widget))
            areas.append(RectIn(pictured, scrollArea->viewport(), scrollArea->viewport()->rect()));
        else if (qobject_cast<QTabBar *>(widget))
            areas.append(RectIn(pictured, widget, widget->rect()));
    }
    if (areas.isEmpty())
        areas.append(RectIn(pictured, served, served->rect()));
    return areas;
}

// The part of rect that shows: inside the area it overlaps most; empty when
// it overlaps none.
QRect Shown(const QRect &rect, const QList<QRect> &areas)
{
    QRect best;
    for (const QRect &area : areas) {
        const QRect part = rect & area;
        if (part.width() * part.height() > best.width() * best.height())
            best = part;
    }
    return best;
}

// The items the helpers report for served, with their keys, in pictured's
// coordinates, each cut to what shows of it; the items that do not show at
// all (scrolled away, below a collapsed tree item or a closed menu) are
// left out.
QList<Named> ItemsOf(ItemRequests &items, QWidget *pictured, QWidget *served)
{
    const Reply listed = items.items(QJsonObject{ { QStringLiteral("object"), QLatin1Char('@') + scripting::AddressText(served) } });
    QList<Named> found;
    if (!listed.ok)
        return found;
    const QList<QRect> areas = ItemAreas(pictured, served);
    // A table's header sections are named as item takes them: "row|", "|column".
    std::function<void(const QJsonArray &, const QString &)> collect = [&](const QJsonArray &entries, const QString &before) {
        for (const QJsonValue &value : entries) {
            const QJsonObject entry = value.toObject();
            const QJsonObject rect = entry.value(QStringLiteral("rect")).toObject();
            const QJsonArray cells = entry.value(QStringLiteral("cells")).toArray();
            const QString key = before + entry.value(QStringLiteral("key")).toString() + (cells.isEmpty() ? QString() : QStringLiteral("|"));
            if (rect.contains(QStringLiteral("screenX"))) {
                const QPoint corner = pictured->mapFromGlobal(QPoint(rect.value(QStringLiteral("screenX")).toInt(), rect.value(QStringLiteral("screenY")).toInt()));
                const QRect shown = Shown(QRect(corner, QSize(rect.value(QStringLiteral("width")).toInt(), rect.value(QStringLiteral("height")).toInt())), areas);
                if (!shown.isEmpty())
                    found.append({ key, entry.value(QStringLiteral("path")).toString(key), QString(), shown });
            }
            // What a closed menu or a collapsed item holds is not on the picture.
            if (entry.value(QStringLiteral("subMenuVisible")).toBool(true) && entry.value(QStringLiteral("expanded")).toBool(true))
                collect(entry.value(QStringLiteral("children")).toArray(), QString());
            collect(cells, QString());
        }
    };
    const QJsonObject result = listed.result.toObject();
    collect(result.value(QStringLiteral("columns")).toArray(), QStringLiteral("|"));
    collect(result.value(QStringLiteral("items")).toArray(), QString());
    return found;
}

// The visible widgets below parent with their exact paths; in place of the
// parts of a widget whose helper lists items (a list's viewport and scroll
// bars), those items, with the widget as their owner.
void CollectWidgets(ModuleView &module, ItemRequests &items, ObjectPaths &paths, QWidget *pictured, QWidget *parent, QList<Named> *found)
{
    for (QObject *object : parent->children()) {
        QWidget *child = qobject_cast<QWidget *>(object);
        if (!child || child->isWindow() || !child->isVisibleTo(pictured))
            continue;
        const QString path = paths.pathOf(child);
        const QString name = child->objectName().isEmpty() ? QLatin1String(child->metaObject()->className()) : child->objectName();
        found->append({ name, path, QString(), RectIn(pictured, child, child->rect()) });
        if (ShowsItsItems(module, child)) {
            for (Named item : ItemsOf(items, pictured, child)) {
                item.owner = path;
                found->append(item);
            }
        } else {
            CollectWidgets(module, items, paths, pictured, child, found);
        }
    }
}

void Outline(QImage *image, const QList<Named> &named)
{
    QPainter painter(image);
    QFont font = painter.font();
    font.setPixelSize(10);
    painter.setFont(font);
    for (const Named &entry : named) {
        painter.setPen(QPen(QColor(220, 0, 80), 1));
        painter.drawRect(entry.rect.adjusted(0, 0, -1, -1));
        // Inside the outline, which stays whole, in the top right corner,
        // where a row's or a widget's own text seldom is; at the left when
        // the rectangle is narrower than the label.
        const QRect inside = entry.rect.adjusted(1, 1, -1, -1);
        const QSize label = painter.fontMetrics().boundingRect(entry.name).adjusted(-2, 0, 2, 0).size();
        const QRect placed(QPoint(std::max(inside.left(), inside.right() + 1 - label.width()), inside.top()), label);
        painter.setClipRect(inside);
        painter.fillRect(placed, QColor(255, 255, 200, 220));
        painter.setPen(Qt::black);
        painter.drawText(placed, Qt::AlignCenter, entry.name);
        painter.setClipping(false);
    }
}

} // namespace

Reply PictureRequests::shot(const QJsonObject &params)
{
    const QString path = params.value(QStringLiteral("path")).toString();
    if (path.isEmpty() || !QDir::isAbsolutePath(path))
        return Reply::failure(protocol::error::kInvalidParams, QStringLiteral("shot needs \"path\", an absolute file name"));
    const bool screen = params.value(QStringLiteral("screen")).toBool();
    QWidget *widget = nullptr;
    if (!screen) {
        const QString reference = params.value(QStringLiteral("object")).toString();
        if (reference.isEmpty()) {
            widget = MainWindow();
        } else {
            if (!module.ensureLoaded())
                return Reply::failure(protocol::error::kModuleUnavailable, QString::fromStdString(module.error()));
            const ObjectLookup lookup = FindObject(reference, module.objects());
            if (!lookup.object)
                return Reply::failure(lookup.error, lookup.message);
            widget = qobject_cast<QWidget *>(lookup.object);
            if (!widget)
                return Reply::failure(protocol::error::kInvalidParams, QStringLiteral("%1 is no widget: it shows nothing").arg(reference));
        }
        if (!widget)
            return Reply::failure(protocol::error::kNoSuchObject, QStringLiteral("no window is shown"));
    }

    QImage image;
    QList<Named> named;
    if (screen) {
        QScreen *display = QGuiApplication::primaryScreen();
        image = display ? display->grabWindow(0).toImage() : QImage();
        // Without a window system to ask, the windows are painted where they are.
        if (image.isNull() || image.width() == 0) {
            image = QImage(display ? display->geometry().size() : QSize(1, 1), QImage::Format_ARGB32);
            image.fill(Qt::black);
            QPainter painter(&image);
            for (QWidget *window : QApplication::topLevelWidgets()) {
                if (window->isVisible())
                    painter.drawPixmap(window->geometry().topLeft(), window->grab());
            }
        }
        for (QWidget *window : QApplication::topLevelWidgets()) {
            if (window->isVisible())
                named.append({ window->objectName(), ObjectPath(window), QString(), window->frameGeometry() });
        }
    } else {
        image = widget->grab().toImage();
        image.setDevicePixelRatio(1);
        const qreal ratio = widget->devicePixelRatioF();
        if (ratio != 1)
            image = image.scaled(widget->size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        // The items of the pictured widget, else its widgets and theirs.
        if (!module.ensureLoaded() || !ShowsItsItems(module, widget)) {
            ObjectPaths paths;
            CollectWidgets(module, items, paths, widget, widget, &named);
        } else {
            named = ItemsOf(items, widget, widget);
        }
    }
    if (params.value(QStringLiteral("outline")).toBool())
        Outline(&image, named);
    if (!image.save(path, "PNG"))
        return Reply::failure(protocol::error::kInvalidParams, QStringLiteral("cannot write %1").arg(path));
    QJsonArray rectangles;
    for (const Named &entry : named) {
        QJsonObject rectangle{ { QStringLiteral("name"), entry.reference }, { QStringLiteral("x"), entry.rect.x() },
                               { QStringLiteral("y"), entry.rect.y() }, { QStringLiteral("width"), entry.rect.width() },
                               { QStringLiteral("height"), entry.rect.height() } };
        if (!entry.owner.isEmpty())
            rectangle.insert(QStringLiteral("object"), entry.owner);
        rectangles.append(rectangle);
    }
    return Reply::success(QJsonObject{ { QStringLiteral("path"), path },
                                       { QStringLiteral("object"), widget ? ObjectPath(widget) : QJsonValue() },
                                       { QStringLiteral("width"), image.width() },
                                       { QStringLiteral("height"), image.height() },
                                       { QStringLiteral("rectangles"), rectangles } });
}

} // namespace vrqt::agent
