// The answers about widgets that the host cannot find out by itself: which
// widgets lack a native window, and the two values that tell like widgets
// apart (an index among siblings of the same class, and a text). All run on
// the caller's thread and read only.
#pragma once

#include <QList>
#include <QString>

class QPoint;
class QWidget;

// Alien: neither Qt::Window in windowFlags() nor Qt::WA_NativeWindow, so
// the platform's window enumeration cannot see it.
bool IsAlienWidget(const QWidget *widget);

// The alien widgets among widget's direct children, in child order.
QList<QWidget *> AlienChildren(const QWidget *widget);

// The widget's place, counted from 1, among the siblings whose class name
// is exactly its own (the top-level widgets when it has no parent widget).
// False when the widget is not in that list; index then holds the count
// reached.
bool WidgetIndex(const QWidget *widget, int *index);

// The text by which the host names the widget: the "text" property when
// the class has a readable one of type QString, the window title for
// editors (whose text is the user's data) and everything else.
QString WidgetText(const QWidget *widget);

// True when a sibling widget has the same object name, compared in upper
// case; two unnamed siblings count as having the same name.
bool HasSiblingOfSameName(const QWidget *widget);

// A window's own position; any other widget's position mapped to the
// screen through its parent. False for a non-window without a parent.
bool ScreenPosition(const QWidget *widget, QPoint *position);
