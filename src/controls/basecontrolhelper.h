// What every control helper shares: the reference count (helpers hold no
// widget), the widget check each operation starts with, and the mapping of
// points to the native window that carries a widget.
#pragma once

#include <QPoint>
#include <QPointer>
#include <QRect>
#include <QWidget>

#include <new>
#include <type_traits>

#include "interfaces/objects.h"
#include "platform/automation.h"
#include "platform/faultguard.h"
#include "runtime/comobject.h"
#include "runtime/dispatch/widgetexecution.h"
#include "runtime/objectprobe.h"

class QAbstractItemView;

class CvrQtBaseControlHelper : public ComObjectRoot
{
protected:
    CvrQtBaseControlHelper() = default;
};

// Makes a helper of class Helper with one reference for the caller, as its
// primary interface: E_POINTER for a null result, E_OUTOFMEMORY when no
// memory is to be had.
template <typename Helper, typename Primary>
HRESULT CreateHelper(IUnknown **result)
{
    if (!result)
        return E_POINTER;
    *result = nullptr;
    Helper *helper = new (std::nothrow) Helper();
    if (!helper)
        return E_OUTOFMEMORY;
    Primary *primary = helper;
    primary->AddRef();
    *result = primary;
    return S_OK;
}

// The address as a widget of class T when it is one and alive (tested
// without calling through it; runtime/objectprobe.h), else null. The
// caller's thread.
template <typename T>
T *LiveWidgetAs(QWidget *widget)
{
    QWidget *live = AsConfirmedLiveWidget(widget);
    return live ? qobject_cast<T *>(live) : nullptr;
}

// Runs one helper operation on the widget the host named. A host may hand
// any address: one that is no live widget of class T gives E_FAIL before
// anything is called, and a fault inside the operation ends it as E_FAIL,
// never as a dead application. Otherwise the operation's own result.
template <typename T, typename Operation>
HRESULT WithWidget(QWidget *widget, Operation &&operation)
{
    T *target = LiveWidgetAs<T>(widget);
    if (!target)
        return E_FAIL;
    HRESULT result = E_FAIL;
    if (!RunGuarded([&] { result = operation(target); }))
        return E_FAIL;
    return result;
}

// Runs work on the widget's own thread (ExecuteForWidget) and waits; true
// when it ran to its end.
template <typename Work>
bool RunForWidget(QWidget *widget, Work &&work)
{
    using Callable = std::remove_reference_t<Work>;
    return ExecuteForWidget(widget, [](void *argument) { (*static_cast<Callable *>(argument))(); },
                            const_cast<void *>(static_cast<const void *>(&work)));
}

// The host's code of a view's selection mode: NoSelection 4,
// SingleSelection 0, MultiSelection 3, ExtendedSelection 2,
// ContiguousSelection 1, anything else -1.
int ConvertSelectionMode(const QAbstractItemView *view);

// How far the client area of a top-level widget lies from its frame's
// corner; window is the widget's native window, or 0.
QPoint GetFrameOffset(const QWidget *widget, NativeWindowId window);

// Expresses point, given in widget's coordinates, for the native window that
// carries the widget: a widget with its own window keeps client
// coordinates, any other gets coordinates from its window's frame corner.
// Returns that window as a 32-bit integer; 0 (and the point untouched) when
// widget has no window.
int MapToWindow(const QWidget *widget, QPoint *point);
int MapToWindowXY(const QWidget *widget, int *x, int *y);

// x, y, width and height of rect, width as right - left + 1.
void StoreRect(const QRect &rect, int *x, int *y, int *width, int *height);

// VARIANT_TRUE or VARIANT_FALSE.
inline VARIANT_BOOL ToVariantBool(bool value)
{
    return value ? VARIANT_TRUE : VARIANT_FALSE;
}
