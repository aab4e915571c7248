// A value the module brought into heap storage, as the host hands it to a
// script: it gives the storage back to the module (IvrQtValueStorage) when
// it returns as an argument, and lets a script read it (IDispatch). It owns
// the storage and frees it, by its type name, when its last reference goes.
//
// What a script reads:
// - every value: "value" (DISPID_VALUE), its text (a QString's text, a
//   QRect's "x,y WxH", an object's address); VT_NULL for null storage;
// - Qt value classes: their parts by name, read-only (x, y, width, height of
//   a QRect; red, green, blue, alpha of a QColor; valuetypes.cpp lists them);
// - "QObject*" and "QWidget*": every member of the object's type
//   description, called on the object's thread through the script session.
#pragma once

#include <QPointer>
#include <QString>

#include <memory>

#include "host/modulehost.h"
#include "host/scripting/refcounted.h"
#include "host/scripting/valuetypes.h"
#include "interfaces/values.h"

namespace vrqt::scripting {

class ScriptSession;

// Host-private: answered by value objects only, so that host code can tell
// its own wrappers from anything else behind an IDispatch.
DEFINE_IID(IID_HostValueObject, 0xFFE77A40, 0x87AF, 0x4C26, 0x94, 0x64, 0x72, 0xC4, 0x43, 0x14, 0xC7, 0xB5);

class ValueObject final : public IDispatch, public IvrQtValueStorage, public RefCounted<ValueObject>
{
public:
    // Takes storage over (also when creation fails: then it is freed here).
    // object: for the object kinds, the object the storage points at when
    // the module confirmed it is one, else null. One reference, the
    // caller's; null when memory runs out.
    static ValueObject *create(void *storage, const QString &typeName, int hostContext, QObject *object,
                               std::weak_ptr<ScriptSession> session);
    // The value object behind unknown, or empty when it is none of ours.
    static host::Ref<ValueObject> from(IUnknown *unknown);
    // How many value objects exist in this process.
    static long liveCount();

    const QString &typeName() const { return name; }
    const ValueType &type() const { return row; }
    void *storage() const { return stored; }
    int hostContext() const { return context; }
    // The object of a "QObject*"-like value while it lives; null otherwise.
    QObject *object() const { return target.data(); }
    bool isObject() const { return row.kind == ValueKind::ObjectPointer || row.kind == ValueKind::Object; }
    // The names a script can read besides "value"; an object's members are
    // its type description's.
    std::vector<QString> partNames() const;
    // The parts with their values, read at once.
    std::vector<ValuePart> parts() const;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return addReference(); }
    ULONG STDMETHODCALLTYPE Release() override { return releaseReference(); }

    // IvrQtValueStorage. Any thread.
    HRESULT STDMETHODCALLTYPE GetStorage(void **storage) override;

    // IDispatch. Values: any thread. Objects: the script thread, which the
    // session serves one call at a time.
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT *count) override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID lcid, ITypeInfo **typeInfo) override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR *names, UINT count, LCID lcid, DISPID *dispIds) override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID dispId, REFIID riid, LCID lcid, WORD flags, DISPPARAMS *params, VARIANT *result,
                                     EXCEPINFO *excepInfo, UINT *argErr) override;

private:
    friend class RefCounted<ValueObject>;
    ValueObject(void *storage, const QString &typeName, int hostContext, QObject *object, std::weak_ptr<ScriptSession> session);
    ~ValueObject();

    HRESULT readOwnMember(DISPID dispId, WORD flags, DISPPARAMS *params, VARIANT *result) const;
    HRESULT valueText(VARIANT *result) const;

    void *const stored;
    const QString name;
    const ValueType &row;
    const int context;
    const QPointer<QObject> target;
    const std::weak_ptr<ScriptSession> session;
};

} // namespace vrqt::scripting
