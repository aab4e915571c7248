// The one object through which the host looks into the application: the
// questions about objects and widgets it names by address, and the weak
// controllers it holds them by.
#pragma once

#include "interfaces/objects.h"
#include "reflection/exposerregistry.h"

#include "runtime/comobject.h"

class CvrQtControlsHelper;
class CvrQtEventsNotifier;

// Objects cross as addresses; each operation first makes sure that the
// address is a live object (or widget) of this process and answers a bad
// one with a result code: E_INVALIDARG where an object is expected, E_FAIL
// where a widget is, and false from the operations that return a
// VARIANT_BOOL. A null target gives E_POINTER.
//
// The manager has no lock; operations run on the caller's thread, except
// SetWidgetFocus and GetChildWidgets, which run on the widget's thread.
class CvrQtBaseObjectManager : public ComObjectRoot,
                               public IvrQtObjectsManager,
                               public IvrQtObjectsHelper,
                               public IvrQtWidgetsHelper
{
public:
    // Made with no reference; the creator takes the first.
    static HRESULT CreateInstance(CvrQtBaseObjectManager **manager);

    // Lets go of everything the manager owns, before its final release.
    // Running it again finds nothing to do.
    void Shutdown();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    // IvrQtObjectsManager. GetObjectTypeInfo answers E_INVALIDARG for an
    // address that is not a live object.
    HRESULT STDMETHODCALLTYPE Initialize(IUnknown *host) override;
    HRESULT STDMETHODCALLTYPE GetObjectTypeInfo(QObject *object, ITypeInfo **typeInfo) override;

    // IvrQtObjectsHelper
    HRESULT STDMETHODCALLTYPE GetObjectName(QObject *object, BSTR *name) override;
    HRESULT STDMETHODCALLTYPE GetClassName(QObject *object, BSTR *name) override;
    VARIANT_BOOL STDMETHODCALLTYPE IsQObject(void *pointer) override;
    VARIANT_BOOL STDMETHODCALLTYPE IsWidget(QObject *object) override;
    HRESULT STDMETHODCALLTYPE GetStringText(const QString *string, BSTR *text) override;
    HRESULT STDMETHODCALLTYPE CreateObjectController(QObject *object, IvrQtObjectController **controller) override;
    HRESULT STDMETHODCALLTYPE GetMetaClassName(const QMetaObject *metaObject, BSTR *name) override;
    HRESULT STDMETHODCALLTYPE GetMetaObject(QObject *object, const QMetaObject **result) override;
    HRESULT STDMETHODCALLTYPE GetSuperMetaObject(const QMetaObject *metaObject, const QMetaObject **result) override;

    // IvrQtWidgetsHelper
    HRESULT STDMETHODCALLTYPE GetVisible(QWidget *widget, VARIANT_BOOL *visible) override;
    HRESULT STDMETHODCALLTYPE GetX(QWidget *widget, int *x) override;
    HRESULT STDMETHODCALLTYPE GetY(QWidget *widget, int *y) override;
    HRESULT STDMETHODCALLTYPE GetWidth(QWidget *widget, int *width) override;
    HRESULT STDMETHODCALLTYPE GetHeight(QWidget *widget, int *height) override;
    HRESULT STDMETHODCALLTYPE GetScreenX(QWidget *widget, int *x) override;
    HRESULT STDMETHODCALLTYPE GetScreenY(QWidget *widget, int *y) override;
    HRESULT STDMETHODCALLTYPE GetEnabled(QWidget *widget, VARIANT_BOOL *enabled) override;
    HRESULT STDMETHODCALLTYPE GetHasFocus(QWidget *widget, VARIANT_BOOL *focused) override;
    HRESULT STDMETHODCALLTYPE SetWidgetFocus(QWidget *widget, VARIANT_BOOL focus) override;
    HRESULT STDMETHODCALLTYPE Reserved() override;
    HRESULT STDMETHODCALLTYPE GetOwnWindowHandle(QWidget *widget, NativeWindowId *window) override;
    HRESULT STDMETHODCALLTYPE GetWindowHandle(QWidget *widget, NativeWindowId *window) override;
    HRESULT STDMETHODCALLTYPE FindWidget(NativeWindowId window, QWidget **widget) override;
    HRESULT STDMETHODCALLTYPE GetMainWindowHandle(NativeWindowId *window) override;
    HRESULT STDMETHODCALLTYPE GetWidgetIndex(QWidget *widget, int *index) override;
    VARIANT_BOOL STDMETHODCALLTYPE GetChildWidgets(QWidget *widget, VARIANT *children) override;
    VARIANT_BOOL STDMETHODCALLTYPE GetChildAt(QWidget *widget, int x, int y, QWidget **child) override;
    VARIANT_BOOL STDMETHODCALLTYPE GetFocusWidget(QWidget *widget, QWidget **focused) override;
    HRESULT STDMETHODCALLTYPE GetWidgetText(QWidget *widget, BSTR *text) override;
    VARIANT_BOOL STDMETHODCALLTYPE HasSiblingOfSameName(QWidget *widget) override;

private:
    CvrQtBaseObjectManager();
    ~CvrQtBaseObjectManager() override;

    CvrQtExposerRegistry registry;
    // Owned; answers the control helpers' interfaces.
    CvrQtControlsHelper *controlsHelper = nullptr;
    // One reference; answers IvrQtEventsNotifier.
    CvrQtEventsNotifier *eventsNotifier = nullptr;
};
