// The multi-thread wrapper: an aggregated inner object that forwards each
// call to its outer object under a lock of its own.
#include <gtest/gtest.h>

#include <condition_variable>
#include <thread>

#include "recordingtypeinfo.h"

using namespace typeinfotest;
using vrOpenAppHook::CMultiThreadTypeInfoImpl;

namespace {

struct Wrapped {
    RecordingTypeInfo::Made made = RecordingTypeInfo::Create({ { u"Run", MemberKind::Method } });
    ComPtr<ITypeInfo> side; // the forwarding ITypeInfo
    MEMBERID run = MEMBERID_NIL;
    int instance = 0;

    Wrapped()
    {
        EXPECT_EQ(made.wrapper->QueryInterface(IID_ITypeInfo, side.putVoid()), S_OK);
        LPOLESTR names[] = { const_cast<LPOLESTR>(u"run") };
        EXPECT_EQ(side->GetIDsOfNames(names, 1, &run), S_OK);
    }
    HRESULT invoke() { return side->Invoke(&instance, run, DISPATCH_METHOD, nullptr, nullptr, nullptr, nullptr); }
};

TEST(MultiThreadTypeInfo, InnerObjectOfItsOuterObject)
{
    IUnknown *result = reinterpret_cast<IUnknown *>(uintptr_t(0x10));
    EXPECT_EQ(vrOpenAppHook::CreateMultiThreadTypeInfo(nullptr, &result), E_INVALIDARG);
    EXPECT_EQ(result, nullptr);
    const LONG before = ProxyModule().GetLockCount();
    {
        Wrapped wrapped;
        EXPECT_EQ(vrOpenAppHook::CreateMultiThreadTypeInfo(wrapped.made.description.get(), nullptr), E_POINTER);
        EXPECT_EQ(ProxyModule().GetLockCount(), before + 2) << "the description and its wrapper";
        IUnknown *outer = static_cast<ITypeInfo *>(wrapped.made.description.get());
        ComPtr<IUnknown> inner, identity, none;
        ASSERT_EQ(wrapped.made.wrapper->QueryInterface(IID_IUnknown, inner.putVoid()), S_OK);
        EXPECT_EQ(inner.get(), wrapped.made.wrapper.get()) << "the inner IUnknown answers for itself";
        EXPECT_EQ(wrapped.made.wrapper->QueryInterface(IID_IMarshal, none.putVoid()), E_NOINTERFACE);
        ASSERT_EQ(wrapped.side->QueryInterface(IID_IUnknown, identity.putVoid()), S_OK);
        EXPECT_EQ(identity.get(), outer) << "the forwarding side's IUnknown is the outer object's";
        const ULONG outerCount = outer->AddRef();
        outer->Release();
        EXPECT_EQ(wrapped.side->AddRef(), outerCount) << "counted on the outer object";
        wrapped.side->Release();
        EXPECT_EQ(static_cast<CMultiThreadTypeInfoImpl *>(wrapped.side.get())->GetControllingUnknown(), outer);
        EXPECT_EQ(RecordingTypeInfo::SlotOf(&CMultiThreadTypeInfoImpl::GetControllingUnknown), 22);
    }
    EXPECT_EQ(ProxyModule().GetLockCount(), before);
}

TEST(MultiThreadTypeInfo, ForwardsEachCallToTheTarget)
{
    Wrapped wrapped;
    TYPEATTR *attributes = nullptr;
    ASSERT_EQ(wrapped.side->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->cFuncs, 1);
    wrapped.side->ReleaseTypeAttr(attributes);
    EXPECT_EQ(wrapped.made.description->releasedTypeAttrs, 1);
    EXPECT_EQ(wrapped.side->GetNames(wrapped.run, nullptr, 0, nullptr), E_NOTIMPL);
    EXPECT_EQ(wrapped.invoke(), S_OK);
    ASSERT_EQ(wrapped.made.description->Calls().size(), 1u);
    // A call from inside a forwarded call on the same thread passes.
    MEMBERID again = MEMBERID_NIL;
    wrapped.made.description->duringInvoke = [&] {
        LPOLESTR names[] = { const_cast<LPOLESTR>(u"RUN") };
        wrapped.side->GetIDsOfNames(names, 1, &again);
    };
    EXPECT_EQ(wrapped.invoke(), S_OK);
    EXPECT_EQ(again, wrapped.run);
}

TEST(MultiThreadTypeInfo, CallsThroughOneWrapperRunOneAtATime)
{
    Wrapped wrapped;
    std::mutex lock;
    std::condition_variable changed;
    int inside = 0, entered = 0;
    bool secondCalling = false, overlapped = false;
    wrapped.made.description->duringInvoke = [&] {
        std::unique_lock<std::mutex> held(lock);
        overlapped = overlapped || ++inside > 1;
        changed.notify_all();
        if (++entered == 1) {
            // The first call stays inside until the second has called, and a
            // while longer: the second must not come in meanwhile.
            changed.wait_for(held, std::chrono::seconds(10), [&] { return secondCalling; });
            changed.wait_for(held, std::chrono::milliseconds(200), [&] { return inside > 1; });
        }
        --inside;
    };
    std::thread first([&] { wrapped.invoke(); });
    std::thread second([&] {
        {
            std::unique_lock<std::mutex> held(lock);
            changed.wait_for(held, std::chrono::seconds(10), [&] { return entered > 0; });
            secondCalling = true;
            changed.notify_all();
        }
        wrapped.invoke();
    });
    first.join();
    second.join();
    EXPECT_EQ(entered, 2);
    EXPECT_FALSE(overlapped);
}

} // namespace
