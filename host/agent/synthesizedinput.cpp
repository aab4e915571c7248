#include "host/agent/synthesizedinput.h"

#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QContextMenuEvent>
#include <QDrag>
#include <QKeySequence>
#include <QMenu>
#include <QMimeData>
#include <QMouseEvent>
#include <QPointer>
#include <QSet>
#include <QWheelEvent>
#include <QWidget>

namespace vrqt::agent {

namespace {

Qt::MouseButton QtButton(int button)
{
    return button == 3 ? Qt::RightButton : button == 2 ? Qt::MiddleButton : Qt::LeftButton;
}

// Qt's shortcut map sees a key the window system delivers before the focus
// widget does; keys sent to a widget pass it by, so its choice is made here.
// The focus widget may claim the key (ShortcutOverride); otherwise the
// enabled action whose shortcut the keys so far give, within its context,
// is triggered. pending holds the keys of a sequence begun. False when the
// key goes to the focus widget.
bool TriggerShortcut(QWidget *focus, int key, std::vector<int> *pending)
{
    if (pending->empty()) {
        QKeyEvent override(QEvent::ShortcutOverride, key & ~int(Qt::KeyboardModifierMask), Qt::KeyboardModifiers(key & int(Qt::KeyboardModifierMask)));
        override.ignore();
        QApplication::sendEvent(focus, &override);
        if (override.isAccepted())
            return false;
    }
    pending->push_back(key);
    const auto keyAt = [pending](std::size_t index) { return index < pending->size() ? (*pending)[index] : 0; };
    const QKeySequence typed(keyAt(0), keyAt(1), keyAt(2), keyAt(3));
    // Where an action is reachable: a menu's entries where its menu hangs.
    const auto inContext = [focus](QAction *action, QWidget *widget) {
        switch (action->shortcutContext()) {
        case Qt::WidgetShortcut:
            return widget == focus;
        case Qt::WidgetWithChildrenShortcut:
            return widget == focus || widget->isAncestorOf(focus);
        case Qt::ApplicationShortcut:
            return true;
        case Qt::WindowShortcut:
            break;
        }
        while (qobject_cast<QMenu *>(widget) && widget->parentWidget())
            widget = widget->parentWidget();
        return !qobject_cast<QMenu *>(widget) && widget->isVisible() && widget->window() == focus->window();
    };
    QSet<QAction *> exact;
    bool partial = false;
    const QWidgetList widgets = QApplication::allWidgets();
    for (QWidget *widget : widgets) {
        const QList<QAction *> actions = widget->actions();
        for (QAction *action : actions) {
            if (!action->isEnabled() || !inContext(action, widget))
                continue;
            const QList<QKeySequence> shortcuts = action->shortcuts();
            for (const QKeySequence &shortcut : shortcuts) {
                const QKeySequence::SequenceMatch match = typed.matches(shortcut);
                if (match == QKeySequence::ExactMatch)
                    exact.insert(action);
                partial = partial || match == QKeySequence::PartialMatch;
            }
        }
    }
    if (exact.isEmpty() && partial && pending->size() < 4)
        return true; // the next key may complete it
    pending->clear();
    if (exact.isEmpty())
        return false;
    // Several in one context: Qt tells the first that the key is ambiguous.
    QShortcutEvent event(typed, 0, exact.size() > 1);
    QApplication::sendEvent(*exact.begin(), &event);
    return true;
}

// A drag within an item view that allows moves, as its own drop would do
// it: the row pressed goes above or below the row under to, by where to lies
// in that row (Qt's margins), or into the item where it takes drops. False
// for anything else.
bool MoveInView(QAbstractItemView *view, const QPoint &from, const QPoint &to)
{
    QAbstractItemModel *model = view->model();
    const QPersistentModelIndex source = view->indexAt(view->viewport()->mapFromGlobal(from));
    if (!model || !source.isValid() || (view->dragDropMode() != QAbstractItemView::InternalMove && view->defaultDropAction() != Qt::MoveAction))
        return false;
    const QPoint at = view->viewport()->mapFromGlobal(to);
    const QModelIndex onto = view->indexAt(at);
    QModelIndex parent = view->rootIndex();
    int row = model->rowCount(parent);
    if (onto.isValid()) {
        const QRect rect = view->visualRect(onto);
        const int margin = qBound(2, qRound(rect.height() / 5.5), 12);
        bool above = at.y() - rect.top() < margin;
        if (!above && rect.bottom() - at.y() >= margin) {
            if (model->flags(onto) & Qt::ItemIsDropEnabled)
                return false;
            above = at.y() < rect.center().y();
        }
        parent = onto.parent();
        row = onto.row() + (above ? 0 : 1);
    }
    if (source.parent() == parent && (row == source.row() || row == source.row() + 1))
        return true; // where it is already
    if (model->moveRow(source.parent(), source.row(), parent, row))
        return true;
    // A model without moves: the row's data in, then the row out, as Qt's
    // own move through a drop does.
    std::unique_ptr<QMimeData> data(model->mimeData({ source }));
    if (!data || !model->dropMimeData(data.get(), Qt::MoveAction, row, 0, parent))
        return false;
    model->removeRow(source.row(), source.parent());
    return true;
}

// Drops what drag carries at point, with Qt's drag events to the widget
// there that takes drops, as the window system's drag would bring them.
void DropAt(QDrag *drag, const QPoint &from, const QPoint &to)
{
    QWidget *receiver = QApplication::widgetAt(to);
    auto *view = receiver ? qobject_cast<QAbstractItemView *>(receiver->parentWidget()) : nullptr;
    if (view && view == drag->source() && MoveInView(view, from, to))
        return;
    while (receiver && !receiver->acceptDrops())
        receiver = receiver->isWindow() ? nullptr : receiver->parentWidget();
    if (!receiver)
        return;
    const QPoint local = receiver->mapFromGlobal(to);
    QDragEnterEvent enter(local, drag->supportedActions(), drag->mimeData(), Qt::LeftButton, Qt::NoModifier);
    enter.ignore();
    QApplication::sendEvent(receiver, &enter);
    QDragMoveEvent move(local, drag->supportedActions(), drag->mimeData(), Qt::LeftButton, Qt::NoModifier);
    move.setAccepted(enter.isAccepted());
    if (enter.isAccepted())
        QApplication::sendEvent(receiver, &move);
    if (!move.isAccepted()) {
        QDragLeaveEvent leave;
        QApplication::sendEvent(receiver, &leave);
        return;
    }
    QDropEvent drop(local, drag->supportedActions(), drag->mimeData(), Qt::NoButton, Qt::NoModifier);
    drop.setDropAction(move.dropAction());
    QApplication::sendEvent(receiver, &drop);
}

// A drag that the widget pressed (or one of its parents) began: the QDrag
// it made, which Qt deletes later.
QDrag *DragBegun(QWidget *pressed)
{
    for (QWidget *widget = pressed; widget; widget = widget->parentWidget()) {
        if (QDrag *drag = widget->findChild<QDrag *>(QString(), Qt::FindDirectChildrenOnly))
            return drag;
    }
    return nullptr;
}

} // namespace

void Synthesize(const std::vector<InputStep> &steps)
{
    Qt::MouseButtons held;
    std::vector<int> pendingKeys;
    // A drag: Qt's offscreen platform ends QDrag::exec at once, without a
    // drop; the drop is made here once the button is let go.
    QPoint pressedAt;
    QPointer<QWidget> pressed;
    QPointer<QDrag> drag;
    for (const InputStep &step : steps) {
        // The widget under the point, unless another holds the mouse; a
        // window that holds it (a popup) hands it to its child there.
        QWidget *receiver = QWidget::mouseGrabber();
        QWidget *under = QApplication::widgetAt(step.point);
        if (!receiver || Belongs(under, receiver) || step.kind == InputStep::Kind::Press || step.kind == InputStep::Kind::Wheel)
            receiver = under;
        if (step.kind == InputStep::Kind::Release && drag) {
            DropAt(drag, pressedAt, step.point);
            held &= ~QtButton(step.button);
            continue;
        }
        QWidget *focus = QApplication::focusWidget();
        switch (step.kind) {
        case InputStep::Kind::Move:
            if (receiver) {
                QMouseEvent move(QEvent::MouseMove, receiver->mapFromGlobal(step.point), step.point, Qt::NoButton, held, Qt::NoModifier);
                QApplication::sendEvent(receiver, &move);
                if (held && pressed && !drag)
                    drag = DragBegun(pressed);
            }
            break;
        case InputStep::Kind::Press:
            held |= QtButton(step.button);
            pressed = receiver;
            pressedAt = step.point;
            if (receiver) {
                QMouseEvent press(step.doubleClick ? QEvent::MouseButtonDblClick : QEvent::MouseButtonPress, receiver->mapFromGlobal(step.point),
                                  step.point, QtButton(step.button), held, Qt::NoModifier);
                QApplication::sendEvent(receiver, &press);
            }
            break;
        case InputStep::Kind::Release:
            held &= ~QtButton(step.button);
            if (receiver) {
                QMouseEvent release(QEvent::MouseButtonRelease, receiver->mapFromGlobal(step.point), step.point, QtButton(step.button), held,
                                    Qt::NoModifier);
                QApplication::sendEvent(receiver, &release);
                if (step.button == 3) {
                    QContextMenuEvent menu(QContextMenuEvent::Mouse, receiver->mapFromGlobal(step.point), step.point);
                    QApplication::sendEvent(receiver, &menu);
                }
            }
            break;
        case InputStep::Kind::Wheel:
            // Qt hands a wheel event it did not get from the window system to
            // its receiver only: the parents that would take it are asked here.
            for (QWidget *widget = receiver; widget; widget = widget->isWindow() ? nullptr : widget->parentWidget()) {
                QWheelEvent wheel(widget->mapFromGlobal(step.point), step.point, QPoint(), QPoint(0, 120 * step.steps), Qt::NoButton,
                                  Qt::NoModifier, Qt::NoScrollPhase, false);
                if (QApplication::sendEvent(widget, &wheel) && wheel.isAccepted())
                    break;
            }
            break;
        case InputStep::Kind::Key:
            if (focus && !TriggerShortcut(focus, step.key, &pendingKeys)) {
                const int key = step.key & ~int(Qt::KeyboardModifierMask);
                const auto modifiers = Qt::KeyboardModifiers(step.key & int(Qt::KeyboardModifierMask));
                const QString text = (modifiers & ~Qt::ShiftModifier) || key >= 0x1000000 ? QString()
                                   : (modifiers & Qt::ShiftModifier) ? QString(QChar(key)) : QString(QChar(key)).toLower();
                QKeyEvent press(QEvent::KeyPress, key, modifiers, text), release(QEvent::KeyRelease, key, modifiers, text);
                QApplication::sendEvent(focus, &press);
                QApplication::sendEvent(focus, &release);
            }
            break;
        case InputStep::Kind::Text:
            for (const uint point : step.text.toUcs4()) {
                if (!(focus = QApplication::focusWidget()))
                    break;
                const QString character = QString::fromUcs4(reinterpret_cast<const char32_t *>(&point), 1);
                const int key = character.size() == 1 && character.at(0).isLetterOrNumber() ? int(character.toUpper().at(0).unicode()) : 0;
                QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, character), release(QEvent::KeyRelease, key, Qt::NoModifier, character);
                QApplication::sendEvent(focus, &press);
                QApplication::sendEvent(focus, &release);
            }
            break;
        }
    }
}

} // namespace vrqt::agent
