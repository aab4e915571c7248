// The agent's way onto an object's thread for scripting calls: its
// executor, with a limit well inside a request's own, so that a request
// whose object's thread is busy still answers in time.
#pragma once

#include <chrono>

#include "host/scripting/threaddelivery.h"

namespace vrqt::agent {

class GuiExecutor;

class ObjectDelivery final : public scripting::ThreadDelivery
{
public:
    ObjectDelivery(GuiExecutor &executor, std::chrono::milliseconds limit) : executor(executor), limit(limit) {}

    // Any thread; see ThreadDelivery. E_UNEXPECTED when work threw.
    HRESULT deliver(QObject *object, std::function<HRESULT()> work) override;

private:
    GuiExecutor &executor;
    const std::chrono::milliseconds limit;
};

} // namespace vrqt::agent
