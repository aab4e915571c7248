#include "reflection/methodexposer.h"

#include <QObject>

#include "reflection/classrecord.h"
#include "values/methodarguments.h"
#include "values/methodresult.h"
#include "values/stringbridges.h"

bool CvrQtMethodExposer::IsHidden()
{
    if (descriptions.empty() || descriptions.size() > size_t(MethodArguments::MaximumCount) + 1)
        return true;
    for (const QtTypeDescription *description : descriptions) {
        if (description->vt >= VT_ILLEGAL)
            return true;
    }
    return false;
}

void CvrQtMethodExposer::BuildFuncDescs(FUNCDESC ***result)
{
    FUNCDESC **records = NewFuncDescs(1);
    FUNCDESC &record = *records[0];
    record.memid = -1;
    record.funckind = FUNC_DISPATCH;
    record.invkind = INVOKE_FUNC;
    record.elemdescFunc.tdesc.vt = descriptions.front()->vt;
    NewParameters(record, int(descriptions.size()) - 1);
    for (int index = 0; index < record.cParams; ++index) {
        ELEMDESC &parameter = record.lprgelemdescParam[index];
        parameter.tdesc.vt = descriptions[size_t(index) + 1]->vt;
        parameter.paramdesc.wParamFlags = PARAMFLAG_FIN;
    }
    *result = records;
}

HRESULT CvrQtMethodExposer::CheckArguments(DISPPARAMS *params)
{
    return CoerceArguments(params, descriptions.size() - 1, 1);
}

void CvrQtMethodExposer::Initialize(CvrQtBaseObjectExposer *newOwner)
{
    if (initialized)
        return;
    CvrQtBaseMemberExposer::Initialize(newOwner);
    const QByteArray signature = method.methodSignature();
    const int open = signature.indexOf('(');
    if (open >= 0) {
        invokeName = signature.left(open);
        name = NarrowToBstr(invokeName.constData());
    }
    descriptions.push_back(DescribeMemberType(method.typeName()));
    for (const QByteArray &parameterType : method.parameterTypes())
        descriptions.push_back(DescribeMemberType(parameterType.constData()));
}

HRESULT CvrQtMethodExposer::Invoke(IUnknown *context, DISPPARAMS *params, VARIANT *result)
{
    QObject *object = nullptr;
    HRESULT hr = ContextObject(context, method.enclosingMetaObject(), &object);
    if (FAILED(hr))
        return hr;
    if (FAILED(hr = CheckArguments(params)) || FAILED(hr = CheckResultArgument(result)))
        return hr;
    MethodResult returned(*descriptions.front());
    MethodArguments arguments;
    for (UINT index = 0; index < params->cArgs; ++index) {
        if (FAILED(hr = arguments.Append(params->rgvarg[index], *descriptions[size_t(index) + 1])))
            return hr;
    }
    // Qt picks the overload from the name and the argument type names.
    const bool ran = QMetaObject::invokeMethod(object, invokeName.constData(), Qt::DirectConnection,
                                               returned.returnArgument(), arguments.at(0), arguments.at(1),
                                               arguments.at(2), arguments.at(3), arguments.at(4), arguments.at(5),
                                               arguments.at(6), arguments.at(7), arguments.at(8), arguments.at(9));
    if (!ran)
        return DISP_E_EXCEPTION;
    arguments.WriteBack();
    return returned.Deliver(Wrapper(context), result);
}
