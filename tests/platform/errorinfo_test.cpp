// Error objects and the per-thread current error.
#include <gtest/gtest.h>

#include <thread>

#include "platform/automation.h"

namespace {

IErrorInfo *makeError(const char16_t *description)
{
    ICreateErrorInfo *creator = nullptr;
    EXPECT_EQ(CreateErrorInfo(&creator), S_OK);
    creator->SetDescription(const_cast<LPOLESTR>(description));
    IErrorInfo *error = nullptr;
    EXPECT_EQ(creator->QueryInterface(IID_IErrorInfo, reinterpret_cast<void **>(&error)), S_OK);
    creator->Release();
    return error;
}

std::u16string description(IErrorInfo *error)
{
    BSTR text = nullptr;
    EXPECT_EQ(error->GetDescription(&text), S_OK);
    const std::u16string copy = text ? std::u16string(text, SysStringLen(text)) : u"<null>";
    SysFreeString(text);
    return copy;
}

ULONG referenceCount(IUnknown *object)
{
    object->AddRef();
    return object->Release();
}

} // namespace

TEST(ErrorInfo, OneObjectBehindBothInterfaces)
{
    ICreateErrorInfo *creator = nullptr;
    ASSERT_EQ(CreateErrorInfo(&creator), S_OK);
    EXPECT_EQ(creator->SetGUID(IID_IDispatch), S_OK);
    IErrorInfo *error = nullptr;
    ASSERT_EQ(creator->QueryInterface(IID_IErrorInfo, reinterpret_cast<void **>(&error)), S_OK);
    IUnknown *first = nullptr, *second = nullptr;
    ISupportErrorInfo *support = nullptr;
    ASSERT_EQ(creator->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(&first)), S_OK);
    ASSERT_EQ(error->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(&second)), S_OK);
    EXPECT_EQ(first, second);
    ASSERT_EQ(error->QueryInterface(IID_ISupportErrorInfo, reinterpret_cast<void **>(&support)), S_OK);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IDispatch), S_OK);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IUnknown), S_FALSE);
    void *none = &error;
    EXPECT_EQ(error->QueryInterface(IID_IMarshal, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
    for (IUnknown *object : { first, second, static_cast<IUnknown *>(support) })
        object->Release();
    error->Release();
    EXPECT_EQ(creator->Release(), 0u);
}

TEST(ErrorInfo, UnsetFieldsReadAsNullAndNullArgumentsAreRefused)
{
    ICreateErrorInfo *creator = nullptr;
    ASSERT_EQ(CreateErrorInfo(&creator), S_OK);
    IErrorInfo *error = nullptr;
    ASSERT_EQ(creator->QueryInterface(IID_IErrorInfo, reinterpret_cast<void **>(&error)), S_OK);
    EXPECT_EQ(description(error), u"<null>");
    creator->SetDescription(const_cast<LPOLESTR>(u"x"));
    EXPECT_EQ(description(error), u"x");
    creator->SetDescription(nullptr);
    EXPECT_EQ(description(error), u"<null>");
    EXPECT_EQ(error->GetSource(nullptr), E_INVALIDARG);
    EXPECT_EQ(error->GetGUID(nullptr), E_INVALIDARG);
    EXPECT_EQ(error->GetHelpContext(nullptr), E_INVALIDARG);
    EXPECT_EQ(CreateErrorInfo(nullptr), E_INVALIDARG);
    error->Release();
    creator->Release();
}

TEST(ErrorInfo, SetTakesAReferenceGetHandsItOverNullClears)
{
    IErrorInfo *first = makeError(u"first");
    IErrorInfo *second = makeError(u"second");
    EXPECT_EQ(SetErrorInfo(0, first), S_OK);
    EXPECT_EQ(referenceCount(first), 2u);
    IErrorInfo *fetched = nullptr;
    EXPECT_EQ(GetErrorInfo(0, &fetched), S_OK);
    EXPECT_EQ(fetched, first);
    EXPECT_EQ(referenceCount(first), 2u); // the slot's reference is now ours
    fetched->Release();
    EXPECT_EQ(GetErrorInfo(0, &fetched), S_FALSE);
    EXPECT_EQ(fetched, nullptr);

    SetErrorInfo(0, first);
    SetErrorInfo(0, second);
    EXPECT_EQ(referenceCount(first), 1u) << "the replaced error is released";
    EXPECT_EQ(SetErrorInfo(0, nullptr), S_OK);
    EXPECT_EQ(referenceCount(second), 1u) << "null clears the slot";
    EXPECT_EQ(GetErrorInfo(0, &fetched), S_FALSE);
    EXPECT_EQ(SetErrorInfo(1, first), E_INVALIDARG);
    EXPECT_EQ(GetErrorInfo(1, &fetched), E_INVALIDARG);
    EXPECT_EQ(GetErrorInfo(0, nullptr), E_INVALIDARG);
    EXPECT_EQ(first->Release(), 0u);
    EXPECT_EQ(second->Release(), 0u);
}

TEST(ErrorInfo, EachThreadHasItsOwnSlotReleasedWhenItEnds)
{
    IErrorInfo *mine = makeError(u"main");
    IErrorInfo *theirs = makeError(u"worker");
    SetErrorInfo(0, mine);
    std::thread([theirs] {
        IErrorInfo *fetched = nullptr;
        EXPECT_EQ(GetErrorInfo(0, &fetched), S_FALSE);
        SetErrorInfo(0, theirs);
    }).join();
    EXPECT_EQ(referenceCount(theirs), 1u); // released with the thread
    IErrorInfo *fetched = nullptr;
    ASSERT_EQ(GetErrorInfo(0, &fetched), S_OK);
    EXPECT_EQ(description(fetched), u"main");
    fetched->Release();
    mine->Release();
    theirs->Release();
}
