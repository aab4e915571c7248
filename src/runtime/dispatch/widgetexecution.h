// The application's main widget, and running work on a widget's own thread.
// Control helpers and the object manager reach the GUI thread through these.
#pragma once

#include "runtime/dispatch/windowcontext.h"

class QWidget;

// The first QMainWindow among the top-level widgets; else the first
// top-level widget that is no menu and owns its native window; else the
// first top-level widget; else null. The caller's thread.
QWidget *GetMainWidget();

// Runs function(argument) on the thread of widget's native window (of its
// top-level window's while Qt has not made the widget yet), or of the main
// widget's when widget is null; with neither, the window 0 is asked for,
// which runs nowhere. Blocks; true when the function ran to its
// end (ExecuteInWindowThread).
bool ExecuteForWidget(QWidget *widget, ExecuteFunction function, void *argument);

// ExecuteForWidget inside a catch-all guard: false when a fault or an
// exception ended it, true otherwise, whether or not the function could be
// run. Callers that need to know preset their result before the call.
bool TryExecuteForWidget(QWidget *widget, ExecuteFunction function, void *argument);
