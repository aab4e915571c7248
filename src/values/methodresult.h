// The slot a method's result is written into, and its way to the host.
// Made before QMetaObject::invokeMethod, delivered after it succeeded.
#pragma once

#include <QByteArray>
#include <QGenericReturnArgument>

#include "values/valuedelivery.h"

class MethodResult
{
public:
    // Storage by CreateEmptyValue for the result's description (slot 0),
    // which must outlive this object.
    // Thread: the thread that owns the object; a "QWidget" result needs the GUI thread.
    explicit MethodResult(const QtTypeDescription &description);
    // Frees storage that was never delivered.
    ~MethodResult();
    MethodResult(const MethodResult &) = delete;
    MethodResult &operator=(const MethodResult &) = delete;

    // For invokeMethod: the result's type name and storage. A void method,
    // and any type without storage, gives null data, so Qt writes nothing.
    QGenericReturnArgument returnArgument() const;

    // After invokeMethod returned true. No storage gives VT_EMPTY; a scalar
    // is brought from Qt's type to the automation's where they differ
    // (qttemporary.h) and copied; an object is wrapped, and a failed wrap
    // deliberately still gives VT_DISPATCH and success. A failure of the
    // host context ends it with that result.
    // Returns S_OK, E_POINTER for a null result, or the host context's failure.
    HRESULT Deliver(const HostWrapper &host, VARIANT *result);

private:
    const QtTypeDescription &description;
    void *storage = nullptr;
};
