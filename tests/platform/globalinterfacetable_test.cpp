// The process's global interface table.
#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <vector>

#include "com_objects.h"
#include "platform/automation.h"

using com_objects::CountingUnknown;

namespace {

class GlobalTable : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        ASSERT_EQ(CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER,
                                   IID_IGlobalInterfaceTable, reinterpret_cast<void **>(&table)),
                  S_OK);
    }
    void TearDown() override
    {
        table->Release();
        CoUninitialize();
    }

    IGlobalInterfaceTable *table = nullptr;
};

} // namespace

TEST_F(GlobalTable, RegisteredInterfacesAreHeldUntilRevoked)
{
    CountingUnknown object(IID_IDispatch);
    DWORD cookie = 0;
    ASSERT_EQ(table->RegisterInterfaceInGlobal(&object, IID_IDispatch, &cookie), S_OK);
    EXPECT_NE(cookie, 0u);
    EXPECT_EQ(object.references, 2u);

    void *fetched = nullptr;
    EXPECT_EQ(table->GetInterfaceFromGlobal(cookie, IID_IDispatch, &fetched), S_OK);
    EXPECT_EQ(fetched, &object);
    EXPECT_EQ(object.references, 3u);
    static_cast<IUnknown *>(fetched)->Release();
    EXPECT_EQ(table->GetInterfaceFromGlobal(cookie, IID_IMarshal, &fetched), E_NOINTERFACE);
    EXPECT_EQ(fetched, nullptr);

    EXPECT_EQ(table->RevokeInterfaceFromGlobal(cookie), S_OK);
    EXPECT_EQ(object.references, 1u);
    EXPECT_EQ(table->RevokeInterfaceFromGlobal(cookie), E_INVALIDARG);
    EXPECT_EQ(table->GetInterfaceFromGlobal(cookie, IID_IUnknown, &fetched), E_INVALIDARG);
}

TEST_F(GlobalTable, BadRegistrationsAreRefused)
{
    CountingUnknown object;
    DWORD cookie = 7;
    EXPECT_EQ(table->RegisterInterfaceInGlobal(&object, IID_IDispatch, &cookie), E_NOINTERFACE);
    EXPECT_EQ(cookie, 0u);
    EXPECT_EQ(object.references, 1u);
    EXPECT_EQ(table->RegisterInterfaceInGlobal(nullptr, IID_IUnknown, &cookie), E_INVALIDARG);
    EXPECT_EQ(table->RegisterInterfaceInGlobal(&object, IID_IUnknown, nullptr), E_INVALIDARG);
    EXPECT_EQ(table->GetInterfaceFromGlobal(12345, IID_IUnknown, nullptr), E_INVALIDARG);
    void *self = nullptr;
    EXPECT_EQ(table->QueryInterface(IID_IUnknown, &self), S_OK);
    EXPECT_EQ(self, table);
    EXPECT_EQ(table->QueryInterface(IID_IDispatch, &self), E_NOINTERFACE);
}

TEST_F(GlobalTable, ThreadsShareTheTableAndCookiesStayUnique)
{
    constexpr int threads = 4;
    constexpr int rounds = 200;
    CountingUnknown object;
    std::vector<std::vector<DWORD>> cookies(threads);
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            IGlobalInterfaceTable *shared = nullptr;
            CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER, IID_IGlobalInterfaceTable,
                             reinterpret_cast<void **>(&shared));
            ASSERT_EQ(shared, table); // this thread is implicitly in the test's MTA
            for (int round = 0; round < rounds; ++round) {
                DWORD cookie = 0;
                ASSERT_EQ(shared->RegisterInterfaceInGlobal(&object, IID_IUnknown, &cookie), S_OK);
                cookies[t].push_back(cookie);
                void *fetched = nullptr;
                ASSERT_EQ(shared->GetInterfaceFromGlobal(cookie, IID_IUnknown, &fetched), S_OK);
                static_cast<IUnknown *>(fetched)->Release();
                if (round % 2) {
                    ASSERT_EQ(shared->RevokeInterfaceFromGlobal(cookie), S_OK);
                }
            }
        });
    }
    for (std::thread &worker : workers)
        worker.join();
    std::set<DWORD> kept;
    for (const auto &list : cookies) {
        for (size_t i = 0; i < list.size(); i += 2)
            EXPECT_TRUE(kept.insert(list[i]).second) << "cookie handed out twice while registered";
    }
    EXPECT_EQ(object.references, 1u + kept.size());
    for (const DWORD cookie : kept)
        EXPECT_EQ(table->RevokeInterfaceFromGlobal(cookie), S_OK);
    EXPECT_EQ(object.references, 1u);
}
