// Apartments, object contexts, message filters, object creation and disconnection.
#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "com_objects.h"
#include "platform/automation.h"

using com_objects::CountingMessageFilter;
using com_objects::CountingUnknown;

namespace {

constexpr HRESULT coErrorNotSupported = _HR(0x80004021);

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

// The apartment a new thread sees after entering coInit (or none: -1); while
// it is inside, inside() runs on it.
ApartmentView onThread(int coInit, const std::function<void()> &inside = {})
{
    ApartmentView view{};
    std::thread([&] {
        if (coInit >= 0) {
            EXPECT_EQ(CoInitializeEx(nullptr, DWORD(coInit)), S_OK);
        }
        view = currentApartment();
        if (inside)
            inside();
        if (coInit >= 0)
            CoUninitialize();
    }).join();
    return view;
}

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
    EXPECT_EQ(onThread(-1).result, CO_E_NOTINITIALIZED) << "no thread in the MTA yet";
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    CoUninitialize();
    ApartmentView implicitMta{};
    const ApartmentView views[] = {
        onThread(COINIT_APARTMENTTHREADED), // the first STA left: the main STA passes on
        onThread(COINIT_MULTITHREADED, [&] { implicitMta = onThread(-1); }),
    };
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    const ApartmentView later = onThread(COINIT_APARTMENTTHREADED);
    const struct {
        const char *name;
        ApartmentView view;
        APTTYPE type;
        THDTYPE threadType;
    } rows[] = {
        { "first STA of the process", currentApartment(), APTTYPE_MAINSTA, THDTYPE_PROCESSMESSAGES },
        { "main STA once the first left", views[0], APTTYPE_MAINSTA, THDTYPE_PROCESSMESSAGES },
        { "later STA", later, APTTYPE_STA, THDTYPE_PROCESSMESSAGES },
        { "MTA", views[1], APTTYPE_MTA, THDTYPE_BLOCKMESSAGES },
        { "implicitly MTA", implicitMta, APTTYPE_MTA, THDTYPE_BLOCKMESSAGES },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.view.result, S_OK);
        EXPECT_EQ(row.view.type, row.type);
        EXPECT_EQ(row.view.threadType, row.threadType);
    }
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
    EXPECT_EQ(info->GetCurrentLogicalThreadId(&again), S_OK);
    EXPECT_EQ(again, first);
    EXPECT_NE(first, GUID_NULL);
    onThread(COINIT_MULTITHREADED, [&other] {
        IComThreadingInfo *threadInfo = nullptr;
        if (SUCCEEDED(CoGetObjectContext(IID_IComThreadingInfo, reinterpret_cast<void **>(&threadInfo)))) {
            threadInfo->GetCurrentLogicalThreadId(&other);
            threadInfo->Release();
        }
    });
    EXPECT_NE(other, GUID_NULL);
    EXPECT_NE(other, first);
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
