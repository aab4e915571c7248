#include "host/agent/userinput.h"

#include <QApplication>
#include <QJsonArray>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>
#include <QToolButton>
#include <QWidget>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>

#include "host/agent/guiexecutor.h"
#include "host/agent/itemrequests.h"
#include "host/agent/moduleview.h"
#include "host/agent/objectpath.h"
#include "host/agent/synthesizedinput.h"
#include "host/agent/xtestinput.h"
#include "host/protocol/protocol.h"
#include "host/scripting/variants.h"

namespace vrqt::agent {

namespace {

constexpr std::chrono::milliseconds kDefaultLimit{ 10000 };
constexpr int kDragMoves = 8;
// How long a menu that a click opened may take to show its entries.
constexpr int kMenuAttempts = 40;
constexpr std::chrono::milliseconds kMenuAttemptInterval{ 50 };
// How long the program may take to handle real input sent so far.
constexpr std::chrono::milliseconds kMarkLimit{ 2000 };

// What the GUI thread works out: the steps, and how to give them.
struct Plan
{
    std::vector<InputStep> steps;
    bool real = false;
    qreal ratio = 1; // native pixels per device-independent pixel
    unsigned long markWindow = 0; // real input: where the marks go
    QJsonObject done;
};

struct Failure
{
    const char *code = nullptr;
    QString message;
};

// Whether an item's rectangle, as items reports it, lies wholly inside
// widget on the screen.
bool InView(QWidget *widget, const QJsonObject &rect)
{
    const QRect item(rect.value(QStringLiteral("screenX")).toInt(), rect.value(QStringLiteral("screenY")).toInt(),
                     rect.value(QStringLiteral("width")).toInt(), rect.value(QStringLiteral("height")).toInt());
    return rect.contains(QStringLiteral("screenX")) && !item.isEmpty() && QRect(widget->mapToGlobal(QPoint(0, 0)), widget->size()).contains(item);
}

// A window of the program over widget's at point, where the platform does
// not stack windows itself (offscreen): a popup, a window that belongs to
// widget's (Qt keeps those in front of their owner), or the active one.
QWidget *CoveringWindow(QWidget *widget, const QPoint &point)
{
    QWidget *own = widget->window();
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *window : windows) {
        if (window == own || Belongs(window, widget) || !window->isVisible() || !window->frameGeometry().contains(point))
            continue;
        bool above = window->windowType() == Qt::Popup || window == QApplication::activeWindow();
        for (QWidget *owner = window->parentWidget(); owner && !above; owner = owner->parentWidget())
            above = owner->window() == own;
        if (above)
            return window;
    }
    return nullptr;
}

// The window that real input's marks go to: the target's, or for a popup
// the window it belongs to, which outlives the popup a click closes.
unsigned long MarkWindow(QWidget *target)
{
    QWidget *window = target->window();
    while (window->windowType() == Qt::Popup && window->parentWidget())
        window = window->parentWidget()->window();
    return static_cast<unsigned long>(window->winId());
}

// Where an object, or one of its items, is: the centre of its rectangle on
// the screen, checked to be visible, enabled and not covered.
bool Locate(ModuleView &module, ItemRequests &items, const QString &reference, const QString &item, QPoint *point,
            QWidget **target, Failure *failure)
{
    if (!module.ensureLoaded()) {
        *failure = { protocol::error::kModuleUnavailable, QString::fromStdString(module.error()) };
        return false;
    }
    const ObjectLookup lookup = FindObject(reference, module.objects());
    QWidget *widget = qobject_cast<QWidget *>(lookup.object);
    if (!lookup.object || !widget) {
        *failure = { lookup.object ? protocol::error::kInvalidParams : lookup.error,
                     lookup.object ? QStringLiteral("%1 is no widget: there is nothing to act on").arg(reference) : lookup.message };
        return false;
    }
    const QString path = ObjectPath(widget);
    if (!widget->isVisible() || !widget->isEnabled()) {
        *failure = { protocol::error::kInvalidParams,
                     QStringLiteral("%1 is %2").arg(path, widget->isVisible() ? QStringLiteral("disabled") : QStringLiteral("not visible")) };
        return false;
    }
    *target = widget;
    bool onScreenRect = false; // popup entries: their own window is on top
    if (item.isEmpty()) {
        *point = widget->mapToGlobal(widget->rect().center());
    } else {
        const QJsonObject object{ { QStringLiteral("object"), QLatin1Char('@') + scripting::AddressText(widget) } };
        Reply listed = items.items(object);
        if (!listed.ok) {
            *failure = { listed.error.code.toLatin1() == QByteArray(protocol::error::kNoHelper) ? protocol::error::kNoHelper
                                                                                                  : protocol::error::kNoSuchItem,
                         listed.error.message };
            return false;
        }
        QJsonObject found;
        std::function<void(const QJsonArray &)> search = [&](const QJsonArray &entries) {
            for (const QJsonValue &value : entries) {
                const QJsonObject entry = value.toObject();
                if (found.isEmpty() && (entry.value(QStringLiteral("path")).toString() == item || entry.value(QStringLiteral("key")).toString() == item))
                    found = entry;
                for (const char *below : { "children", "cells" })
                    search(entry.value(QLatin1String(below)).toArray());
            }
        };
        search(listed.result.toObject().value(QStringLiteral("items")).toArray());
        if (found.value(QStringLiteral("enabled")) == QJsonValue(false)) {
            *failure = { protocol::error::kInvalidParams, QStringLiteral("the item \"%1\" of %2 is disabled").arg(item, path) };
            return false;
        }
        // Brought into view first, as a user would scroll to it; one in
        // view is left as it is (bringing a tab into view may select it,
        // which is the click's to do).
        const QString kind = listed.result.toObject().value(QStringLiteral("kind")).toString();
        const QString bringing = kind == QLatin1String("tab widget") ? QStringLiteral("bringIntoView")
                               : kind == QLatin1String("combo box") ? QStringLiteral("show")
                               : kind.startsWith(QLatin1String("menu")) ? QString() : QStringLiteral("scroll");
        if (!bringing.isEmpty() && (kind == QLatin1String("combo box") || !InView(widget, found.value(QStringLiteral("rect")).toObject()))) {
            QJsonObject act = object;
            act.insert(QStringLiteral("key"), item);
            act.insert(QStringLiteral("action"), bringing);
            items.item(act);
            listed = items.items(object);
            found = QJsonObject();
            search(listed.result.toObject().value(QStringLiteral("items")).toArray());
        }
        const QJsonObject rect = found.value(QStringLiteral("rect")).toObject();
        if (found.isEmpty() || !rect.contains(QStringLiteral("screenX")) || rect.value(QStringLiteral("width")).toInt() <= 0) {
            *failure = { protocol::error::kNoSuchItem, found.isEmpty() ? QStringLiteral("%1 has no item \"%2\"").arg(path, item)
                                                                       : QStringLiteral("the item \"%1\" of %2 has no rectangle on the screen now").arg(item, path) };
            return false;
        }
        onScreenRect = rect.value(QStringLiteral("relativeTo")).toString() == QLatin1String("screen");
        // The part a user sees: an item wider than its view (a tree's row
        // scrolled sideways) is clicked where it shows. A combo box's
        // entries are in its popup, which may lie over the box.
        QRect itemRect(rect.value(QStringLiteral("screenX")).toInt(), rect.value(QStringLiteral("screenY")).toInt(),
                       rect.value(QStringLiteral("width")).toInt(), rect.value(QStringLiteral("height")).toInt());
        const QRect shown = itemRect & QRect(widget->mapToGlobal(QPoint(0, 0)), widget->size());
        if (!shown.isEmpty() && kind != QLatin1String("combo box"))
            itemRect = shown;
        *point = QPoint(itemRect.x() + itemRect.width() / 2, itemRect.y() + itemRect.height() / 2);
    }
    QWidget *at = QApplication::widgetAt(*point);
    if (QWidget *over = onScreenRect ? nullptr : CoveringWindow(widget, *point))
        at = over;
    if (!onScreenRect && !Belongs(at, widget)) {
        *failure = { protocol::error::kInvalidParams,
                     at ? QStringLiteral("%1 is covered at %2,%3 by %4").arg(path).arg(point->x()).arg(point->y()).arg(ObjectPath(at))
                        : QStringLiteral("%1 is off the screen at %2,%3").arg(path).arg(point->x()).arg(point->y()) };
        return false;
    }
    return true;
}

InputStep StepAt(InputStep::Kind kind, QPoint point, int button = 1)
{
    InputStep step;
    step.kind = kind;
    step.point = point;
    step.button = button;
    return step;
}

void Click(std::vector<InputStep> *steps, QPoint at, int button, bool twice)
{
    steps->push_back(StepAt(InputStep::Kind::Move, at));
    for (int time = 0; time < (twice ? 2 : 1); ++time) {
        InputStep press = StepAt(InputStep::Kind::Press, at, button);
        press.doubleClick = time == 1;
        steps->push_back(press);
        steps->push_back(StepAt(InputStep::Kind::Release, at, button));
    }
}

// The keys of a sequence as Qt gives them, with their modifiers.
std::vector<int> KeysOf(const QKeySequence &sequence)
{
    std::vector<int> keys;
    for (int index = 0; index < sequence.count(); ++index) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
        keys.push_back(sequence[index].toCombined());
#else
        keys.push_back(sequence[index]);
#endif
    }
    return keys;
}

// Where the unescaped '|' of a key path stand.
QList<int> PathBreaks(const QString &path)
{
    QList<int> breaks;
    for (int at = 0; at < path.size(); ++at) {
        if (path.at(at) == QLatin1Char('\\'))
            ++at;
        else if (path.at(at) == QLatin1Char('|'))
            breaks.append(at);
    }
    return breaks;
}

} // namespace

Reply UserInput::act(const QJsonObject &params)
{
    // An entry deep in a menu is reached as a user reaches it: each menu on
    // the way is opened by a click on its entry first.
    const QString item = params.value(QStringLiteral("item")).toString();
    // Shared: a GUI thread that takes the work late must find it alive.
    struct Route
    {
        bool isMenu = false;
        QString extension; // the bar's button for the menus it has no room for
        QString overflow;  // and its menu, when the path starts there
    };
    auto route = std::make_shared<Route>();
    ModuleView *modules = &module;
    ItemRequests *listing = &items;
    const QString reference = params.value(QStringLiteral("object")).toString();
    executor.run([route, modules, listing, reference, item] {
        const ObjectLookup lookup = modules->ensureLoaded() ? FindObject(reference, modules->objects()) : ObjectLookup();
        route->isMenu = lookup.object && (lookup.object->inherits("QMenuBar") || lookup.object->inherits("QMenu"));
        auto *bar = qobject_cast<QMenuBar *>(lookup.object);
        // Qt's own name for the button; its menu holds the bar's entries
        // that do not fit.
        auto *extension = bar ? bar->findChild<QToolButton *>(QStringLiteral("qt_menubar_ext_button"), Qt::FindDirectChildrenOnly) : nullptr;
        if (!extension || !extension->isVisible() || !extension->menu())
            return;
        const QString menu = QLatin1Char('@') + scripting::AddressText(extension->menu());
        const QString first = item.left(PathBreaks(item).value(0, item.size()));
        const QJsonArray entries = listing->items({ { QStringLiteral("object"), menu } }).result.toObject().value(QStringLiteral("items")).toArray();
        for (const QJsonValue &entry : entries) {
            if (entry.toObject().value(QStringLiteral("path")).toString() == first) {
                route->extension = QLatin1Char('@') + scripting::AddressText(extension);
                route->overflow = menu;
            }
        }
    }, kDefaultLimit);
    QJsonObject menuParams = params;
    if (!route->overflow.isEmpty()) {
        QJsonObject open = params;
        open.insert(QStringLiteral("action"), QStringLiteral("click"));
        open.insert(QStringLiteral("object"), route->extension);
        open.remove(QStringLiteral("item"));
        const Reply opened = actOnce(open);
        if (!opened.ok)
            return opened;
        menuParams.insert(QStringLiteral("object"), route->overflow);
    }
    if (route->isMenu) {
        QList<int> ends = PathBreaks(item);
        ends.append(item.size());
        Reply reply;
        for (const int end : ends) {
            QJsonObject step = menuParams;
            if (end < item.size()) {
                step.insert(QStringLiteral("action"), QStringLiteral("click"));
                step.insert(QStringLiteral("item"), item.left(end));
            }
            // A menu that the last click opened shows its entries once Qt
            // has laid it out.
            for (int attempt = 0; attempt < kMenuAttempts; ++attempt) {
                reply = actOnce(step);
                if (reply.ok || reply.error.code != QLatin1String(protocol::error::kNoSuchItem))
                    break;
                std::this_thread::sleep_for(kMenuAttemptInterval);
            }
            if (!reply.ok)
                return reply;
        }
        return reply;
    }
    return actOnce(params);
}

Reply UserInput::actOnce(const QJsonObject &params)
{
    const QString action = params.value(QStringLiteral("action")).toString();
    static const QStringList actions{ QStringLiteral("click"), QStringLiteral("dclick"), QStringLiteral("rclick"), QStringLiteral("type"),
                                      QStringLiteral("key"), QStringLiteral("drag"), QStringLiteral("scroll") };
    if (!actions.contains(action))
        return Reply::failure(protocol::error::kInvalidParams, QStringLiteral("\"action\" is one of %1").arg(actions.join(QStringLiteral(", "))));
    const QString mode = params.value(QStringLiteral("mode")).toString(QStringLiteral("auto"));
    std::string unavailable;
    std::unique_ptr<XTestInput> x;
    const bool xcb = QGuiApplication::platformName() == QLatin1String("xcb");
    if (mode == QLatin1String("real") || (mode == QLatin1String("auto") && xcb)) {
        x = xcb ? XTestInput::open(&unavailable) : nullptr;
        if (!xcb)
            unavailable = "the program does not run on an X server (its Qt platform is " + QGuiApplication::platformName().toStdString() + ")";
        if (!x && mode == QLatin1String("real"))
            return Reply::failure(protocol::error::kInvalidParams, QStringLiteral("no real input here: %1").arg(QString::fromStdString(unavailable)));
    }

    // The GUI thread finds the points and checks them, and synthesizes the
    // input itself when it is not real.
    auto plan = std::make_shared<Plan>();
    auto failure = std::make_shared<Failure>();
    const bool real = x != nullptr;
    ModuleView *modules = &module;
    ItemRequests *listing = &items;
    // Deleted on the GUI thread once it is no longer installed, or left
    // behind (deliberately) when that thread is gone.
    InputMarks *marks = real ? new InputMarks(x->markAtom()) : nullptr;
    const GuiExecutor::Outcome outcome = executor.run([=] {
        QPoint at;
        QWidget *target = nullptr;
        if (!Locate(*modules, *listing, params.value(QStringLiteral("object")).toString(), params.value(QStringLiteral("item")).toString(), &at,
                    &target, failure.get()))
            return;
        plan->ratio = target->devicePixelRatioF();
        plan->done = { { QStringLiteral("object"), ObjectPath(target) }, { QStringLiteral("x"), at.x() }, { QStringLiteral("y"), at.y() },
                       { QStringLiteral("real"), real } };
        if (action == QLatin1String("click") || action == QLatin1String("dclick") || action == QLatin1String("rclick")) {
            Click(&plan->steps, at, action == QLatin1String("rclick") ? 3 : 1, action == QLatin1String("dclick"));
        } else if (action == QLatin1String("scroll")) {
            InputStep wheel = StepAt(InputStep::Kind::Wheel, at);
            wheel.steps = params.value(QStringLiteral("steps")).toInt(1);
            plan->steps.push_back(wheel);
        } else if (action == QLatin1String("drag")) {
            const QJsonObject to = params.value(QStringLiteral("to")).toObject();
            QPoint end;
            QWidget *ignored = nullptr;
            if (!Locate(*modules, *listing, to.value(QStringLiteral("object")).toString(), to.value(QStringLiteral("item")).toString(), &end,
                        &ignored, failure.get()))
                return;
            plan->steps.push_back(StepAt(InputStep::Kind::Move, at));
            plan->steps.push_back(StepAt(InputStep::Kind::Press, at, 1));
            for (int move = 1; move <= kDragMoves; ++move)
                plan->steps.push_back(StepAt(InputStep::Kind::Move, at + (end - at) * move / kDragMoves));
            plan->steps.push_back(StepAt(InputStep::Kind::Release, end, 1));
        } else {
            // Keys go where the focus is: on the object, as a click would put it.
            target->activateWindow();
            target->setFocus(Qt::MouseFocusReason);
            if (action == QLatin1String("type")) {
                InputStep text = StepAt(InputStep::Kind::Text, at);
                text.text = params.value(QStringLiteral("text")).toString();
                plan->steps.push_back(text);
            } else {
                const QKeySequence sequence = QKeySequence::fromString(params.value(QStringLiteral("sequence")).toString(), QKeySequence::PortableText);
                const std::vector<int> keys = KeysOf(sequence);
                const bool unknown = std::any_of(keys.begin(), keys.end(), [](int key) {
                    const int base = key & ~int(Qt::KeyboardModifierMask);
                    return base == 0 || base == Qt::Key_unknown;
                });
                if (sequence.isEmpty() || unknown) {
                    *failure = { protocol::error::kInvalidParams, QStringLiteral("\"%1\" is no key sequence (Ctrl+S, Alt+F4, Down)")
                                                                      .arg(params.value(QStringLiteral("sequence")).toString()) };
                    return;
                }
                for (const int key : keys) {
                    InputStep step = StepAt(InputStep::Kind::Key, at);
                    step.key = key;
                    plan->steps.push_back(step);
                }
            }
        }
        if (real) {
            plan->markWindow = MarkWindow(target);
            QCoreApplication::instance()->installNativeEventFilter(marks);
        } else {
            Synthesize(plan->steps);
        }
    }, std::chrono::milliseconds(qint64(params.value(QStringLiteral("timeout")).toDouble(kDefaultLimit.count()))));
    std::string reason;
    bool given = true;
    if (outcome == GuiExecutor::Outcome::Done && !failure->code && real) {
        long serial = 0;
        const auto settled = [&] {
            x->mark(plan->markWindow, ++serial);
            marks->waitFor(serial, kMarkLimit);
        };
        given = GiveRealInput(*x, plan->steps, plan->ratio, settled, &reason);
    }
    // After the work above, whenever it runs: the queue keeps the order.
    if (marks) {
        executor.post([marks] {
            QCoreApplication::instance()->removeNativeEventFilter(marks);
            delete marks;
        });
    }
    if (outcome == GuiExecutor::Outcome::Modal)
        return Reply::success(QJsonObject{ { QStringLiteral("modal"), true }, { QStringLiteral("real"), real } });
    if (outcome != GuiExecutor::Outcome::Done)
        return Reply::failure(outcome == GuiExecutor::Outcome::TimedOut ? protocol::error::kBusy : protocol::error::kClosing,
                              QStringLiteral("the GUI thread did not take the input"));
    if (failure->code)
        return Reply::failure(failure->code, failure->message);
    if (real && !given)
        return Reply::failure(protocol::error::kInvalidParams, QString::fromStdString(reason));
    return Reply::success(plan->done);
}

} // namespace vrqt::agent
