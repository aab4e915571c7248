#include "reflection/contextobject.h"

#include <pthread.h>

#include <QPointer>

#include "interfaces/objects.h"
#include "interfaces/values.h"
#include "runtime/comobject.h"
#include "runtime/deliberateleak.h"

namespace {

struct LastConfirmed {
    QPointer<QObject> object;
};

// One cell a thread, kept deliberately, found through a thread-specific key
// rather than the module's own thread-local storage: the module is unloaded
// while its threads live on, and storage of an unloaded library confuses
// the leak checker of sanitizer builds.
class LastConfirmedCells
{
public:
    LastConfirmedCells() { ready = pthread_key_create(&key, nullptr) == 0; }
    ~LastConfirmedCells()
    {
        if (ready)
            pthread_key_delete(key);
    }

    LastConfirmed *find() const { return ready ? static_cast<LastConfirmed *>(pthread_getspecific(key)) : nullptr; }

    LastConfirmed *make()
    {
        LastConfirmed *cell = find();
        if (cell || !ready)
            return cell;
        cell = new LastConfirmed;
        MarkDeliberateLeak(cell);
        pthread_setspecific(key, cell);
        return cell;
    }

private:
    pthread_key_t key{};
    bool ready = false;
};

LastConfirmedCells cells;

} // namespace

HRESULT CallContextObject(IUnknown *context, QObject **object)
{
    *object = nullptr;
    ComPtr<IvrQtCallContext> callContext;
    if (context)
        context->QueryInterface(IID_IvrQtCallContext, callContext.putVoid());
    return callContext ? callContext->GetContextObject(object) : S_OK;
}

bool IsLiveContextObject(QObject *object, IUnknown *manager)
{
    const LastConfirmed *last = cells.find();
    if (last && last->object.data() == object)
        return true;
    ComPtr<IvrQtObjectsHelper> objects;
    manager->QueryInterface(IID_IvrQtObjectsHelper, objects.putVoid());
    if (!objects || objects->IsQObject(object) != VARIANT_TRUE)
        return false;
    if (LastConfirmed *cell = cells.make())
        cell->object = object;
    return true;
}
