// One property of one class: its get and put functions, and the read and
// write that carry a value between the host and QMetaProperty.
#pragma once

#include <QMetaProperty>

#include "reflection/exposerbase.h"

class CvrQtPropertyExposer : public CvrQtBaseMemberExposer
{
public:
    explicit CvrQtPropertyExposer(const QMetaProperty &property) : property(property) {}

    // Hidden when its type has no row, and windowTitle on QDockWidget.
    bool IsHidden() override;
    ~CvrQtPropertyExposer() override = default;
    // A get if readable, then a put if writable; no parameters listed.
    void BuildFuncDescs(FUNCDESC ***result) override;
    // Exactly one argument, coerced to the property's type.
    HRESULT CheckArguments(DISPPARAMS *params) override;
    void Initialize(CvrQtBaseObjectExposer *owner) override;
    int GetFuncDescCount() override;
    // A result means a read; no result a write of rgvarg[0].
    HRESULT Invoke(IUnknown *context, DISPPARAMS *params, VARIANT *result) override;

private:
    HRESULT Read(IUnknown *context, VARIANT *result);
    HRESULT Write(IUnknown *context, DISPPARAMS *params);

    QMetaProperty property;
};
