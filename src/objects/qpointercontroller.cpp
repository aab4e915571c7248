#include "objects/qpointercontroller.h"

#include <QWidget>

#include "runtime/deliberateleak.h"
#include "runtime/dispatch/execution.h"
#include "runtime/dispatch/nativewindow.h"

namespace {

// The object's thread: lets go of the object, which must not die meanwhile.
void clearGuardCell(void *cell)
{
    auto *guard = static_cast<QPointer<QObject> *>(cell);
    if (!guard->isNull())
        *guard = nullptr;
}

DWORD windowThreadOf(QObject *object)
{
    if (!object->isWidgetType())
        return 0;
    const QWidget *widget = static_cast<QWidget *>(object);
    WId window = widget->effectiveWinId();
    if (!window) {
        const QWidget *nativeParent = widget->nativeParentWidget();
        window = nativeParent ? nativeParent->winId() : 0;
    }
    return window ? GetWindowThreadProcessId(HWND(window), nullptr) : 0;
}

} // namespace

HRESULT CvrQtObjectController_QPointer::Attach(QObject *object)
{
    ownerThread = 0;
    guard = new GuardCell(object);
    ownerThread = windowThreadOf(object);
    return S_OK;
}

CvrQtObjectController_QPointer::~CvrQtObjectController_QPointer()
{
    if (guard && !guard->isNull()) {
        // A living object is let go on its own thread. Where that thread
        // cannot be reached the cell is abandoned, deliberately, as a guard
        // cell Qt may still write into must be: neither cleared nor freed.
        if (!ownerThread || !ExecuteInThread(ownerThread, clearGuardCell, guard)) {
            MarkDeliberateLeak(guard);
            guard = nullptr;
        }
    }
    delete guard;
    guard = nullptr;
}

HRESULT CvrQtObjectController_QPointer::QueryInterface(REFIID riid, void **object)
{
    return QueryInterfaceTable(
        this, { Implements<CvrQtObjectController_QPointer, IvrQtObjectController>(IID_IvrQtObjectController) }, riid,
        object);
}

VARIANT_BOOL CvrQtObjectController_QPointer::IsObjectAlive()
{
    return guard && !guard->isNull() ? VARIANT_TRUE : VARIANT_FALSE;
}
