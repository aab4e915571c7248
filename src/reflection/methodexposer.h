// One method of one class (signal, slot or invokable alike), called through
// QMetaObject::invokeMethod. Every overload and every shortened form Qt
// lists for default arguments is a method of its own under the same name.
#pragma once

#include <QByteArray>
#include <QMetaMethod>

#include "reflection/exposerbase.h"

class CvrQtMethodExposer : public CvrQtBaseMemberExposer
{
public:
    explicit CvrQtMethodExposer(const QMetaMethod &method) : method(method) {}

    // Hidden with more than ten parameters or any type without a row.
    bool IsHidden() override;
    ~CvrQtMethodExposer() override = default;
    // One function, its parameters marked as input.
    void BuildFuncDescs(FUNCDESC ***result) override;
    // Every parameter must be given: a shorter form is another method.
    HRESULT CheckArguments(DISPPARAMS *params) override;
    void Initialize(CvrQtBaseObjectExposer *owner) override;
    int GetFuncDescCount() override { return 1; }
    // rgvarg[0] is the first parameter (not reversed). A result is
    // required, even for a void method.
    HRESULT Invoke(IUnknown *context, DISPPARAMS *params, VARIANT *result) override;

private:
    QMetaMethod method;
    QByteArray invokeName; // the signature up to its '('
};
