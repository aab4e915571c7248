#include "host/agent/objectdelivery.h"

#include <QThread>

#include <memory>

#include "host/agent/guiexecutor.h"

namespace vrqt::agent {

HRESULT ObjectDelivery::deliver(QObject *object, std::function<HRESULT()> work)
{
    if (!object || !work)
        return E_POINTER;
    QThread *thread = object->thread();
    if (thread == QThread::currentThread()) {
        try {
            return work();
        } catch (...) {
            return E_UNEXPECTED;
        }
    }
    // An ended thread runs no more calls; the object stays with it.
    if (!thread || thread->isFinished())
        return RPC_E_DISCONNECTED;
    auto outcome = std::make_shared<HRESULT>(E_UNEXPECTED);
    switch (executor.run([outcome, work] { *outcome = work(); }, limit, object)) {
    case GuiExecutor::Outcome::Done:
        return *outcome;
    case GuiExecutor::Outcome::Failed:
        return E_UNEXPECTED;
    case GuiExecutor::Outcome::TimedOut:
    case GuiExecutor::Outcome::Modal: // not asked for work on another object's thread
        return HRESULT_FROM_WIN32(ERROR_TIMEOUT);
    case GuiExecutor::Outcome::Abandoned:
        break;
    }
    return RPC_E_DISCONNECTED;
}

} // namespace vrqt::agent
