// Questions about objects and widgets, and weak controllers. Objects cross
// as plain addresses that the host holds as opaque numbers.
#pragma once

#include "interfaces/dispatch.h"
#include "interfaces/unknown.h"
#include "platform/variant.h"

class QObject;
class QWidget;
class QString;
struct QMetaObject;

struct IvrQtObjectController;

DEFINE_IID(IID_IvrQtObjectsManager, 0x07B7FBEE, 0x6464, 0x4604, 0xAE, 0x53, 0xFF, 0xC6, 0xFC, 0x2E, 0x5F, 0x79);
DEFINE_IID(IID_IvrQtObjectsHelper, 0x779276B1, 0xEA96, 0x4E24, 0xBE, 0xA8, 0x5D, 0x0B, 0xB4, 0x0D, 0xBF, 0xEB);
DEFINE_IID(IID_IvrQtWidgetsHelper, 0x8F81D52D, 0x3475, 0x4E42, 0xB2, 0x17, 0x41, 0x94, 0x2B, 0x53, 0x05, 0x8A);
DEFINE_IID(IID_IvrQtObjectController, 0x46FD1EB5, 0x2410, 0x4DD8, 0x81, 0x58, 0xCE, 0xA1, 0x5D, 0xA2, 0x83, 0xFF);
DEFINE_IID(IID_IvrQtObjectProxy, 0x2CF34B99, 0x9A01, 0x4F02, 0x8F, 0x6A, 0x86, 0x47, 0xAC, 0xF3, 0xBA, 0x4B);

// A native window id as Qt gives it (WId).
typedef ULONG_PTR NativeWindowId;

// The scripting side of the manager. Initialize hands over the host's
// object factory (asked for by IID_IvrQtHostObjectFactory on host); only the
// first call counts. GetObjectTypeInfo gives the dispatch description of
// object's class, its base classes reachable through GetRefTypeInfo.
struct IvrQtObjectsManager : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Initialize(IUnknown *host) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetObjectTypeInfo(QObject *object, ITypeInfo **typeInfo) = 0;
};

struct IvrQtObjectsHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetObjectName(QObject *object, BSTR *name) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetClassName(QObject *object, BSTR *name) = 0;
    virtual VARIANT_BOOL STDMETHODCALLTYPE IsQObject(void *pointer) = 0;
    virtual VARIANT_BOOL STDMETHODCALLTYPE IsWidget(QObject *object) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStringText(const QString *string, BSTR *text) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateObjectController(QObject *object, IvrQtObjectController **controller) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMetaClassName(const QMetaObject *metaObject, BSTR *name) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMetaObject(QObject *object, const QMetaObject **result) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSuperMetaObject(const QMetaObject *metaObject, const QMetaObject **result) = 0;
};

struct IvrQtWidgetsHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetVisible(QWidget *widget, VARIANT_BOOL *visible) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetX(QWidget *widget, int *x) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetY(QWidget *widget, int *y) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetWidth(QWidget *widget, int *width) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHeight(QWidget *widget, int *height) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetScreenX(QWidget *widget, int *x) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetScreenY(QWidget *widget, int *y) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetEnabled(QWidget *widget, VARIANT_BOOL *enabled) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHasFocus(QWidget *widget, VARIANT_BOOL *focused) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetWidgetFocus(QWidget *widget, VARIANT_BOOL focus) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reserved() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetOwnWindowHandle(QWidget *widget, NativeWindowId *window) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetWindowHandle(QWidget *widget, NativeWindowId *window) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindWidget(NativeWindowId window, QWidget **widget) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMainWindowHandle(NativeWindowId *window) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetWidgetIndex(QWidget *widget, int *index) = 0;
    virtual VARIANT_BOOL STDMETHODCALLTYPE GetChildWidgets(QWidget *widget, VARIANT *children) = 0;
    virtual VARIANT_BOOL STDMETHODCALLTYPE GetChildAt(QWidget *widget, int x, int y, QWidget **child) = 0;
    virtual VARIANT_BOOL STDMETHODCALLTYPE GetFocusWidget(QWidget *widget, QWidget **focused) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetWidgetText(QWidget *widget, BSTR *text) = 0;
    virtual VARIANT_BOOL STDMETHODCALLTYPE HasSiblingOfSameName(QWidget *widget) = 0;
};

struct IvrQtObjectController : IUnknown {
    virtual VARIANT_BOOL STDMETHODCALLTYPE IsObjectAlive() = 0;
};

struct IvrQtObjectProxy : IUnknown {
    virtual void STDMETHODCALLTYPE ClearTarget() = 0;
};
