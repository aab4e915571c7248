// Acting like a user: clicks, double clicks, right clicks, typing, key
// sequences, drags and wheel turns on an object or one of its items, at the
// centre of the rectangle the module reports, after bringing the item into
// view. Under the X window system the input is real (the X server's test
// extension, from the serving thread, so that the GUI thread is free to
// take it); elsewhere it is synthesized inside the program with Qt's public
// event API, to the widget under the point.
#pragma once

#include <QJsonObject>
#include <QWidget>
#include <QPoint>
#include <QString>

#include <vector>

#include "host/agent/reply.h"

namespace vrqt::agent {

class GuiExecutor;
class ItemRequests;
class ModuleView;

// One step of input, in screen coordinates (device-independent pixels).
struct InputStep
{
    enum class Kind { Move, Press, Release, Wheel, Key, Text } kind = Kind::Move;
    QPoint point;
    int button = 1;     // 1 left, 2 middle, 3 right
    int steps = 0;      // Wheel: notches, positive away from the user
    int key = 0;        // Key: Qt::Key with modifiers (QKeySequence's form)
    QString text;       // Text: what to type
    bool doubleClick = false; // Press: the second press of a double click
};

// Whether at is widget or lies below it, across the popups widget opened
// (a combo box's list): what is at a point is then widget's.
bool Belongs(QWidget *at, QWidget *widget);

class UserInput
{
public:
    UserInput(GuiExecutor &executor, ModuleView &module, ItemRequests &items)
        : executor(executor), module(module), items(items)
    {
    }

    // Serving thread. params: action (click, dclick, rclick, type, key,
    // drag, scroll), object, item, text, sequence, steps, to {object, item},
    // mode ("auto", "real", "synthesized"), timeout.
    Reply act(const QJsonObject &params);

private:
    // One action on a point that can be found now.
    Reply actOnce(const QJsonObject &params);

    GuiExecutor &executor;
    ModuleView &module;
    ItemRequests &items;
};

} // namespace vrqt::agent
