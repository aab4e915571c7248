// A test of one program with the agent preloaded: started by the test,
// asked to quit and waited for after it.
#pragma once

#include <gtest/gtest.h>

#include <chrono>

#include "agentharness.h"

namespace vrqt::testing {

class ProgramTest : public ::testing::Test
{
protected:
    // Returns once the agent answers from the program's event loop, when
    // its window is built.
    void start(const std::vector<std::string> &command)
    {
        std::string failure;
        ASSERT_TRUE(harness.start(command, {}, &failure)) << failure;
        ASSERT_TRUE(call("status"));
    }

    void TearDown() override
    {
        call("quit");
        harness.program().waitUntil(protocol::Deadline::after(std::chrono::seconds(30)));
    }

    std::optional<protocol::Response> call(const char *request, const QJsonObject &params = {})
    {
        return harness.call(id++, QString::fromUtf8(request), params);
    }

    AgentHarness harness;
    int id = 1;
};

} // namespace vrqt::testing
