// The host's scripting side with the real module: calls carried to the
// object's thread, and memory that stays where it was. (Reading, writing
// and calling are shown through the requests that use this session.)
#include <QCoreApplication>
#include <QThread>

#include <fstream>
#include <unistd.h>

#include "../qt_support.h"
#include "host/scripting/valueobject.h"
#include "scriptables.h"
#include "scriptsupport.h"

using namespace scripttest;
using vrqt::scripting::ValueObject;

namespace {

// An object living in a thread of its own, named "worker".
struct WorkerThread
{
    WorkerThread()
    {
        thread.setObjectName(QStringLiteral("worker"));
        thread.start();
        target->moveToThread(&thread);
    }
    ~WorkerThread()
    {
        if (thread.isRunning()) {
            // The documented way to end an object with its thread.
            QObject::connect(&thread, &QThread::finished, target, &QObject::deleteLater);
            thread.quit();
            thread.wait();
        } else {
            delete target;
        }
    }

    QThread thread;
    ScriptTarget *target = new ScriptTarget;
};

size_t residentBytes()
{
    std::ifstream statm("/proc/self/statm");
    size_t pages = 0, resident = 0;
    statm >> pages >> resident;
    return resident * size_t(::sysconf(_SC_PAGESIZE));
}

} // namespace

TEST_F(ScriptingTest, CallsRunOnTheObjectsOwnThreadWhileItRuns)
{
    WorkerThread worker;
    ScriptTarget local;
    Variant name;
    ASSERT_EQ(S_OK, get(scriptable(worker.target).get(), QStringLiteral("threadName"), name));
    EXPECT_EQ(textOf(name), QStringLiteral("worker"));
    ASSERT_EQ(S_OK, get(scriptable(&local).get(), QStringLiteral("threadName"), name));
    EXPECT_EQ(textOf(name), QStringLiteral("gui"));

    Ref<IDispatch> remote = scriptable(worker.target);
    worker.thread.quit();
    ASSERT_TRUE(worker.thread.wait(5000));
    EXPECT_EQ(RPC_E_DISCONNECTED, get(remote.get(), QStringLiteral("count"), name));
}

TEST_F(ScriptingTest, ACallItsThreadDoesNotFinishInTimeIsBusyAndKeepsTheModuleLoaded)
{
    WorkerThread worker;
    Ref<IDispatch> remote = scriptable(worker.target);
    Variant ignored;
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_TIMEOUT), invoke(remote.get(), QStringLiteral("hold"), DISPATCH_METHOD, {}, &ignored.value));
    EXPECT_EQ(session->callsInFlight(), 1);
    module.unload();
    EXPECT_TRUE(module.loaded()) << "the module stays while a call is inside it";

    worker.target->gate.release();
    EXPECT_TRUE(qttest::waitUntil([&] { return worker.target->held == 1 && session->callsInFlight() == 0; }));
    session.reset();
    module.unload();
    EXPECT_FALSE(module.loaded());
}

TEST_F(ScriptingTest, AMillionReadsLeaveMemoryWhereItWas)
{
#if defined(__SANITIZE_ADDRESS__)
    // The sanitizer keeps freed memory in quarantine; its leak checker and
    // the count of value objects judge here instead.
    constexpr int kReads = 20000;
    constexpr bool kMeasured = false;
#else
    constexpr int kReads = 1000000;
    constexpr bool kMeasured = true;
#endif
    constexpr size_t kSlack = 1024 * 1024;
    ScriptTarget target;
    target.count = 3;
    target.title = QStringLiteral("a title long enough to need memory of its own");
    Ref<IDispatch> object = scriptable(&target);
    const long valuesBefore = ValueObject::liveCount();
    for (const char *member : { "count", "title" }) {
        SCOPED_TRACE(member);
        DISPID id = DISPID_UNKNOWN;
        ASSERT_EQ(S_OK, vrqt::scripting::MemberIdOf(object.get(), QLatin1String(member), &id));
        const auto readMany = [&](int reads) {
            std::vector<VARIANT> none;
            for (int read = 0; read < reads; ++read) {
                Variant value;
                if (FAILED(vrqt::scripting::InvokeMember(object.get(), id, DISPATCH_PROPERTYGET, none, &value.value)))
                    return false;
            }
            return true;
        };
        ASSERT_TRUE(readMany(kReads / 10)); // caches and pools settle first
        const size_t before = residentBytes();
        ASSERT_TRUE(readMany(kReads));
        const size_t after = residentBytes();
        EXPECT_EQ(ValueObject::liveCount(), valuesBefore) << "every wrapper was released, and freed its storage";
        if (kMeasured) {
            EXPECT_LE(after, before + kSlack) << "resident memory grew from " << before << " to " << after << " bytes";
        }
    }
}
