#include "host/agent/guiexecutor.h"

#include <QCoreApplication>

namespace vrqt::agent {

// Outlives the executor: queued work refers to it.
struct GuiExecutor::Shared
{
    std::mutex lock;
    std::condition_variable changed;
    bool closed = false;
};

struct GuiExecutor::Task
{
    std::function<void()> work;
    // Guarded by Shared::lock.
    bool finished = false;
    bool failed = false;
    bool abandoned = false;
};

// Travels in the queued call. Whoever drops the last copy without having run
// the task (Qt discarding the event of a deleted receiver, say) marks it
// abandoned and wakes the waiter.
class GuiExecutor::TaskGuard
{
public:
    TaskGuard(std::shared_ptr<Shared> shared, std::shared_ptr<Task> task) : shared(std::move(shared)), task(std::move(task)) {}
    TaskGuard(const TaskGuard &) = delete;
    TaskGuard &operator=(const TaskGuard &) = delete;

    ~TaskGuard()
    {
        std::lock_guard<std::mutex> locked(shared->lock);
        if (!task->finished) {
            task->abandoned = true;
            shared->changed.notify_all();
        }
    }

    // GUI thread.
    void run()
    {
        {
            std::lock_guard<std::mutex> locked(shared->lock);
            if (shared->closed || task->abandoned)
                return;
        }
        // A QApplication being destroyed has torn down half of what the work
        // may touch.
        if (QCoreApplication::closingDown())
            return;
        bool failed = false;
        try {
            task->work();
        } catch (...) {
            // Nothing may leave into Qt's event loop.
            failed = true;
        }
        std::lock_guard<std::mutex> locked(shared->lock);
        task->finished = true;
        task->failed = failed;
        shared->changed.notify_all();
    }

private:
    std::shared_ptr<Shared> shared;
    std::shared_ptr<Task> task;
};

GuiExecutor::GuiExecutor() : shared(std::make_shared<Shared>()) {}

GuiExecutor::~GuiExecutor()
{
    close();
}

void GuiExecutor::queue(const std::shared_ptr<Task> &task, QObject *context)
{
    auto guard = std::make_shared<TaskGuard>(shared, task);
    // The executor is deleted only after the serving thread has ended, so
    // posting to it from that thread is safe. A context that dies first
    // drops the call, and the guard tells the waiter.
    QMetaObject::invokeMethod(context ? context : this, [guard] { guard->run(); }, Qt::QueuedConnection);
}

GuiExecutor::Outcome GuiExecutor::run(std::function<void()> work, std::chrono::milliseconds limit, QObject *context)
{
    auto task = std::make_shared<Task>();
    task->work = std::move(work);
    {
        std::lock_guard<std::mutex> locked(shared->lock);
        if (shared->closed)
            return Outcome::Abandoned;
    }
    queue(task, context);
    std::unique_lock<std::mutex> locked(shared->lock);
    const bool settled = shared->changed.wait_for(locked, limit, [&] { return task->finished || task->abandoned || shared->closed; });
    if (task->finished)
        return task->failed ? Outcome::Failed : Outcome::Done;
    if (!settled)
        return Outcome::TimedOut;
    return Outcome::Abandoned;
}

void GuiExecutor::post(std::function<void()> work)
{
    auto task = std::make_shared<Task>();
    task->work = std::move(work);
    {
        std::lock_guard<std::mutex> locked(shared->lock);
        if (shared->closed)
            return;
    }
    queue(task, nullptr);
}

void GuiExecutor::close()
{
    std::lock_guard<std::mutex> locked(shared->lock);
    shared->closed = true;
    shared->changed.notify_all();
}

} // namespace vrqt::agent
