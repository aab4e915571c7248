// What the host's scripting tests with the module share: the agent's view of
// the module with its scripting session, and short forms of reading,
// writing and calling through IDispatch.
#pragma once

#include <gtest/gtest.h>

#include <QString>

#include <chrono>
#include <memory>
#include <vector>

#include "host/agent/guiexecutor.h"
#include "host/agent/moduleview.h"
#include "host/agent/objectdelivery.h"
#include "host/scripting/dispatchcalls.h"
#include "host/scripting/scriptsession.h"
#include "host/scripting/variants.h"

namespace scripttest {

using vrqt::host::Ref;

// A VARIANT the test owns.
struct Variant
{
    Variant() { VariantInit(&value); }
    ~Variant() { VariantClear(&value); }
    Variant(const Variant &) = delete;
    Variant &operator=(const Variant &) = delete;
    VARIANT value;
};

// The module loaded as the agent loads it, with its scripting session.
class ScriptingTest : public ::testing::Test
{
protected:
    // A call on another thread waits this long.
    static constexpr std::chrono::milliseconds kThreadLimit{ 300 };

    void SetUp() override
    {
        session = module.scripting();
        ASSERT_TRUE(session) << module.error();
    }

    void TearDown() override
    {
        session.reset();
        module.unload();
    }

    Ref<IDispatch> scriptable(QObject *object)
    {
        IDispatch *dispatch = nullptr;
        EXPECT_EQ(S_OK, session->objectDispatch(object, &dispatch));
        return Ref<IDispatch>(dispatch);
    }

    static HRESULT get(IDispatch *object, const QString &name, Variant &result)
    {
        VariantClear(&result.value);
        return vrqt::scripting::ReadMember(object, name, &result.value);
    }

    // arguments are taken over, first argument first.
    static HRESULT invoke(IDispatch *object, const QString &name, WORD flags, std::vector<VARIANT> arguments, VARIANT *result)
    {
        DISPID id = DISPID_UNKNOWN;
        HRESULT hr = vrqt::scripting::MemberIdOf(object, name, &id);
        if (SUCCEEDED(hr))
            hr = vrqt::scripting::InvokeMember(object, id, flags, arguments, result);
        for (VARIANT &argument : arguments)
            VariantClear(&argument);
        return hr;
    }

    // The text a value object gives as its value; "<vt>" for anything else.
    static QString textOf(const Variant &value)
    {
        if (value.value.vt != VT_DISPATCH)
            return QStringLiteral("<%1>").arg(vrqt::scripting::VarTypeName(value.value.vt));
        Variant text;
        std::vector<VARIANT> none;
        vrqt::scripting::InvokeMember(value.value.pdispVal, DISPID_VALUE, DISPATCH_PROPERTYGET, none, &text.value);
        return vrqt::scripting::FromBstr(text.value.bstrVal);
    }

    vrqt::agent::GuiExecutor executor;
    vrqt::agent::ObjectDelivery delivery{ executor, kThreadLimit };
    vrqt::agent::ModuleView module{ delivery };
    std::shared_ptr<vrqt::scripting::ScriptSession> session;
};

} // namespace scripttest
