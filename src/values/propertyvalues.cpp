#include "values/propertyvalues.h"

#include "values/hostarguments.h"
#include "values/qttemporary.h"
#include "values/qtcompat.h"
#include "values/valuestorage.h"
#include "values/variantdata.h"

void DescribePropertyType(const QMetaProperty &property, QtTypeDescription &out)
{
    CQtTypeTable::DescribeType(property.typeName(), out, PropertyTypeMask);
    if (out.vt == VT_ILLEGAL && (property.isFlagType() || property.isEnumType())) {
        out.vt = VT_I4;
        out.isObject = false;
        SetDescribedName(out, QStringLiteral("long"));
    }
}

HRESULT PropertyValueToVariant(const QVariant &value, const QtTypeDescription &description, const HostWrapper &host,
                               VARIANT *result)
{
    if (!result)
        return E_POINTER;
    if (!value.isValid())
        return E_FAIL;
    if (!description.isObject) {
        // A scalar needs no storage of its own: it is copied at once.
        alignas(8) unsigned char cell[8];
        if (!FillScalarFromQVariant(value, description.storage, cell)) {
            result->vt = VT_EMPTY;
            return S_OK;
        }
        result->vt = description.vt;
        StoreRawInVariant(cell, *result);
        return S_OK;
    }
    return DeliverStorage(CreateValueFromQVariant(value, description.storage), description, host,
                          WrapFailure::Report, result);
}

QVariant PropertyWriteValue(const VARIANT &value, const QtTypeDescription &description, const QMetaProperty &property)
{
    const void *data = ArgumentDataPointer(value, description);
    int typeId = QtCompat::PropertyTypeId(property);
    unsigned long temporary = 0;
    if (property.isEnumType()) {
        // Qt 5's write refuses a long for an enumeration; its int has the
        // automation LONG's width, so the value arrives exactly.
        typeId = QMetaType::Int;
    } else if (data && !description.isObject) {
        const QtTemporary kind = QtTemporaryFor(description.typeName);
        if (kind != QtTemporary::None && description.pointerDepth == 0) {
            ToQtValue(kind, data, &temporary);
            data = &temporary;
        }
    }
    QVariant variant = QtCompat::VariantFromData(typeId, data);
    if (QtCompat::VariantTypeId(variant) == QMetaType::Bool) {
        QtCompat::ConvertVariant(variant, QMetaType::Int);
        QtCompat::ConvertVariant(variant, QMetaType::Bool);
    }
    return variant;
}
