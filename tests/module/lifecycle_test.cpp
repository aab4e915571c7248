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
    std::vector<std::u16string> moduleNames;

    UnloadRecorder *subscriber(const std::string &name, std::function<void(IzkModuleIntf *)> extra = {})
    {
        auto *recorder = new UnloadRecorder([this, name, extra](const std::u16string &moduleName, IzkModuleIntf *module) {
            calls.push_back(name);
            moduleNames.push_back(moduleName);
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

Ref<IUnknown> callGetModuleIntf(void *library)
{
    auto getModuleIntf = reinterpret_cast<GetModuleIntfFunction>(dlsym(library, "GetModuleIntf"));
    Ref<IUnknown> module;
    if (getModuleIntf)
        getModuleIntf(reinterpret_cast<IUnknown **>(module.out()));
    return module;
}

} // namespace

TEST(ModuleLifecycle, GetModuleIntfGivesTheSameObjectEachTime)
{
    ModuleHost host;
    ASSERT_TRUE(host.load(modulePath())) << host.error();
    const Ref<IUnknown> first = callGetModuleIntf(host.libraryHandle());
    const Ref<IUnknown> second = callGetModuleIntf(host.libraryHandle());
    ASSERT_TRUE(first);
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(first.get(), host.moduleUnknown());

    // Each interface leads back to the same identity.
    const Ref<IzkModuleIntf> module = host.moduleInterface();
    const Ref<IvrQtProxyModule> proxy = host.proxyModule();
    ASSERT_TRUE(module);
    ASSERT_TRUE(proxy);
    EXPECT_EQ(module.query<IUnknown>(IID_IUnknown).get(), first.get());
    EXPECT_EQ(proxy.query<IUnknown>(IID_IUnknown).get(), first.get());
    void *other = reinterpret_cast<void *>(1);
    EXPECT_EQ(E_NOINTERFACE, first->QueryInterface(IID_IvrQtObjectsHelper, &other));
    EXPECT_EQ(nullptr, other);
    EXPECT_EQ(E_POINTER, callGetModuleIntf(host.libraryHandle())->QueryInterface(IID_IUnknown, nullptr));
}

TEST(ModuleLifecycle, ManagerIsOneObjectThatAnswersTheHelpers)
{
    ModuleHost host;
    ASSERT_TRUE(host.load(modulePath())) << host.error();
    const Ref<IvrQtProxyModule> proxy = host.proxyModule();
    Ref<IUnknown> first, second;
    ASSERT_EQ(S_OK, proxy->GetObjectManager(reinterpret_cast<IUnknown **>(first.out())));
    ASSERT_EQ(S_OK, proxy->GetObjectManager(reinterpret_cast<IUnknown **>(second.out())));
    EXPECT_EQ(first.get(), second.get());

    const Ref<IvrQtObjectsHelper> objects = first.query<IvrQtObjectsHelper>(IID_IvrQtObjectsHelper);
    const Ref<IvrQtWidgetsHelper> widgets = first.query<IvrQtWidgetsHelper>(IID_IvrQtWidgetsHelper);
    ASSERT_TRUE(objects);
    ASSERT_TRUE(widgets);
    EXPECT_EQ(objects.query<IUnknown>(IID_IUnknown).get(), first.get());
    EXPECT_EQ(widgets.query<IUnknown>(IID_IUnknown).get(), first.get());

    struct Row {
        const char *name;
        const IID *iid;
    };
    // Nothing answers for the notifier or the control helpers yet.
    const Row refused[] = {
        { "events notifier", &IID_IvrQtEventsNotifier },
        { "notifier's sink", &IID_IvrQtEventsNotifierInternal },
        { "object controller", &IID_IvrQtObjectController },
        { "module", &IID_IvrQtProxyModule },
        { "null identifier", &IID_NULL },
    };
    for (const Row &row : refused) {
        SCOPED_TRACE(row.name);
        void *answer = reinterpret_cast<void *>(1);
        EXPECT_EQ(E_NOINTERFACE, first->QueryInterface(*row.iid, &answer));
        EXPECT_EQ(nullptr, answer);
    }
}

TEST(ModuleLifecycle, SubscriberListsRefuseDuplicatesAndIgnoreUnknownRemovals)
{
    Journal journal; // outlives the module, which calls its subscribers at unload
    ModuleHost host;
    ASSERT_TRUE(host.load(modulePath())) << host.error();
    const Ref<IzkModuleIntf> module = host.moduleInterface();
    UnloadRecorder *subscriber = journal.subscriber("A");
    UnloadRecorder *stranger = journal.subscriber("stranger");

    EXPECT_EQ(S_OK, module->AddUnloadSubscriber(subscriber));
    EXPECT_EQ(E_FAIL, module->AddUnloadSubscriber(subscriber));
    EXPECT_EQ(S_OK, module->AddLateUnloadSubscriber(subscriber));
    EXPECT_EQ(E_FAIL, module->AddLateUnloadSubscriber(subscriber));
    EXPECT_EQ(S_OK, module->RemoveUnloadSubscriber(stranger));
    EXPECT_EQ(S_OK, module->RemoveLateUnloadSubscriber(stranger));
    // One reference for each list it stands in.
    EXPECT_EQ(3u, subscriber->references);
    EXPECT_EQ(1u, stranger->references);
}

TEST(ModuleLifecycle, UnloadNotifiesOldestFirstAndTheFirstListBeforeTheLateList)
{
    Journal journal;
    UnloadRecorder *a = journal.subscriber("A");
    UnloadRecorder *b = journal.subscriber("B");
    UnloadRecorder *c = journal.subscriber("C");
    UnloadRecorder *removed = journal.subscriber("removed");
    {
        ModuleHost host;
        ASSERT_TRUE(host.load(modulePath())) << host.error();
        const Ref<IzkModuleIntf> module = host.moduleInterface();
        ASSERT_EQ(S_OK, module->AddLateUnloadSubscriber(c));
        ASSERT_EQ(S_OK, module->AddUnloadSubscriber(a));
        ASSERT_EQ(S_OK, module->AddUnloadSubscriber(removed));
        ASSERT_EQ(S_OK, module->AddUnloadSubscriber(b));
        ASSERT_EQ(S_OK, module->AddLateUnloadSubscriber(a));
        ASSERT_EQ(S_OK, module->RemoveUnloadSubscriber(removed));
    }
    EXPECT_EQ((std::vector<std::string>{ "A", "B", "C", "A" }), journal.calls);
    for (const std::u16string &name : journal.moduleNames)
        EXPECT_EQ(u"libvrqtproxy.so", name);
    // The module let go of every subscriber when it went.
    for (UnloadRecorder *subscriber : { a, b, c, removed })
        EXPECT_EQ(1u, subscriber->references);
}

TEST(ModuleLifecycle, SubscriberThatRemovesItselfDoesNotDisturbTheOthers)
{
    Journal journal;
    UnloadRecorder *leaving = nullptr;
    leaving = journal.subscriber("leaving", [&](IzkModuleIntf *module) {
        EXPECT_EQ(S_OK, module->RemoveUnloadSubscriber(leaving));
    });
    UnloadRecorder *staying = journal.subscriber("staying");
    {
        ModuleHost host;
        ASSERT_TRUE(host.load(modulePath())) << host.error();
        const Ref<IzkModuleIntf> module = host.moduleInterface();
        ASSERT_EQ(S_OK, module->AddUnloadSubscriber(leaving));
        ASSERT_EQ(S_OK, module->AddUnloadSubscriber(staying));
    }
    EXPECT_EQ((std::vector<std::string>{ "leaving", "staying" }), journal.calls);
    EXPECT_EQ(1u, leaving->references);
    EXPECT_EQ(1u, staying->references);
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
        // Use what leaves traces in the process: the manager, controllers
        // in the listening form (listeners are QObjects of the module), the
        // fault guard and the main-widget search.
        QObject watched;
        QWidget window;
        ASSERT_TRUE(showAndWait(&window));
        const Ref<IvrQtObjectsHelper> objects = host.objects();
        const Ref<IvrQtWidgetsHelper> widgets = host.widgets();
        Ref<IvrQtObjectController> controller;
        ASSERT_EQ(S_OK, objects->CreateObjectController(&watched, reinterpret_cast<IvrQtObjectController **>(controller.out())));
        EXPECT_EQ(VARIANT_TRUE, controller->IsObjectAlive());
        EXPECT_EQ(VARIANT_FALSE, objects->IsQObject(reinterpret_cast<void *>(0x10)));
        NativeWindowId mainWindow = 0;
        EXPECT_EQ(S_OK, widgets->GetMainWindowHandle(&mainWindow));
        EXPECT_EQ(window.effectiveWinId(), mainWindow);
        controller.reset();
        EXPECT_TRUE(moduleIsMapped(path));
    }
    EXPECT_FALSE(moduleIsMapped(path));
}
