// The controller that holds an object through a weak-pointer cell of its
// own: the form for the Qt 4 family (Qt generation 1). Qt has no public
// guard registry any more; a QPointer in a heap cell stands in for the
// registered guard.
#pragma once

#include <QPointer>

#include "interfaces/objects.h"
#include "runtime/comobject.h"

class CvrQtObjectController_QPointer : public ComObjectRoot, public IvrQtObjectController
{
public:
    CvrQtObjectController_QPointer() = default;

    // Once, right after construction, on the thread that asks for the
    // controller.
    HRESULT Attach(QObject *object);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT
    // Any thread, no lock.
    VARIANT_BOOL STDMETHODCALLTYPE IsObjectAlive() override;

private:
    // The cell Qt clears when the object dies. A separate allocation: it
    // may have to outlive the controller.
    using GuardCell = QPointer<QObject>;

    ~CvrQtObjectController_QPointer() override;

    GuardCell *guard = nullptr;
    // The thread of the object's native window; 0 for an object without one.
    DWORD ownerThread = 0;
};
