#include "host/agent/conversation.h"

#include <QSocketNotifier>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>

#include "host/agent/crashnote.h"
#include "host/agent/earlyanswer.h"
#include "host/agent/guiexecutor.h"
#include "host/agent/requests.h"
#include "host/protocol/protocol.h"

namespace vrqt::agent {

namespace {

using Clock = std::chrono::steady_clock;
using Status = protocol::Channel::Status;

// How long a response waits for a client that reads none of it.
constexpr std::chrono::milliseconds kSendStall{ 10000 };
// While requests come, how often the serving thread looks whether the GUI
// thread has read them; a request unread from one look to the next is read
// by the serving thread instead.
constexpr std::chrono::milliseconds kLook{ 20 };
// After how long without requests the serving thread stops looking.
constexpr std::chrono::milliseconds kQuiet{ 200 };

int millisecondsUntil(Clock::time_point when)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(when - Clock::now()).count();
    return int(std::max<long long>(left, 0));
}

} // namespace

struct Conversation::Running
{
    std::shared_ptr<EarlyAnswer> early;
    QJsonValue id;
    std::chrono::milliseconds limit;
    Clock::time_point end;
    Clock::time_point nextProbe;
    bool detached = false; // the serving thread answered for it
};

struct Conversation::Step
{
    enum class Kind { Line, Answer, End };

    static Step line(std::string text) { Step step; step.kind = Kind::Line; step.text = std::move(text); return step; }
    static Step answer(QJsonValue id, Reply reply, std::shared_ptr<EarlyAnswer> early)
    {
        Step step;
        step.kind = Kind::Answer;
        step.id = std::move(id);
        step.reply = std::move(reply);
        step.early = std::move(early);
        return step;
    }
    static Step end(Status status) { Step step; step.kind = Kind::End; step.status = status; return step; }

    Kind kind = Kind::End;
    std::string text; // Line: the request as read
    // Answer: reply, unless early was given (in part) by the GUI thread.
    QJsonValue id;
    Reply reply;
    std::shared_ptr<EarlyAnswer> early;
    Status status = Status::Closed; // End
};

Conversation::Conversation(int descriptor, RequestHandlers &handlers, GuiExecutor &executor)
    : channel(descriptor), handlers(handlers), executor(executor), wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
}

Conversation::~Conversation()
{
    delete notifier;
    if (wake >= 0)
        ::close(wake);
}

void Conversation::shutdown()
{
    ending = true;
    channel.shutdown();
    wakeServingThread();
}

void Conversation::wakeServingThread()
{
    const uint64_t one = 1;
    ssize_t ignored = ::write(wake, &one, sizeof one);
    (void)ignored;
}

void Conversation::serve()
{
    for (;;) {
        Step step = next();
        if (step.kind == Step::Kind::End) {
            if (step.status == Status::TooLong) {
                const protocol::Error error{ QLatin1String(protocol::error::kLineTooLong), QStringLiteral("a request line exceeded the limit"), {} };
                channel.sendWhileRead(protocol::encodeError(QJsonValue(), error), kSendStall);
            }
            break;
        }
        if (step.kind == Step::Kind::Line)
            step = answer(step.text);
        std::string response;
        if (!step.early || !step.early->taken(&response))
            response = Encode(step.id, step.reply);
        if (!response.empty() && channel.sendWhileRead(response, kSendStall) != Status::Ok)
            break;
        if (step.reply.afterSending)
            step.reply.afterSending();
        if (step.reply.takeOver) {
            step.reply.takeOver(channel);
            break;
        }
    }
    // The other side learns at once that nobody listens any more.
    channel.shutdown();
    ending = true;
    executor.post([this] { retire(); });
}

Conversation::Step Conversation::answer(const std::string &line)
{
    protocol::Request request;
    protocol::Error error;
    if (!protocol::parseRequest(line, &request, &error)) {
        Reply refusal;
        refusal.ok = false;
        refusal.error = error;
        return Step::answer(request.id, std::move(refusal), nullptr);
    }
    NoteRequest(request.name.toUtf8().constData());
    const auto early = std::make_shared<EarlyAnswer>(channel);
    Reply reply = handlers.handle(request, early);
    NoteRequest(nullptr);
    return Step::answer(request.id, std::move(reply), early);
}

Conversation::Step Conversation::next()
{
    std::unique_lock<std::mutex> locked(lock);
    servingIdle = true;
    auto give = [this](Step step) {
        servingIdle = false;
        return step;
    };
    // Until the socket or the GUI thread wakes this thread.
    auto sleep = [this, &locked] {
        servingAsleep = true;
        locked.unlock();
        waitFor(true, -1);
        locked.lock();
        servingAsleep = false;
    };
    // What this thread saw while the GUI thread read.
    std::uint64_t linesSeen = linesTaken;
    Clock::time_point lastTaken = Clock::now();
    bool unreadBefore = false;
    for (;;) {
        if (ending)
            return give(Step::end(Status::Closed));
        if (handed) {
            Step step = std::move(*handed);
            handed.reset();
            return give(std::move(step));
        }
        if (reader == Reader::Serving) {
            std::string line;
            const Status status = channel.receiveWithoutWaiting(&line);
            if (status == Status::Ok)
                return give(Step::line(std::move(line)));
            if (status != Status::TimedOut)
                return give(Step::end(status));
            // Nothing to read: the turn goes back to the GUI thread once it
            // runs its event loop, unless work of ours is below on its stack
            // (or this thread could not be woken to take the turn again).
            if (!reclaimPosted && !running && wake >= 0) {
                reclaimPosted = true;
                executor.post([this] { reclaim(); });
            }
            sleep();
            unreadBefore = false;
            continue;
        }
        const Clock::time_point now = Clock::now();
        if (running) {
            const std::shared_ptr<Running> work = running;
            if (now >= work->end) {
                work->detached = true;
                reader = Reader::Serving;
                return give(Step::answer(work->id, RequestHandlers::busy(work->limit), work->early));
            }
            // Work that takes longer than a moment may have opened a modal
            // dialog or menu: ask, through the event loop it would run.
            if (now >= work->nextProbe) {
                work->nextProbe = now + GuiExecutor::kModalProbeInterval;
                executor.post([this, work] { probe(work); });
            }
            locked.unlock();
            waitFor(false, millisecondsUntil(std::min(work->end, work->nextProbe)));
            locked.lock();
            continue;
        }
        // The GUI thread reads; this thread looks in now and then while
        // requests come. One left unread from one look to the next finds
        // the GUI thread held up, and this thread reads on instead.
        if (linesTaken != linesSeen) {
            linesSeen = linesTaken;
            lastTaken = now;
            unreadBefore = false;
        }
        const bool unread = waitFor(true, 0);
        if (unread && unreadBefore) {
            reader = Reader::Serving;
            continue;
        }
        unreadBefore = unread;
        if (!unread && now - lastTaken >= kQuiet) {
            sleep();
            lastTaken = Clock::now();
            continue;
        }
        locked.unlock();
        waitFor(false, int(kLook.count()));
        locked.lock();
    }
}

bool Conversation::waitFor(bool socket, int timeout)
{
    pollfd watched[] = { { wake, POLLIN, 0 }, { channel.descriptor(), POLLIN, 0 } };
    if (::poll(watched, socket ? 2 : 1, timeout) <= 0)
        return false;
    if (watched[0].revents) {
        uint64_t count;
        ssize_t ignored = ::read(wake, &count, sizeof count);
        (void)ignored;
    }
    return socket && watched[1].revents;
}

void Conversation::reclaim()
{
    {
        std::lock_guard<std::mutex> locked(lock);
        reclaimPosted = false;
        if (ending || reader != Reader::Serving || !servingIdle || handed || running)
            return;
        reader = Reader::Gui;
    }
    if (!notifier) {
        notifier = new QSocketNotifier(channel.descriptor(), QSocketNotifier::Read, &executor);
        QObject::connect(notifier, &QSocketNotifier::activated, notifier, [this] { readRequests(); });
    }
    notifier->setEnabled(true);
    // Lines already buffered bring no notification.
    readRequests();
}

void Conversation::readRequests()
{
    std::unique_lock<std::mutex> locked(lock);
    for (;;) {
        // Another thread's turn, or a request of ours below on the stack
        // (its event loop delivered this): the notifier waits till later.
        if (ending || reader != Reader::Gui || running) {
            notifier->setEnabled(false);
            return;
        }
        std::string line;
        const Status status = channel.receiveWithoutWaiting(&line);
        if (status == Status::TimedOut)
            return;
        ++linesTaken;
        if (status != Status::Ok) {
            hand(Step::end(status));
            continue;
        }
        protocol::Request request;
        protocol::Error error;
        if (!protocol::parseRequest(line, &request, &error) || !handlers.answersOnGuiThread(request)) {
            hand(Step::line(std::move(line)));
            continue;
        }
        auto work = std::make_shared<Running>();
        work->early = std::make_shared<EarlyAnswer>(channel);
        work->id = request.id;
        work->limit = RequestHandlers::guiLimitOf(request);
        work->end = Clock::now() + work->limit;
        work->nextProbe = Clock::now() + GuiExecutor::kModalProbeInterval;
        running = work;
        // A serving thread that sleeps would not learn of work that outruns
        // its limit or opens a modal loop.
        if (servingAsleep)
            wakeServingThread();
        locked.unlock();

        NoteRequest(request.name.toUtf8().constData());
        Reply reply = handlers.handleHere(request);
        NoteRequest(nullptr);
        // An answer with something to do after it goes out is the serving
        // thread's to send.
        const bool onward = reply.afterSending || reply.takeOver;
        const bool sent = !onward && work->early->offer(Encode(request.id, reply));

        locked.lock();
        running.reset();
        if (retirePending) {
            locked.unlock();
            retire();
            return;
        }
        if (work->detached) {
            // The serving thread answered for it and reads on; it may give
            // the turn back now.
            wakeServingThread();
            continue;
        }
        notifier->setEnabled(true);
        if (!sent)
            hand(Step::answer(request.id, std::move(reply), work->early));
    }
}

void Conversation::hand(Step step)
{
    reader = Reader::Serving;
    handed = std::make_unique<Step>(std::move(step));
    wakeServingThread();
}

void Conversation::probe(const std::shared_ptr<Running> &work)
{
    std::lock_guard<std::mutex> locked(lock);
    if (running != work || work->detached || !GuiExecutor::inModalLoop())
        return;
    work->detached = true;
    hand(Step::answer(work->id, RequestHandlers::modal(), work->early));
}

void Conversation::retire()
{
    {
        std::lock_guard<std::mutex> locked(lock);
        // A request of ours below on the stack retires the conversation
        // once it returns.
        if (running) {
            retirePending = true;
            return;
        }
    }
    if (notifier) {
        notifier->setEnabled(false);
        // Possibly from inside its own signal; the executor deletes it at the
        // latest.
        notifier->deleteLater();
        notifier = nullptr;
    }
    over = true;
}

} // namespace vrqt::agent
