// Scripting through the module's type descriptions against Qt's own
// reflection on the same object, in one run: property reads by Invoke
// against QMetaProperty::read (a QString read includes the host's wrap of
// the value and its release), a slot call by Invoke against
// QMetaObject::invokeMethod, and a QPushButton's description chain built
// from cold. The module is loaded by the reference host, which hands it the
// host's object factory and names objects by its call context.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QMetaProperty>
#include <QPushButton>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/benchobject.h"
#include "host/modulehost.h"
#include "host/scripting/callcontext.h"
#include "host/scripting/scriptsession.h"
#include "interfaces/objects.h"

using vrqt::host::ModuleHost;
using vrqt::host::Ref;
using vrqt::scripting::CallContext;
using vrqt::scripting::ScriptSession;

namespace {

// Everything here runs on the GUI thread, where the objects live.
class SameThread final : public vrqt::scripting::ThreadDelivery
{
public:
    HRESULT deliver(QObject *, std::function<HRESULT()> work) override { return work(); }
};

struct Scripted {
    SameThread delivery;
    ModuleHost host;
    std::shared_ptr<ScriptSession> session;
    Ref<IvrQtObjectsManager> manager;
    Ref<ITypeInfo> info;

    // The module loaded with the host's factory; false on failure.
    bool load()
    {
        if (!host.load())
            return false;
        session = ScriptSession::create(delivery);
        manager = host.manager().query<IvrQtObjectsManager>(IID_IvrQtObjectsManager);
        return manager && SUCCEEDED(session->attach(host.manager().get()));
    }

    // And a description of object's class.
    bool open(QObject *object)
    {
        return load() && SUCCEEDED(manager->GetObjectTypeInfo(object, reinterpret_cast<ITypeInfo **>(info.out())));
    }

    void close()
    {
        info.reset();
        manager.reset();
        session->detach();
        session.reset();
        host.unload();
    }

    Ref<IUnknown> context(QObject *object)
    {
        return Ref<IUnknown>(static_cast<IvrQtCallContext *>(CallContext::create(object, session->hostContext())));
    }

    MEMBERID id(const char16_t *name)
    {
        MEMBERID memid = MEMBERID_NIL;
        LPOLESTR names[] = { const_cast<LPOLESTR>(name) };
        info->GetIDsOfNames(names, 1, &memid);
        return memid;
    }
};

// One operation of each pair, as the host and as Qt's own reflection do it,
// on the same object. Each returns what it read, so that nothing is optimised away.
struct Operations {
    BenchObject *object;
    Scripted *scripted;
    Ref<IUnknown> context;
    QMetaProperty number, text;
    MEMBERID numberId, textId, addId;

    Operations(BenchObject *object, Scripted *scripted)
        : object(object), scripted(scripted), context(scripted->context(object)),
          number(object->metaObject()->property(object->metaObject()->indexOfProperty("number"))),
          text(object->metaObject()->property(object->metaObject()->indexOfProperty("text"))),
          numberId(scripted->id(u"number")), textId(scripted->id(u"text")), addId(scripted->id(u"add"))
    {
    }

    HRESULT invoke(MEMBERID memid, WORD flags, DISPPARAMS *params, VARIANT *result)
    {
        return scripted->info->Invoke(context.get(), memid, flags, params, result, nullptr, nullptr);
    }

    long long intDirect() { return number.read(object).toInt(); }
    long long intScripted()
    {
        DISPPARAMS none = {};
        VARIANT result;
        VariantInit(&result);
        invoke(numberId, DISPATCH_PROPERTYGET, &none, &result);
        return result.vt == VT_INT ? result.intVal : -1;
    }
    long long stringDirect() { return text.read(object).userType(); }
    // The host's value object made around the string, and released.
    long long stringScripted()
    {
        DISPPARAMS none = {};
        VARIANT result;
        VariantInit(&result);
        invoke(textId, DISPATCH_PROPERTYGET, &none, &result);
        const long long made = result.vt == VT_DISPATCH && result.pdispVal ? 1 : -1;
        VariantClear(&result);
        return made;
    }
    long long slotDirect()
    {
        int sum = 0;
        QMetaObject::invokeMethod(object, "add", Qt::DirectConnection, Q_RETURN_ARG(int, sum), Q_ARG(int, 40),
                                  Q_ARG(int, 2));
        return sum;
    }
    long long slotScripted()
    {
        VARIANT arguments[2];
        arguments[0].vt = VT_I4;
        arguments[0].lVal = 40;
        arguments[1].vt = VT_I4;
        arguments[1].lVal = 2;
        DISPPARAMS params = { arguments, nullptr, 2, 0 };
        VARIANT result;
        VariantInit(&result);
        invoke(addId, DISPATCH_METHOD, &params, &result);
        return result.vt == VT_INT ? result.intVal : -1;
    }
};

Operations *operations = nullptr;
using Operation = long long (Operations::*)();

void Run(benchmark::State &state, Operation operation, long long expected)
{
    long long last = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(last = (operations->*operation)());
    if (last != expected)
        state.SkipWithError("the operation gave a wrong value");
}

BENCHMARK_CAPTURE(Run, IntReadMetaProperty, &Operations::intDirect, 42);
BENCHMARK_CAPTURE(Run, IntReadInvoke, &Operations::intScripted, 42);
BENCHMARK_CAPTURE(Run, StringReadMetaProperty, &Operations::stringDirect, QMetaType::QString);
BENCHMARK_CAPTURE(Run, StringReadInvoke, &Operations::stringScripted, 1);
BENCHMARK_CAPTURE(Run, SlotInvokeMethod, &Operations::slotDirect, 42);
BENCHMARK_CAPTURE(Run, SlotInvoke, &Operations::slotScripted, 42);

using Clock = std::chrono::steady_clock;

// The time of one operation, averaged over a block.
double BlockNanoseconds(Operation operation, int count)
{
    const Clock::time_point start = Clock::now();
    for (int index = 0; index < count; ++index)
        benchmark::DoNotOptimize((operations->*operation)());
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / count;
}

// Each pair in alternating blocks, so that both see the machine at the same
// moments; the median block of each side and their ratio (host / Qt).
void BM_Ratios(benchmark::State &state)
{
    const struct {
        const char *name;
        Operation scripted, direct;
    } pairs[] = {
        { "int", &Operations::intScripted, &Operations::intDirect },
        { "string", &Operations::stringScripted, &Operations::stringDirect },
        { "slot", &Operations::slotScripted, &Operations::slotDirect },
    };
    constexpr int blocks = 200, perBlock = 1000;
    for (auto _ : state) {
        for (const auto &pair : pairs) {
            std::vector<double> host, qt;
            for (int block = 0; block < blocks; ++block) {
                host.push_back(BlockNanoseconds(pair.scripted, perBlock));
                qt.push_back(BlockNanoseconds(pair.direct, perBlock));
            }
            std::nth_element(host.begin(), host.begin() + blocks / 2, host.end());
            std::nth_element(qt.begin(), qt.begin() + blocks / 2, qt.end());
            const double ratio = host[blocks / 2] / qt[blocks / 2];
            state.counters[std::string(pair.name) + "_ratio"] = ratio;
            std::printf("%-6s host %7.1f ns, Qt %6.1f ns, ratio %.2f\n", pair.name, host[blocks / 2], qt[blocks / 2], ratio);
        }
    }
}
BENCHMARK(BM_Ratios)->Iterations(1)->Unit(benchmark::kMillisecond);

// Load, then the whole chain QPushButton, QAbstractButton, QWidget, QObject
// made and built (a name only QObject declares makes every description
// build), then unload; only the middle is timed.
void BM_ColdPushButtonChain(benchmark::State &state)
{
    QPushButton button;
    for (auto _ : state) {
        state.PauseTiming();
        Scripted cold;
        if (!cold.load()) {
            state.SkipWithError("the module did not load");
            break;
        }
        state.ResumeTiming();
        cold.manager->GetObjectTypeInfo(&button, reinterpret_cast<ITypeInfo **>(cold.info.out()));
        const MEMBERID memid = cold.id(u"objectName");
        state.PauseTiming();
        if (memid == MEMBERID_NIL)
            state.SkipWithError("the chain did not build");
        cold.close();
        state.ResumeTiming();
    }
}
// Each unload waits a second for the descriptions its classes still hold.
BENCHMARK(BM_ColdPushButtonChain)->Iterations(5)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    benchmark::Initialize(&argc, argv);
    QApplication application(argc, argv);
    BenchObject target;
    Scripted module;
    if (!module.open(&target)) {
        std::fprintf(stderr, "the module could not be loaded: %s\n", module.host.error().c_str());
        return 1;
    }
    Operations both(&target, &module);
    operations = &both;
    benchmark::RunSpecifiedBenchmarks();
    operations = nullptr;
    module.close();
    benchmark::Shutdown();
    return 0;
}
