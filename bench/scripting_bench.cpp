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

#include <chrono>
#include <cstdio>

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

BenchObject *object = nullptr;
Scripted *scripted = nullptr;

void BM_IntReadMetaProperty(benchmark::State &state)
{
    const QMetaProperty property = object->metaObject()->property(object->metaObject()->indexOfProperty("number"));
    for (auto _ : state)
        benchmark::DoNotOptimize(property.read(object));
}
BENCHMARK(BM_IntReadMetaProperty);

void BM_IntReadInvoke(benchmark::State &state)
{
    const Ref<IUnknown> context = scripted->context(object);
    const MEMBERID memid = scripted->id(u"number");
    DISPPARAMS none = {};
    VARIANT result;
    VariantInit(&result);
    for (auto _ : state) {
        scripted->info->Invoke(context.get(), memid, DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr);
        benchmark::DoNotOptimize(result.intVal);
    }
    if (result.vt != VT_INT || result.intVal != 42)
        state.SkipWithError("the read gave a wrong value");
}
BENCHMARK(BM_IntReadInvoke);

void BM_StringReadMetaProperty(benchmark::State &state)
{
    const QMetaProperty property = object->metaObject()->property(object->metaObject()->indexOfProperty("text"));
    for (auto _ : state)
        benchmark::DoNotOptimize(property.read(object));
}
BENCHMARK(BM_StringReadMetaProperty);

// The host's value object made around the string, and released.
void BM_StringReadInvoke(benchmark::State &state)
{
    const Ref<IUnknown> context = scripted->context(object);
    const MEMBERID memid = scripted->id(u"text");
    DISPPARAMS none = {};
    VARIANT result;
    VariantInit(&result);
    for (auto _ : state) {
        scripted->info->Invoke(context.get(), memid, DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr);
        benchmark::DoNotOptimize(result.pdispVal);
        VariantClear(&result);
    }
    scripted->info->Invoke(context.get(), memid, DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr);
    if (result.vt != VT_DISPATCH || !result.pdispVal)
        state.SkipWithError("the read gave no value object");
    VariantClear(&result);
}
BENCHMARK(BM_StringReadInvoke);

void BM_SlotInvokeMethod(benchmark::State &state)
{
    int sum = 0;
    for (auto _ : state) {
        QMetaObject::invokeMethod(object, "add", Qt::DirectConnection, Q_RETURN_ARG(int, sum), Q_ARG(int, 40),
                                  Q_ARG(int, 2));
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(BM_SlotInvokeMethod);

void BM_SlotInvoke(benchmark::State &state)
{
    const Ref<IUnknown> context = scripted->context(object);
    const MEMBERID memid = scripted->id(u"add");
    VARIANT result;
    VariantInit(&result);
    for (auto _ : state) {
        VARIANT arguments[2];
        arguments[0].vt = VT_I4;
        arguments[0].lVal = 40;
        arguments[1].vt = VT_I4;
        arguments[1].lVal = 2;
        DISPPARAMS params = { arguments, nullptr, 2, 0 };
        scripted->info->Invoke(context.get(), memid, DISPATCH_METHOD, &params, &result, nullptr, nullptr);
        benchmark::DoNotOptimize(result.intVal);
    }
    if (result.vt != VT_INT || result.intVal != 42)
        state.SkipWithError("the call gave a wrong value");
}
BENCHMARK(BM_SlotInvoke);

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
    object = &target;
    scripted = &module;
    benchmark::RunSpecifiedBenchmarks();
    module.close();
    benchmark::Shutdown();
    return 0;
}
