#include "host/agent/pictures.h"

#include <QApplication>
#include <QDir>
#include <QGuiApplication>
#include <QJsonArray>
#include <QMainWindow>
#include <QPainter>
#include <QPixmap>
#include <QScreen>
#include <QWidget>

#include "host/agent/itemrequests.h"
#include "host/agent/moduleview.h"
#include "host/agent/objectpath.h"
#include "host/protocol/protocol.h"
#include "host/scripting/variants.h"

namespace vrqt::agent {

namespace {

struct Named
{
    QString name;  // what the outline writes beside it
    QString reference; // how vrqt names it: an object path, or an item key
    QRect rect;    // in the picture's coordinates
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

// The items the helpers report for widget, with their keys, in widget's
// coordinates; empty when no helper serves it or none has a rectangle.
QList<Named> ItemsOf(ItemRequests &items, QWidget *widget, const QPoint &origin)
{
    const Reply listed = items.items(QJsonObject{ { QStringLiteral("object"), QLatin1Char('@') + scripting::AddressText(widget) } });
    QList<Named> found;
    if (!listed.ok)
        return found;
    std::function<void(const QJsonArray &)> collect = [&](const QJsonArray &entries) {
        for (const QJsonValue &value : entries) {
            const QJsonObject entry = value.toObject();
            const QJsonObject rect = entry.value(QStringLiteral("rect")).toObject();
            const QString key = entry.value(QStringLiteral("path")).toString(entry.value(QStringLiteral("key")).toString());
            if (rect.contains(QStringLiteral("screenX")) && rect.value(QStringLiteral("width")).toInt() > 0) {
                const QPoint corner = widget->mapFromGlobal(QPoint(rect.value(QStringLiteral("screenX")).toInt(), rect.value(QStringLiteral("screenY")).toInt()));
                found.append({ entry.value(QStringLiteral("key")).toString(), key,
                               QRect(corner + origin, QSize(rect.value(QStringLiteral("width")).toInt(), rect.value(QStringLiteral("height")).toInt())) });
            }
            for (const char *below : { "children", "cells" })
                collect(entry.value(QLatin1String(below)).toArray());
        }
    };
    collect(listed.result.toObject().value(QStringLiteral("items")).toArray());
    return found;
}

// The visible widgets below widget, with their exact paths.
QList<Named> WidgetsOf(QWidget *widget, const QPoint &origin)
{
    QList<Named> found;
    ObjectPaths paths;
    for (QWidget *child : widget->findChildren<QWidget *>()) {
        if (!child->isVisible() || child->isWindow())
            continue;
        const QString name = child->objectName().isEmpty() ? QLatin1String(child->metaObject()->className()) : child->objectName();
        found.append({ name, paths.pathOf(child), QRect(child->mapTo(widget, QPoint(0, 0)) + origin, child->size()) });
    }
    return found;
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
        const QRect label = painter.fontMetrics().boundingRect(entry.name).adjusted(-2, 0, 2, 0);
        const QRect placed(entry.rect.topLeft(), label.size());
        painter.fillRect(placed, QColor(255, 255, 200, 220));
        painter.setPen(Qt::black);
        painter.drawText(placed, Qt::AlignCenter, entry.name);
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
                named.append({ window->objectName(), ObjectPath(window), window->frameGeometry() });
        }
    } else {
        image = widget->grab().toImage();
        image.setDevicePixelRatio(1);
        const qreal ratio = widget->devicePixelRatioF();
        if (ratio != 1)
            image = image.scaled(widget->size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        named = ItemsOf(items, widget, QPoint());
        if (named.isEmpty())
            named = WidgetsOf(widget, QPoint());
    }
    if (params.value(QStringLiteral("outline")).toBool())
        Outline(&image, named);
    if (!image.save(path, "PNG"))
        return Reply::failure(protocol::error::kInvalidParams, QStringLiteral("cannot write %1").arg(path));
    QJsonArray rectangles;
    for (const Named &entry : named) {
        rectangles.append(QJsonObject{ { QStringLiteral("name"), entry.reference }, { QStringLiteral("x"), entry.rect.x() },
                                       { QStringLiteral("y"), entry.rect.y() }, { QStringLiteral("width"), entry.rect.width() },
                                       { QStringLiteral("height"), entry.rect.height() } });
    }
    return Reply::success(QJsonObject{ { QStringLiteral("path"), path },
                                       { QStringLiteral("object"), widget ? ObjectPath(widget) : QJsonValue() },
                                       { QStringLiteral("width"), image.width() },
                                       { QStringLiteral("height"), image.height() },
                                       { QStringLiteral("rectangles"), rectangles } });
}

} // namespace vrqt::agent
