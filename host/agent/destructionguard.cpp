#include "host/agent/destructionguard.h"

#include <QPointer>
#include <QRegularExpression>
#include <QThread>
#include <QWidget>

#include <memory>

#include "host/agent/addressspace.h"
#include "host/agent/objectpath.h"
#include "host/protocol/protocol.h"
#include "host/scripting/threaddelivery.h"

namespace vrqt::agent {

namespace {

struct DestroyingMethod
{
    const char *name;
    bool onlyWhenDeleteOnClose;
};

constexpr DestroyingMethod kDestroyingMethods[] = {
    { "deleteLater", false }, { "close", true }, { "accept", true }, { "reject", true }, { "done", true },
};

// The first object of root's tree, root first, that does not live on the
// heap. Runs on root's thread.
struct Finding
{
    const QObject *object = nullptr;
    Storage storage = Storage::Heap;
};

Finding FindUnsafe(const QObject *root)
{
    const AddressSpace memory;
    if (const Storage storage = memory.storageOf(root); storage != Storage::Heap)
        return { root, storage };
    for (const QObject *child : root->findChildren<QObject *>()) {
        if (const Storage storage = memory.storageOf(child); storage != Storage::Heap)
            return { child, storage };
    }
    return {};
}

QString Describe(const QObject *object)
{
    // Paths are walked on the GUI thread only.
    if (object->thread() == QThread::currentThread())
        return ObjectPath(object);
    return QStringLiteral("a %1").arg(QLatin1String(object->metaObject()->className()));
}

} // namespace

bool DestroysObject(const QObject *object, const QString &method)
{
    static const QRegularExpression suffix(QStringLiteral("_\\d+$"));
    const QString declared = QString(method).remove(suffix);
    for (const DestroyingMethod &entry : kDestroyingMethods) {
        if (declared != QLatin1String(entry.name))
            continue;
        if (!entry.onlyWhenDeleteOnClose)
            return true;
        const auto *widget = qobject_cast<const QWidget *>(object);
        return widget && widget->testAttribute(Qt::WA_DeleteOnClose);
    }
    return false;
}

std::optional<Reply> RefuseUnsafeDeletion(QObject *object, const QString &what, scripting::ThreadDelivery &delivery)
{
    Finding finding;
    if (object->thread() == QThread::currentThread()) {
        finding = FindUnsafe(object);
    } else {
        // The call may outlive the wait: it owns what it writes.
        auto found = std::make_shared<Finding>();
        const QPointer<QObject> root(object);
        const HRESULT hr = delivery.deliver(object, [found, root] {
            if (root)
                *found = FindUnsafe(root);
            return S_OK;
        });
        if (FAILED(hr))
            return Reply::failure(protocol::error::kBusy,
                                  QStringLiteral("cannot tell whether deleting %1 is safe: its thread did not answer").arg(what));
        finding = *found;
    }
    if (!finding.object)
        return std::nullopt;
    const QString where = QLatin1String(StorageName(finding.storage));
    const QString message = finding.object == object
                                ? QStringLiteral("%1 lives %2, not on the heap: deleting it would free memory no allocator handed out")
                                      .arg(what, where)
                                : QStringLiteral("%1 has a child that lives %2, not on the heap (%3): deleting it would delete that child too")
                                      .arg(what, where, Describe(finding.object));
    return Reply::failure(protocol::error::kNotDeletable, message);
}

} // namespace vrqt::agent
