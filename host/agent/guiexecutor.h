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
    enum class Outcome { Done, Failed, TimedOut, Abandoned };

    // GUI thread: the executor lives there and runs work there.
    GuiExecutor();
    ~GuiExecutor() override;

    // Any thread but context's: runs work on the thread of context (the GUI
    // thread when null) and waits at most limit. context must be alive when
    // the call is made. Failed: the work threw. After TimedOut the work may
    // still run later; it must own what it touches (capture by value or
    // shared pointer).
    Outcome run(std::function<void()> work, std::chrono::milliseconds limit, QObject *context = nullptr);
    // Serving thread: queues work for the GUI thread without waiting.
    void post(std::function<void()> work);
    // GUI thread: runs no further work and wakes every waiting thread.
    void close();

private:
    struct Shared;
    struct Task;
    class TaskGuard;

    void queue(const std::shared_ptr<Task> &task, QObject *context);

    std::shared_ptr<Shared> shared;
};

} // namespace vrqt::agent
