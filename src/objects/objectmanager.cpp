#include "objects/objectmanager.h"

#include <new>

#include <QWidget>

#include "objects/listeningcontroller.h"
#include "runtime/objectprobe.h"
#include "objects/qpointercontroller.h"
#include "controls/controlshelper.h"
#include "events/eventsnotifier.h"
#include "runtime/qtlibrary.h"
#include "objects/widgetqueries.h"
#include "runtime/dispatch/widgetexecution.h"
#include "runtime/errors.h"
#include "values/stringbridges.h"

namespace {

VARIANT_BOOL toVariantBool(bool value)
{
    return value ? VARIANT_TRUE : VARIANT_FALSE;
}

// Runs work; an HRESULT thrown inside becomes the result, anything else
// thrown E_FAIL. Nothing crosses the boundary.
template <typename Work>
HRESULT catchAll(Work work)
{
    try {
        work();
        return S_OK;
    } catch (const CAtlException &exception) {
        return exception.m_hr;
    } catch (...) {
        return E_FAIL;
    }
}

// One read of a live widget into *target.
template <typename Value, typename Read>
HRESULT readWidget(QWidget *widget, Value *target, Read read)
{
    if (!target)
        return E_POINTER;
    QWidget *live = AsConfirmedLiveWidget(widget);
    if (!live)
        return E_FAIL;
    *target = read(live);
    return S_OK;
}

// One text of a live object as a new BSTR in *target, null on failure.
template <typename Object, typename Read>
HRESULT readText(Object *live, HRESULT notLive, BSTR *target, Read read)
{
    if (!target)
        return E_POINTER;
    *target = nullptr;
    if (!live)
        return notLive;
    return catchAll([&] { *target = QStringToBstr(read(live)); });
}

// Reads through a pointer that is only known to be readable, inside the
// fault guard: false when it faulted.
template <typename Read>
bool readGuarded(const void *address, size_t bytes, Read read)
{
    return address && !IsBadReadPtr(address, bytes) && RunGuarded(read);
}

// A native window handle of a live widget into *window, which is 0 on
// any failure.
template <typename Handle>
HRESULT readWindowHandle(QWidget *widget, NativeWindowId *window, Handle handle)
{
    if (!window)
        return E_POINTER;
    *window = 0;
    QWidget *live = AsConfirmedLiveWidget(widget);
    if (!live)
        return E_FAIL;
    *window = handle(live);
    return S_OK;
}

// A screen coordinate of a live widget: E_FAIL for a non-window without
// a parent.
HRESULT readScreenCoordinate(QWidget *widget, int *target, int (QPoint::*coordinate)() const)
{
    if (!target)
        return E_POINTER;
    QWidget *live = AsConfirmedLiveWidget(widget);
    QPoint position;
    if (!live || !ScreenPosition(live, &position))
        return E_FAIL;
    *target = (position.*coordinate)();
    return S_OK;
}

template <typename Controller>
HRESULT createController(QObject *object, IvrQtObjectController **controller)
{
    Controller *created = new (std::nothrow) Controller;
    if (!created)
        return E_OUTOFMEMORY;
    created->AddRef();
    HRESULT hr = created->Attach(object);
    if (SUCCEEDED(hr))
        hr = created->QueryInterface(IID_IvrQtObjectController, reinterpret_cast<void **>(controller));
    created->Release();
    return hr;
}

struct ChildWidgetsCall {
    QWidget *widget;
    VARIANT *children;
    bool found;
};

// The widget's thread.
void collectChildWidgets(void *argument)
{
    auto *call = static_cast<ChildWidgetsCall *>(argument);
    call->found = false;
    const QList<QWidget *> aliens = AlienChildren(call->widget);
    if (aliens.isEmpty())
        return;
    V_VT(call->children) = VT_ARRAY | VT_UI8;
    SAFEARRAYBOUND bound{ ULONG(aliens.size()), 0 };
    SAFEARRAY *array = SafeArrayCreate(VT_UI8, 1, &bound);
    V_ARRAY(call->children) = array;
    for (LONG index = 0; index < LONG(aliens.size()); ++index) {
        ULONGLONG address = reinterpret_cast<ULONG_PTR>(aliens[index]);
        // A failed store ends the walk; the array stays in the VARIANT.
        if (FAILED(SafeArrayPutElement(array, &index, &address)))
            return;
    }
    call->found = true;
}

void setFocusOnWidget(void *widget)
{
    static_cast<QWidget *>(widget)->setFocus(Qt::OtherFocusReason);
}

} // namespace

HRESULT CvrQtBaseObjectManager::CreateInstance(CvrQtBaseObjectManager **manager)
{
    if (!manager)
        return E_POINTER;
    *manager = new (std::nothrow) CvrQtBaseObjectManager;
    if (!*manager)
        return E_OUTOFMEMORY;
    HRESULT hr = CvrQtControlsHelper::CreateInstance(&(*manager)->controlsHelper);
    if (SUCCEEDED(hr))
        hr = CvrQtEventsNotifier::CreateInstance(&(*manager)->eventsNotifier);
    if (FAILED(hr)) {
        delete *manager;
        *manager = nullptr;
    }
    return hr;
}

CvrQtBaseObjectManager::CvrQtBaseObjectManager() : registry(static_cast<IvrQtObjectsManager *>(this)) {}

CvrQtBaseObjectManager::~CvrQtBaseObjectManager()
{
    Shutdown();
}

void CvrQtBaseObjectManager::Shutdown()
{
    registry.Shutdown();
    // Listeners left behind by controllers released away from their
    // object's thread hold code of this module: they go before it does.
    DeleteAbandonedListeners();
    delete controlsHelper;
    controlsHelper = nullptr;
    if (eventsNotifier) {
        // The listeners run code of this module: none may outlive it.
        eventsNotifier->UnsubscribeAll();
        eventsNotifier->Release();
        eventsNotifier = nullptr;
    }
}

HRESULT CvrQtBaseObjectManager::QueryInterface(REFIID riid, void **object)
{
    const HRESULT hr = QueryInterfaceTable(this,
                                           { Implements<CvrQtBaseObjectManager, IvrQtObjectsManager>(IID_IvrQtObjectsManager),
                                             Implements<CvrQtBaseObjectManager, IvrQtObjectsHelper>(IID_IvrQtObjectsHelper),
                                             Implements<CvrQtBaseObjectManager, IvrQtWidgetsHelper>(IID_IvrQtWidgetsHelper) },
                                           riid, object);
    if (hr == E_NOINTERFACE && riid == IID_IvrQtEventsNotifier)
        return eventsNotifier ? eventsNotifier->QueryInterface(riid, object) : E_NOINTERFACE;
    // Any other identifier goes to the helpers' aggregate, unseen.
    if (hr == E_NOINTERFACE && controlsHelper)
        return controlsHelper->QueryInterface(riid, object);
    return hr;
}

// IvrQtObjectsManager

HRESULT CvrQtBaseObjectManager::Initialize(IUnknown *host)
{
    return registry.Initialize(host);
}

HRESULT CvrQtBaseObjectManager::GetObjectTypeInfo(QObject *object, ITypeInfo **typeInfo)
{
    if (!typeInfo)
        return E_POINTER;
    *typeInfo = nullptr;
    QObject *live = AsConfirmedLiveQObject(object);
    return live ? registry.GetObjectTypeInfo(live, typeInfo) : E_INVALIDARG;
}

// IvrQtObjectsHelper

HRESULT CvrQtBaseObjectManager::GetObjectName(QObject *object, BSTR *name)
{
    return readText(AsConfirmedLiveQObject(object), E_INVALIDARG, name, [](QObject *live) { return live->objectName(); });
}

HRESULT CvrQtBaseObjectManager::GetClassName(QObject *object, BSTR *name)
{
    return readText(AsConfirmedLiveQObject(object), E_INVALIDARG, name,
                    [](QObject *live) { return QString::fromLatin1(live->metaObject()->className()); });
}

VARIANT_BOOL CvrQtBaseObjectManager::IsQObject(void *pointer)
{
    return toVariantBool(IsConfirmedLiveQObject(pointer));
}

VARIANT_BOOL CvrQtBaseObjectManager::IsWidget(QObject *object)
{
    return toVariantBool(IsConfirmedLiveWidget(object));
}

HRESULT CvrQtBaseObjectManager::GetStringText(const QString *string, BSTR *text)
{
    if (!text)
        return E_POINTER;
    *text = nullptr;
    QString copy;
    // The units are copied, not the string: sharing it would write its
    // reference count, and the address may be anything readable.
    if (!readGuarded(string, sizeof(QString), [&] { copy = QString(string->constData(), string->size()); }))
        return E_INVALIDARG;
    return catchAll([&] { *text = QStringToBstr(copy); });
}

HRESULT CvrQtBaseObjectManager::CreateObjectController(QObject *object, IvrQtObjectController **controller)
{
    if (!controller)
        return E_POINTER;
    *controller = nullptr;
    QObject *live = AsConfirmedLiveQObject(object);
    if (!live)
        return E_INVALIDARG;
    if (QtGeneration() == 1)
        return createController<CvrQtObjectController_QPointer>(live, controller);
    return createController<CvrQtObjectController_ObjectListener>(live, controller);
}

HRESULT CvrQtBaseObjectManager::GetMetaClassName(const QMetaObject *metaObject, BSTR *name)
{
    if (!name)
        return E_POINTER;
    *name = nullptr;
    QString className;
    if (!readGuarded(metaObject, sizeof(QMetaObject), [&] { className = QString::fromLatin1(metaObject->className()); }))
        return E_INVALIDARG;
    return catchAll([&] { *name = QStringToBstr(className); });
}

HRESULT CvrQtBaseObjectManager::GetMetaObject(QObject *object, const QMetaObject **result)
{
    if (!result)
        return E_POINTER;
    *result = nullptr;
    QObject *live = AsConfirmedLiveQObject(object);
    if (!live)
        return E_INVALIDARG;
    *result = live->metaObject();
    return S_OK;
}

HRESULT CvrQtBaseObjectManager::GetSuperMetaObject(const QMetaObject *metaObject, const QMetaObject **result)
{
    if (!result)
        return E_POINTER;
    *result = nullptr;
    const QMetaObject *super = nullptr;
    if (!readGuarded(metaObject, sizeof(QMetaObject), [&] { super = metaObject->superClass(); }))
        return E_INVALIDARG;
    *result = super;
    return S_OK;
}

// IvrQtWidgetsHelper

HRESULT CvrQtBaseObjectManager::GetVisible(QWidget *widget, VARIANT_BOOL *visible)
{
    return readWidget(widget, visible,
                      [](QWidget *live) { return toVariantBool(live->testAttribute(Qt::WA_WState_Visible)); });
}

HRESULT CvrQtBaseObjectManager::GetX(QWidget *widget, int *x)
{
    return readWidget(widget, x, [](QWidget *live) { return live->pos().x(); });
}

HRESULT CvrQtBaseObjectManager::GetY(QWidget *widget, int *y)
{
    return readWidget(widget, y, [](QWidget *live) { return live->pos().y(); });
}

HRESULT CvrQtBaseObjectManager::GetWidth(QWidget *widget, int *width)
{
    return readWidget(widget, width, [](QWidget *live) { return live->rect().right() - live->rect().left() + 1; });
}

HRESULT CvrQtBaseObjectManager::GetHeight(QWidget *widget, int *height)
{
    return readWidget(widget, height, [](QWidget *live) { return live->rect().bottom() - live->rect().top() + 1; });
}

HRESULT CvrQtBaseObjectManager::GetScreenX(QWidget *widget, int *x)
{
    return readScreenCoordinate(widget, x, &QPoint::x);
}

HRESULT CvrQtBaseObjectManager::GetScreenY(QWidget *widget, int *y)
{
    return readScreenCoordinate(widget, y, &QPoint::y);
}

HRESULT CvrQtBaseObjectManager::GetEnabled(QWidget *widget, VARIANT_BOOL *enabled)
{
    return readWidget(widget, enabled, [](QWidget *live) { return toVariantBool(live->isEnabled()); });
}

HRESULT CvrQtBaseObjectManager::GetHasFocus(QWidget *widget, VARIANT_BOOL *focused)
{
    return readWidget(widget, focused, [](QWidget *live) { return toVariantBool(live->hasFocus()); });
}

HRESULT CvrQtBaseObjectManager::SetWidgetFocus(QWidget *widget, VARIANT_BOOL focus)
{
    QWidget *live = AsConfirmedLiveWidget(widget);
    if (!live)
        return E_FAIL;
    // Whether the focus moved is not reported: the host reads it back.
    if (focus && !live->hasFocus())
        ExecuteForWidget(live, setFocusOnWidget, live);
    return S_OK;
}

HRESULT CvrQtBaseObjectManager::Reserved()
{
    // The slot is kept for the layout of the interface.
    return S_OK;
}

HRESULT CvrQtBaseObjectManager::GetOwnWindowHandle(QWidget *widget, NativeWindowId *window)
{
    return readWindowHandle(widget, window, [](QWidget *live) { return IsAlienWidget(live) ? 0 : live->effectiveWinId(); });
}

HRESULT CvrQtBaseObjectManager::GetWindowHandle(QWidget *widget, NativeWindowId *window)
{
    const HRESULT hr = readWindowHandle(widget, window, [](QWidget *live) {
        WId handle = live->effectiveWinId();
        if (!handle) {
            // The native parent has its window already: winId() creates none.
            if (QWidget *nativeParent = live->nativeParentWidget())
                handle = nativeParent->winId();
        }
        return handle;
    });
    return SUCCEEDED(hr) && !*window ? E_FAIL : hr;
}

HRESULT CvrQtBaseObjectManager::FindWidget(NativeWindowId window, QWidget **widget)
{
    if (!widget)
        return E_POINTER;
    *widget = QWidget::find(WId(window));
    return S_OK;
}

HRESULT CvrQtBaseObjectManager::GetMainWindowHandle(NativeWindowId *window)
{
    if (!window)
        return E_POINTER;
    *window = 0;
    QWidget *mainWidget = GetMainWidget();
    if (!mainWidget)
        return E_FAIL;
    // The handle the main widget has; asking must not create a native
    // window behind the application's back.
    *window = mainWidget->effectiveWinId();
    return S_OK;
}

HRESULT CvrQtBaseObjectManager::GetWidgetIndex(QWidget *widget, int *index)
{
    if (!index)
        return E_POINTER;
    QWidget *live = AsConfirmedLiveWidget(widget);
    if (!live)
        return E_FAIL;
    bool found = false;
    const HRESULT hr = catchAll([&] { found = WidgetIndex(live, index); });
    return FAILED(hr) || found ? hr : E_FAIL;
}

VARIANT_BOOL CvrQtBaseObjectManager::GetChildWidgets(QWidget *widget, VARIANT *children)
{
    QWidget *live = AsConfirmedLiveWidget(widget);
    if (!live || !children)
        return VARIANT_FALSE;
    ChildWidgetsCall call{ live, children, false };
    TryExecuteForWidget(live, collectChildWidgets, &call);
    return toVariantBool(call.found);
}

VARIANT_BOOL CvrQtBaseObjectManager::GetChildAt(QWidget *widget, int x, int y, QWidget **child)
{
    if (!child)
        return VARIANT_FALSE;
    *child = nullptr;
    QWidget *live = AsConfirmedLiveWidget(widget);
    if (!live)
        return VARIANT_FALSE;
    QWidget *found = live->childAt(live->mapFromGlobal(QPoint(x, y)));
    if (!found || !IsAlienWidget(found))
        return VARIANT_FALSE;
    *child = found;
    return VARIANT_TRUE;
}

VARIANT_BOOL CvrQtBaseObjectManager::GetFocusWidget(QWidget *widget, QWidget **focused)
{
    if (!focused)
        return VARIANT_FALSE;
    *focused = nullptr;
    QWidget *live = AsConfirmedLiveWidget(widget);
    QWidget *found = live ? live->focusWidget() : nullptr;
    if (!found || !IsAlienWidget(found))
        return VARIANT_FALSE;
    *focused = found;
    return VARIANT_TRUE;
}

HRESULT CvrQtBaseObjectManager::GetWidgetText(QWidget *widget, BSTR *text)
{
    return readText(AsConfirmedLiveWidget(widget), E_FAIL, text, [](QWidget *live) { return WidgetText(live); });
}

VARIANT_BOOL CvrQtBaseObjectManager::HasSiblingOfSameName(QWidget *widget)
{
    QWidget *live = AsConfirmedLiveWidget(widget);
    return toVariantBool(live && ::HasSiblingOfSameName(live));
}
