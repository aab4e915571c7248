// One step of input as the agent gives it, real or synthesized, and what
// counts as a widget's own at a point.
#pragma once

#include <QPoint>
#include <QString>
#include <QWidget>

namespace vrqt::agent {

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
inline bool Belongs(QWidget *at, QWidget *widget)
{
    for (; at; at = at->parentWidget()) {
        if (at == widget)
            return true;
    }
    return false;
}

} // namespace vrqt::agent
