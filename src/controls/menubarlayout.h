// Where a menu bar puts its entries, and which of them it moves to the
// overflow popup behind its extension button. Qt does not say which entries
// those are, so the bar's layout is reproduced here step by step, with the
// style metrics the bar itself uses.
#pragma once

#include <QRect>

class QAction;
class QMenuBar;
class QToolButton;

// The rectangle the bar gives target, in the bar's coordinates; an empty
// rectangle when target is not laid out (a separator, an invisible entry,
// no entry of this bar). False, with rect untouched, when the bar's thread
// could not be reached (the bar has no native window yet). The bar's thread
// (ExecuteForWidget).
bool CalcActionRect(QMenuBar *bar, const QAction *target, QRect *rect);

// Whether the entry at index stands on the bar (true, overflowIndex -1) or
// in the overflow popup (false, overflowIndex its position among the
// entries moved there). button receives the extension button, or null.
// Everything is on the bar while the button is not on show. The layout
// runs on the bar's thread (ExecuteForWidget).
bool LocateAction(QMenuBar *bar, int index, QToolButton **button, int *overflowIndex);
