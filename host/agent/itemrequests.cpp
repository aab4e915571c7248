#include "host/agent/itemrequests.h"

#include <optional>

#include "host/agent/helperaccess.h"
#include "host/agent/itemactions.h"
#include "host/agent/itemfamily.h"
#include "host/agent/itemlisting.h"
#include "host/agent/moduleview.h"
#include "host/agent/objectpath.h"
#include "host/protocol/protocol.h"

namespace vrqt::agent {

namespace {

struct Target
{
    QWidget *widget = nullptr;
    ItemFamily family = ItemFamily::None;
    QJsonObject about; // object, className, kind
    std::optional<Reply> failure;
};

Target Fail(const char *code, const QString &message)
{
    Target target;
    target.failure = Reply::failure(code, message);
    return target;
}

Target FindTarget(ModuleView &module, const QJsonObject &params)
{
    if (!module.ensureLoaded())
        return Fail(protocol::error::kModuleUnavailable, QString::fromStdString(module.error()));
    const QString reference = params.value(QStringLiteral("object")).toString();
    if (reference.isEmpty())
        return Fail(protocol::error::kInvalidParams, QStringLiteral("\"object\" must name an object"));
    const ObjectLookup lookup = FindObject(reference, module.objects());
    if (!lookup.object)
        return Fail(lookup.error, lookup.message);
    const QStringList chain = ClassChain(lookup.object, module.objects());
    const QString path = ObjectPath(lookup.object);
    Target target;
    target.family = FamilyOf(chain);
    if (module.objects()->IsWidget(lookup.object) != VARIANT_TRUE || target.family == ItemFamily::None) {
        return Fail(protocol::error::kNoHelper, QStringLiteral("%1 is a %2 (%3): no control helper serves it; they serve %4 and their subclasses")
                                                    .arg(path, chain.value(0), chain.join(QStringLiteral(" < ")), ServedClasses()));
    }
    target.widget = static_cast<QWidget *>(static_cast<void *>(lookup.object));
    target.about = { { QStringLiteral("object"), path },
                     { QStringLiteral("className"), chain.value(0) },
                     { QStringLiteral("kind"), FamilyName(target.family) } };
    return target;
}

Reply WithAbout(Reply reply, const QJsonObject &about)
{
    if (!reply.ok)
        return reply;
    QJsonObject result = reply.result.toObject();
    for (auto at = about.begin(); at != about.end(); ++at)
        result.insert(at.key(), at.value());
    reply.result = result;
    return reply;
}

} // namespace

Reply ItemRequests::items(const QJsonObject &params)
{
    const Target target = FindTarget(module, params);
    if (target.failure)
        return *target.failure;
    HelperAccess access(module.objects(), module.widgets());
    return WithAbout(ListItems(access, target.widget, target.family), target.about);
}

Reply ItemRequests::item(const QJsonObject &params)
{
    const Target target = FindTarget(module, params);
    if (target.failure)
        return *target.failure;
    const QString key = params.value(QStringLiteral("key")).toString();
    const QString action = params.value(QStringLiteral("action")).toString();
    if (action.isEmpty())
        return Reply::failure(protocol::error::kInvalidParams, QStringLiteral("\"action\" must name what to do"));
    HelperAccess access(module.objects(), module.widgets());
    return WithAbout(ActOnItem(access, target.widget, target.family, key, action, params.value(QStringLiteral("value")).toString()),
                     target.about);
}

} // namespace vrqt::agent
