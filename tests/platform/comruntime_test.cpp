// Apartments, object contexts, message filters, object creation and disconnection.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "com_objects.h"
#include "platform/automation.h"

using com_objects::CountingMessageFilter;
using com_objects::CountingUnknown;

namespace {

constexpr HRESULT coErrorNotSupported = _HR(0x80004021);
constexpr auto waitLimit = std::chrono::seconds(10);

struct ApartmentView {
    HRESULT result;
    APTTYPE type;
    THDTYPE threadType;
};

ApartmentView currentApartment()
{
    ApartmentView view{ E_FAIL, APTTYPE_CURRENT, THDTYPE_BLOCKMESSAGES };
    IComThreadingInfo *info = nullptr;
    view.result = CoGetObjectContext(IID_IComThreadingInfo, reinterpret_cast<void **>(&info));
    if (FAILED(view.result))
        return view;
    view.result = info->GetCurrentApartmentType(&view.type);
    EXPECT_EQ(info->GetCurrentThreadType(&view.threadType), view.result);
    info->Release();
    return view;
}

// Runs work on a thread that stays in the given apartment (or none: -1)
// until the object goes.
class ApartmentThread {
public:
    explicit ApartmentThread(int coInit) : m_thread([this, coInit] { serve(coInit); })
    {
        std::unique_lock<std::mutex> lock(m_lock);
        EXPECT_TRUE(m_changed.wait_for(lock, waitLimit, [this] { return m_entered; }));
    }
    ~ApartmentThread()
    {
        {
            std::lock_guard<std::mutex> lock(m_lock);
            m_stop = true;
        }
        m_changed.notify_all();
        m_thread.join();
    }
    void run(std::function<void()> work)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        m_work = std::move(work);
        m_changed.notify_all();
        ASSERT_TRUE(m_changed.wait_for(lock, waitLimit, [this] { return !m_work; }));
    }

private:
    void serve(int coInit)
    {
        if (coInit >= 0) {
            EXPECT_EQ(CoInitializeEx(nullptr, DWORD(coInit)), S_OK);
        }
        std::unique_lock<std::mutex> lock(m_lock);
        m_entered = true;
        m_changed.notify_all();
        for (;;) {
            m_changed.wait(lock, [this] { return m_stop || m_work; });
            if (!m_work)
                break;
            m_work();
            m_work = nullptr;
            m_changed.notify_all();
        }
        lock.unlock();
        if (coInit >= 0)
            CoUninitialize();
    }

    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_entered = false;
    bool m_stop = false;
    std::function<void()> m_work;
    std::thread m_thread;
};

} // namespace

TEST(ComRuntime, InitializationIsCountedPerThreadAndKeepsItsModel)
{
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), RPC_E_CHANGED_MODE);
    CoUninitialize();
    EXPECT_EQ(currentApartment().type, APTTYPE_MTA); // one initialization left
    CoUninitialize();
    EXPECT_EQ(currentApartment().result, CO_E_NOTINITIALIZED);
    CoUninitialize(); // unbalanced: ignored
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | 0x4 /* DISABLE_OLE1DDE */), S_OK);
    CoUninitialize();
    int reserved = 0;
    EXPECT_EQ(CoInitializeEx(&reserved, COINIT_MULTITHREADED), E_INVALIDARG);
    EXPECT_EQ(CoInitializeEx(nullptr, 0x100), E_INVALIDARG);
    EXPECT_EQ(currentApartment().result, CO_E_NOTINITIALIZED);
}

TEST(ComRuntime, ContextsAnswerTheApartmentEachThreadEntered)
{
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    {
        ApartmentThread uninitializedAlone(-1);
        uninitializedAlone.run([] { EXPECT_EQ(currentApartment().result, CO_E_NOTINITIALIZED); });
    }
    ApartmentThread secondSta(COINIT_APARTMENTTHREADED);
    ApartmentThread mta(COINIT_MULTITHREADED);
    ApartmentThread uninitialized(-1);
    struct Row {
        const char *name;
        std::function<ApartmentView()> probe;
        APTTYPE type;
        THDTYPE threadType;
    } rows[] = {
        { "first STA of the process", [] { return currentApartment(); }, APTTYPE_MAINSTA, THDTYPE_PROCESSMESSAGES },
        { "later STA", [&] { ApartmentView view{}; secondSta.run([&] { view = currentApartment(); }); return view; },
          APTTYPE_STA, THDTYPE_PROCESSMESSAGES },
        { "MTA", [&] { ApartmentView view{}; mta.run([&] { view = currentApartment(); }); return view; },
          APTTYPE_MTA, THDTYPE_BLOCKMESSAGES },
        { "implicitly MTA", [&] { ApartmentView view{}; uninitialized.run([&] { view = currentApartment(); }); return view; },
          APTTYPE_MTA, THDTYPE_BLOCKMESSAGES },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const ApartmentView view = row.probe();
        EXPECT_EQ(view.result, S_OK);
        EXPECT_EQ(view.type, row.type);
        EXPECT_EQ(view.threadType, row.threadType);
    }
    CoUninitialize();
}

TEST(ComRuntime, MainStaPassesOnWhenItsThreadLeaves)
{
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    CoUninitialize();
    ApartmentThread next(COINIT_APARTMENTTHREADED);
    next.run([] { EXPECT_EQ(currentApartment().type, APTTYPE_MAINSTA); });
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    EXPECT_EQ(currentApartment().type, APTTYPE_STA);
    CoUninitialize();
}

TEST(ComRuntime, ContextOffersThreadingInfoOnly)
{
    void *object = &object;
    EXPECT_EQ(CoGetObjectContext(IID_IComThreadingInfo, &object), CO_E_NOTINITIALIZED);
    EXPECT_EQ(object, nullptr);
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    EXPECT_EQ(CoGetObjectContext(IID_IMarshal, &object), E_NOINTERFACE);
    EXPECT_EQ(CoGetObjectContext(IID_IComThreadingInfo, nullptr), E_POINTER);
    IComThreadingInfo *info = nullptr;
    ASSERT_EQ(CoGetObjectContext(IID_IComThreadingInfo, reinterpret_cast<void **>(&info)), S_OK);
    EXPECT_EQ(info->GetCurrentApartmentType(nullptr), E_INVALIDARG);
    GUID first{}, again{}, other{};
    EXPECT_EQ(info->GetCurrentLogicalThreadId(&first), S_OK);
    EXPECT_NE(first, GUID_NULL);
    EXPECT_EQ(info->GetCurrentLogicalThreadId(&again), S_OK);
    EXPECT_EQ(again, first);
    std::thread([&other] {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        IComThreadingInfo *threadInfo = nullptr;
        if (SUCCEEDED(CoGetObjectContext(IID_IComThreadingInfo, reinterpret_cast<void **>(&threadInfo)))) {
            threadInfo->GetCurrentLogicalThreadId(&other);
            threadInfo->Release();
        }
        CoUninitialize();
    }).join();
    EXPECT_NE(other, GUID_NULL);
    EXPECT_NE(other, first);
    EXPECT_EQ(info->SetCurrentLogicalThreadId(IID_IDispatch), S_OK);
    EXPECT_EQ(info->GetCurrentLogicalThreadId(&again), S_OK);
    EXPECT_EQ(again, IID_IDispatch);
    EXPECT_EQ(info->Release(), 0u);
    CoUninitialize();
}

TEST(ComRuntime, MessageFiltersBelongToSingleThreadedApartments)
{
    CountingMessageFilter first, second;
    IMessageFilter *previous = reinterpret_cast<IMessageFilter *>(&first);
    EXPECT_EQ(CoRegisterMessageFilter(&second, &previous), coErrorNotSupported);
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    EXPECT_EQ(CoRegisterMessageFilter(&second, &previous), coErrorNotSupported);
    EXPECT_EQ(previous, &first); // left alone
    EXPECT_EQ(second.references, 1u);
    CoUninitialize();

    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    EXPECT_EQ(CoRegisterMessageFilter(&first, &previous), S_OK);
    EXPECT_EQ(previous, nullptr);
    EXPECT_EQ(first.references, 2u);
    EXPECT_EQ(CoRegisterMessageFilter(&second, &previous), S_OK);
    EXPECT_EQ(previous, &first); // handed over with its reference
    EXPECT_EQ(first.references, 2u);
    previous->Release();
    EXPECT_EQ(CoRegisterMessageFilter(nullptr, nullptr), S_OK); // the replaced one is released
    EXPECT_EQ(second.references, 1u);
    EXPECT_EQ(CoRegisterMessageFilter(&second, nullptr), S_OK);
    CoUninitialize();
    EXPECT_EQ(second.references, 1u); // released when the apartment is left
}

TEST(ComRuntime, OnlyTheGlobalInterfaceTableCanBeCreated)
{
    void *object = &object;
    EXPECT_EQ(CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER, IID_IGlobalInterfaceTable,
                               &object),
              CO_E_NOTINITIALIZED);
    EXPECT_EQ(object, nullptr);
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    void *table = nullptr;
    void *again = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER, IID_IGlobalInterfaceTable,
                               &table), S_OK);
    EXPECT_EQ(CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_ALL, IID_IUnknown, &again), S_OK);
    EXPECT_EQ(again, table);
    CountingUnknown outer;
    struct Row {
        const char *name;
        CLSID clsid;
        IUnknown *outer;
        DWORD context;
        IID iid;
        HRESULT result;
    } rows[] = {
        { "other class", CLSID_InProcFreeMarshaler, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, REGDB_E_CLASSNOTREG },
        { "out of process only", CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_LOCAL_SERVER, IID_IUnknown,
          REGDB_E_CLASSNOTREG },
        { "aggregated", CLSID_StdGlobalInterfaceTable, &outer, CLSCTX_INPROC_SERVER, IID_IUnknown, CLASS_E_NOAGGREGATION },
        { "other interface", CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, E_NOINTERFACE },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        object = &object;
        EXPECT_EQ(CoCreateInstance(row.clsid, row.outer, row.context, row.iid, &object), row.result);
        EXPECT_EQ(object, nullptr);
    }
    EXPECT_EQ(CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, nullptr),
              E_POINTER);
    EXPECT_EQ(outer.references, 1u);
    CoUninitialize();
}

TEST(ComRuntime, DisconnectGoesToTheObjectsOwnMarshaler)
{
    CountingUnknown plain;
    EXPECT_EQ(CoDisconnectObject(nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(CoDisconnectObject(&plain, 0), CO_E_NOTINITIALIZED);
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    EXPECT_EQ(CoDisconnectObject(&plain, 0), S_OK);
    IUnknown *marshaler = nullptr;
    ASSERT_EQ(CoCreateFreeThreadedMarshaler(nullptr, &marshaler), S_OK);
    EXPECT_EQ(CoDisconnectObject(marshaler, 0), S_OK);
    EXPECT_EQ(marshaler->Release(), 0u);
    EXPECT_EQ(plain.references, 1u);
    CoUninitialize();
}
