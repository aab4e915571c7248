// Hands work from the agent's serving thread to the application's GUI thread
// (or to the thread of another object) and waits for it with a time limit.
// Work that the thread never runs (the application is closing, the executor
// or the object is gone) is reported as abandoned, so the waiting thread
// never hangs on a dead event loop.
#pragma once

#include <QObject>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

namespace vrqt::agent {

class GuiExecutor : public QObject
{
    Q_OBJECT
public:
    // Modal: the work is still running, inside an event loop of a modal
    // dialog or a popup menu it opened; it goes on there, and later work
    // reaches the GUI thread through that loop.
    enum class Outcome { Done, Failed, TimedOut, Abandoned, Modal };

    // How often a thread waiting for the GUI thread asks whether the work
    // it waits for sits in a modal loop.
    static constexpr std::chrono::milliseconds kModalProbeInterval{ 50 };

    // GUI thread: the executor lives there and runs work there.
    GuiExecutor();
    ~GuiExecutor() override;

    // Any thread but context's: runs work on the thread of context (the GUI
    // thread when null) and waits at most limit. context must be alive when
    // the call is made. Failed: the work threw. After TimedOut or Modal the
    // work may still run later or on; it must own what it touches (capture by
    // value or shared pointer).
    Outcome run(std::function<void()> work, std::chrono::milliseconds limit, QObject *context = nullptr);
    // Serving thread: queues work for the GUI thread without waiting.
    void post(std::function<void()> work);
    // GUI thread: runs no further work and wakes every waiting thread.
    void close();

    // GUI thread: whether a modal dialog or a popup menu holds the input
    // now, so that work below on the stack sits in its event loop.
    static bool inModalLoop();

private:
    struct Shared;
    struct Task;
    class TaskGuard;

    void queue(const std::shared_ptr<Task> &task, QObject *context);
    // Posts a probe that, run inside a modal loop that work entered, marks
    // work modal.
    void probeForModalLoop(const std::shared_ptr<Task> &work);

    std::shared_ptr<Shared> shared;
};

} // namespace vrqt::agent
