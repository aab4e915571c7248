// Scripting through the module's type descriptions against Qt's own
// reflection on the same object, in one run: a property read by Invoke
// against QMetaProperty::read, a slot call by Invoke against
// QMetaObject::invokeMethod, and a QPushButton's description chain built
// from cold. The module is loaded by the reference host and reached only
// through its interfaces.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QMetaProperty>
#include <QPushButton>

#include <chrono>
#include <cstdio>

#include "bench/benchobject.h"
#include "host/modulehost.h"
#include "interfaces/objects.h"
#include "interfaces/values.h"

using vrqt::host::ModuleHost;
using vrqt::host::Ref;

namespace {

// The object the calls are about, as the host names it.
class Context final : public IvrQtCallContext
{
public:
    explicit Context(QObject *object) : object(object) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **result) override
    {
        *result = IsEqualGUID(riid, IID_IvrQtCallContext) ? this : nullptr;
        return *result ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE GetContextObject(QObject **result) override { *result = object; return S_OK; }

private:
    QObject *object;
};

struct Scripted {
    ModuleHost host;
    Ref<IvrQtObjectsManager> manager;
    Ref<ITypeInfo> info;

    // The module loaded and a description of object's class; false on failure.
    bool open(QObject *object)
    {
        if (!host.load())
            return false;
        manager = host.manager().query<IvrQtObjectsManager>(IID_IvrQtObjectsManager);
        if (!manager)
            return false;
        manager->Initialize(host.moduleUnknown()); // no values are wrapped here
        return SUCCEEDED(manager->GetObjectTypeInfo(object, reinterpret_cast<ITypeInfo **>(info.out())));
    }

    void close()
    {
        info.reset();
        manager.reset();
        host.unload();
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
    Context context(object);
    const MEMBERID memid = scripted->id(u"number");
    DISPPARAMS none = {};
    VARIANT result;
    VariantInit(&result);
    for (auto _ : state) {
        scripted->info->Invoke(&context, memid, DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr);
        benchmark::DoNotOptimize(result.intVal);
    }
    if (result.vt != VT_INT || result.intVal != 42)
        state.SkipWithError("the read gave a wrong value");
}
BENCHMARK(BM_IntReadInvoke);

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
    Context context(object);
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
        scripted->info->Invoke(&context, memid, DISPATCH_METHOD, &params, &result, nullptr, nullptr);
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
        if (!cold.host.load()) {
            state.SkipWithError("the module did not load");
            break;
        }
        cold.manager = cold.host.manager().query<IvrQtObjectsManager>(IID_IvrQtObjectsManager);
        cold.manager->Initialize(cold.host.moduleUnknown());
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
