#include "values/methodarguments.h"

#include <cstring>

#include "values/hostarguments.h"

HRESULT MethodArguments::Append(VARIANT &value, const QtTypeDescription &description)
{
    if (appended >= MaximumCount)
        return E_INVALIDARG;
    void *data = ArgumentDataPointer(value, description);
    if (!data)
        return DISP_E_TYPEMISMATCH;
    Slot &slot = entries[size_t(appended)];
    slot = Slot();
    slot.typeName = description.latin1Name;
    slot.kind = description.isObject ? QtTemporary::None : QtTemporaryFor(description.typeName);
    if (slot.kind != QtTemporary::None) {
        if (description.pointerDepth == 0) {
            // By value or by reference: data is the host's value.
            slot.hostValue = description.isReference ? data : nullptr;
            ToQtValue(slot.kind, data, &slot.temporary);
            data = &slot.temporary;
        } else {
            // A pointer: data holds the host's pointer, which may be null.
            std::memcpy(&slot.hostValue, data, sizeof slot.hostValue);
            if (slot.hostValue) {
                ToQtValue(slot.kind, slot.hostValue, &slot.temporary);
                slot.temporaryPointer = &slot.temporary;
                data = &slot.temporaryPointer;
            }
        }
    }
    slot.data = data;
    ++appended;
    return S_OK;
}

QGenericArgument MethodArguments::at(int index) const
{
    if (index < 0 || index >= appended)
        return QGenericArgument();
    const Slot &slot = entries[size_t(index)];
    return QGenericArgument(slot.typeName.constData(), slot.data);
}

void MethodArguments::WriteBack()
{
    for (int index = 0; index < appended; ++index) {
        const Slot &slot = entries[size_t(index)];
        if (slot.hostValue)
            ToAutomationValue(slot.kind, &slot.temporary, slot.hostValue);
    }
}
