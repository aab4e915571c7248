#include "values/qttemporary.h"

#include <cstdint>
#include <cstring>

#include "platform/automation.h"
#include "values/typetable.h"

static_assert(sizeof(long) == 8 && sizeof(bool) == 1, "Qt's long is 8 bytes and its bool 1 on this platform");

namespace {

struct TemporaryRow {
    const char *name;
    QtTemporary kind;
};

constexpr TemporaryRow kTemporaries[] = {
    { "long", QtTemporary::Long },
    { "ulong", QtTemporary::ULong },
    { "bool", QtTemporary::Bool },
};

} // namespace

QtTemporary QtTemporaryFor(const QString &typeName)
{
    const QString bare = CQtTypeTable::RemovePointerMarks(typeName);
    for (const TemporaryRow &row : kTemporaries) {
        if (TypeNameEquals(bare, row.name, Qt::CaseInsensitive))
            return row.kind;
    }
    return QtTemporary::None;
}

void ToQtValue(QtTemporary kind, const void *automationValue, void *qtValue)
{
    switch (kind) {
    case QtTemporary::Long: {
        std::int32_t automation;
        std::memcpy(&automation, automationValue, sizeof automation);
        const long qt = automation;
        std::memcpy(qtValue, &qt, sizeof qt);
        break;
    }
    case QtTemporary::ULong: {
        std::uint32_t automation;
        std::memcpy(&automation, automationValue, sizeof automation);
        const unsigned long qt = automation;
        std::memcpy(qtValue, &qt, sizeof qt);
        break;
    }
    case QtTemporary::Bool: {
        VARIANT_BOOL automation;
        std::memcpy(&automation, automationValue, sizeof automation);
        const bool qt = automation != VARIANT_FALSE;
        std::memcpy(qtValue, &qt, sizeof qt);
        break;
    }
    case QtTemporary::None:
        break;
    }
}

void ToAutomationValue(QtTemporary kind, const void *qtValue, void *automationValue)
{
    if (kind == QtTemporary::Long || kind == QtTemporary::ULong) {
        unsigned long qt;
        std::memcpy(&qt, qtValue, sizeof qt);
        const std::uint32_t automation = std::uint32_t(qt);
        std::memcpy(automationValue, &automation, sizeof automation);
    } else if (kind == QtTemporary::Bool) {
        unsigned char qt; // read as a byte: Qt may have left any pattern
        std::memcpy(&qt, qtValue, sizeof qt);
        const VARIANT_BOOL automation = qt ? VARIANT_TRUE : VARIANT_FALSE;
        std::memcpy(automationValue, &automation, sizeof automation);
    }
}
