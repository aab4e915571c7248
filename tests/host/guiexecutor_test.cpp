// Work handed from another thread to the GUI thread: run there, timed out,
// failed, or abandoned when the executor or the application goes away.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QThread>

#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

#include "host/agent/guiexecutor.h"

using namespace std::chrono_literals;
using vrqt::agent::GuiExecutor;
using Outcome = GuiExecutor::Outcome;

namespace {

int argumentCount = 1;
char programName[] = "guiexecutor_test";
char *arguments[] = { programName, nullptr };

// The GUI thread's side: runs the event loop until the future is ready.
template <typename T>
T serveUntilReady(std::future<T> &result)
{
    const auto end = std::chrono::steady_clock::now() + 30s;
    while (result.wait_for(0s) != std::future_status::ready && std::chrono::steady_clock::now() < end)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    EXPECT_EQ(result.wait_for(0s), std::future_status::ready);
    return result.get();
}

} // namespace

TEST(GuiExecutor, RunsWorkOnItsOwnThreadAndReportsHowItEnded)
{
    QCoreApplication application(argumentCount, arguments);
    GuiExecutor executor;
    struct Row {
        const char *name;
        std::function<void()> work;
        Outcome outcome;
    } rows[] = {
        { "work that returns", [] {}, Outcome::Done },
        { "work that throws", [] { throw std::runtime_error("no"); }, Outcome::Failed },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        std::atomic<QThread *> ranOn{ nullptr };
        auto work = row.work;
        std::future<Outcome> outcome = std::async(std::launch::async, [&] {
            return executor.run([&ranOn, work] { ranOn = QThread::currentThread(); work(); }, 30s);
        });
        EXPECT_EQ(serveUntilReady(outcome), row.outcome);
        EXPECT_EQ(ranOn.load(), application.thread());
    }
}

TEST(GuiExecutor, GivesUpOnABusyGuiThreadAndTheWorkRunsLater)
{
    QCoreApplication application(argumentCount, arguments);
    GuiExecutor executor;
    auto ran = std::make_shared<std::atomic<bool>>(false);
    // The GUI thread serves no events while the wait runs.
    EXPECT_EQ(std::async(std::launch::async, [&] { return executor.run([ran] { *ran = true; }, 50ms); }).get(), Outcome::TimedOut);
    EXPECT_FALSE(*ran);
    QCoreApplication::processEvents();
    EXPECT_TRUE(*ran) << "queued work that owns its state still runs";
}

TEST(GuiExecutor, ClosingWakesAWaiterAndRefusesNewWork)
{
    QCoreApplication application(argumentCount, arguments);
    GuiExecutor executor;
    std::promise<void> waiting;
    std::future<Outcome> outcome = std::async(std::launch::async, [&] {
        waiting.set_value();
        return executor.run([] { ADD_FAILURE() << "work ran after close"; }, 30s);
    });
    waiting.get_future().wait();
    executor.close();
    EXPECT_EQ(outcome.get(), Outcome::Abandoned);
    EXPECT_EQ(std::async(std::launch::async, [&] { return executor.run([] {}, 30s); }).get(), Outcome::Abandoned);
    QCoreApplication::processEvents();
}

TEST(GuiExecutor, WorkThatQtDiscardsIsAbandonedAndWakesItsWaiter)
{
    QCoreApplication application(argumentCount, arguments);
    GuiExecutor executor;
    std::future<Outcome> outcome = std::async(std::launch::async, [&] {
        return executor.run([] { ADD_FAILURE() << "discarded work ran"; }, 30s);
    });
    // What Qt does to the events of a receiver that goes away, done here to
    // whatever the waiting thread has queued so far.
    const auto end = std::chrono::steady_clock::now() + 30s;
    while (outcome.wait_for(10ms) != std::future_status::ready && std::chrono::steady_clock::now() < end)
        QCoreApplication::removePostedEvents(&executor);
    ASSERT_EQ(outcome.wait_for(0s), std::future_status::ready);
    EXPECT_EQ(outcome.get(), Outcome::Abandoned);
    QCoreApplication::processEvents();
}

TEST(GuiExecutor, DeletingTheExecutorDropsWorkPostedToIt)
{
    QCoreApplication application(argumentCount, arguments);
    auto executor = std::make_unique<GuiExecutor>();
    auto ran = std::make_shared<std::atomic<bool>>(false);
    std::thread([&] { executor->post([ran] { *ran = true; }); }).join();
    executor.reset();
    QCoreApplication::processEvents();
    EXPECT_FALSE(*ran);
}
