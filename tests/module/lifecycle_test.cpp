// The module's front door and its life: one module object, the manager
// behind it, unload subscribers, and a real unload at the host's last
// dlclose.
#include <dlfcn.h>

#include <memory>
#include <vector>

#include <QObject>

#include "modulesupport.h"

using namespace moduletest;
using vrqt::host::UnloadRecorder;

namespace {

// Subscribers that write their name into one shared journal, in the order
// they are called.
struct Journal {
    std::vector<std::string> calls;

    UnloadRecorder *subscriber(const std::string &name, std::function<void(IzkModuleIntf *)> extra = {})
    {
        auto *recorder = new UnloadRecorder([this, name, extra](const std::u16string &moduleName, IzkModuleIntf *module) {
            calls.push_back(name);
            EXPECT_EQ(u"libvrqtproxy.so", moduleName);
            if (extra)
                extra(module);
        });
        owned.emplace_back(recorder);
        return recorder;
    }

    // The creator's reference of each subscriber, released at the end.
    struct Release {
        void operator()(UnloadRecorder *recorder) const { recorder->Release(); }
    };
    std::vector<std::unique_ptr<UnloadRecorder, Release>> owned;
};

bool moduleIsMapped(const std::string &path)
{
    void *handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle)
        dlclose(handle);
    return handle != nullptr;
}

} // namespace

TEST(ModuleLifecycle, OneModuleObjectAndOneManagerAnswerTheirInterfacesOnly)
{
    ModuleHost host;
    ASSERT_TRUE(host.load(modulePath())) << host.error();
    auto getModuleIntf = reinterpret_cast<GetModuleIntfFunction>(dlsym(host.libraryHandle(), "GetModuleIntf"));
    ASSERT_TRUE(getModuleIntf);
    Ref<IUnknown> again;
    getModuleIntf(reinterpret_cast<IUnknown **>(again.out()));
    EXPECT_EQ(host.moduleUnknown(), again.get());
    EXPECT_EQ(host.proxyModule().query<IUnknown>(IID_IUnknown).get(), again.get());
    EXPECT_EQ(E_POINTER, again->QueryInterface(IID_IUnknown, nullptr));

    Ref<IUnknown> manager, second;
    ASSERT_EQ(S_OK, host.proxyModule()->GetObjectManager(reinterpret_cast<IUnknown **>(manager.out())));
    ASSERT_EQ(S_OK, host.proxyModule()->GetObjectManager(reinterpret_cast<IUnknown **>(second.out())));
    EXPECT_EQ(manager.get(), second.get());
    EXPECT_EQ(host.widgets().query<IUnknown>(IID_IUnknown).get(), manager.get());

    struct Row {
        const char *name;
        IUnknown *object;
        const IID *iid;
    };
    // The notifier answers its host interface through the manager; the
    // listeners' side stays unseen.
    const Row refused[] = {
        { "module as helper", again.get(), &IID_IvrQtObjectsHelper },
        { "notifier's sink", manager.get(), &IID_IvrQtEventsNotifierInternal },
        { "object controller", manager.get(), &IID_IvrQtObjectController },
        { "manager as module", manager.get(), &IID_IvrQtProxyModule },
    };
    for (const Row &row : refused) {
        SCOPED_TRACE(row.name);
        void *answer = reinterpret_cast<void *>(1);
        EXPECT_EQ(E_NOINTERFACE, row.object->QueryInterface(*row.iid, &answer));
        EXPECT_EQ(nullptr, answer);
    }
}

TEST(ModuleLifecycle, UnloadNotifiesOldestFirstAndTheFirstListBeforeTheLateList)
{
    Journal journal;
    UnloadRecorder *a = journal.subscriber("A");
    UnloadRecorder *b = journal.subscriber("B");
    UnloadRecorder *c = journal.subscriber("C");
    UnloadRecorder *removed = journal.subscriber("removed");
    UnloadRecorder *leaving = nullptr;
    leaving = journal.subscriber("leaving", [&](IzkModuleIntf *module) {
        EXPECT_EQ(S_OK, module->RemoveUnloadSubscriber(leaving));
    });
    {
        ModuleHost host;
        ASSERT_TRUE(host.load(modulePath())) << host.error();
        const Ref<IzkModuleIntf> module = host.moduleInterface();
        ASSERT_EQ(S_OK, module->AddLateUnloadSubscriber(c));
        ASSERT_EQ(S_OK, module->AddUnloadSubscriber(a));
        ASSERT_EQ(S_OK, module->AddUnloadSubscriber(removed));
        ASSERT_EQ(S_OK, module->AddUnloadSubscriber(leaving));
        ASSERT_EQ(S_OK, module->AddUnloadSubscriber(b));
        ASSERT_EQ(S_OK, module->AddLateUnloadSubscriber(a));
        EXPECT_EQ(E_FAIL, module->AddUnloadSubscriber(a));
        EXPECT_EQ(E_FAIL, module->AddLateUnloadSubscriber(a));
        ASSERT_EQ(S_OK, module->RemoveUnloadSubscriber(removed));
        EXPECT_EQ(S_OK, module->RemoveLateUnloadSubscriber(removed)); // not there: ignored
        // One reference for each list it stands in.
        EXPECT_EQ(3u, a->references);
    }
    EXPECT_EQ((std::vector<std::string>{ "A", "leaving", "B", "C", "A" }), journal.calls);
    // The module let go of every subscriber when it went.
    for (UnloadRecorder *subscriber : { a, b, c, removed, leaving })
        EXPECT_EQ(1u, subscriber->references);
}

TEST(ModuleLifecycle, LoadAndUnloadWithoutContactLeavesNothingBehind)
{
    const std::string path = modulePath();
    void *library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, library) << dlerror();
    EXPECT_TRUE(moduleIsMapped(path));
    EXPECT_EQ(0, dlclose(library));
    EXPECT_FALSE(moduleIsMapped(path));
}

TEST(ModuleLifecycle, LibraryUnloadsAtTheHostsLastDlclose)
{
    const std::string path = modulePath();
    {
        ModuleHost host;
        ASSERT_TRUE(host.load(path)) << host.error();
        // Use what leaves traces in the process: controllers in the
        // listening form (listeners are QObjects of the module), the fault
        // guard and the main-widget search.
        QObject watched;
        QWidget window;
        ASSERT_TRUE(showAndWait(&window));
        Ref<IvrQtObjectController> controller;
        ASSERT_EQ(S_OK, host.objects()->CreateObjectController(&watched, reinterpret_cast<IvrQtObjectController **>(controller.out())));
        EXPECT_EQ(VARIANT_FALSE, host.objects()->IsQObject(reinterpret_cast<void *>(0x10)));
        NativeWindowId mainWindow = 0;
        EXPECT_EQ(S_OK, host.widgets()->GetMainWindowHandle(&mainWindow));
        controller.reset();
        EXPECT_TRUE(moduleIsMapped(path));
    }
    EXPECT_FALSE(moduleIsMapped(path));
}
