#include "reflection/liveobject.h"

#include <QPointer>

#include "interfaces/objects.h"
#include "runtime/comobject.h"
#include "runtime/deliberateleak.h"

namespace {

struct LastConfirmed {
    QPointer<QObject> object;
};

// A pointer, so that the module's threads leave no destructor behind that
// would keep it from unloading; the cell is one a thread, kept deliberately.
thread_local LastConfirmed *lastConfirmed = nullptr;

} // namespace

bool IsLiveContextObject(QObject *object, IUnknown *manager)
{
    if (lastConfirmed && lastConfirmed->object.data() == object)
        return true;
    ComPtr<IvrQtObjectsHelper> objects;
    manager->QueryInterface(IID_IvrQtObjectsHelper, objects.putVoid());
    if (!objects || objects->IsQObject(object) != VARIANT_TRUE)
        return false;
    if (!lastConfirmed) {
        lastConfirmed = new LastConfirmed;
        MarkDeliberateLeak(lastConfirmed);
    }
    lastConfirmed->object = object;
    return true;
}
