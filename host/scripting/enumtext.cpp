#include "host/scripting/enumtext.h"

namespace vrqt::scripting {

namespace {

// One key without its scope; nothing when it is none of enumerator's.
std::optional<int> KeyValue(const QMetaEnum &enumerator, QString key)
{
    key = key.trimmed();
    const QString scope = QLatin1String(enumerator.scope()) + QLatin1String("::");
    if (key.startsWith(scope))
        key = key.mid(scope.size());
    std::optional<int> caseless;
    for (int index = 0; index < enumerator.keyCount(); ++index) {
        const QLatin1String candidate(enumerator.key(index));
        if (key == candidate)
            return enumerator.value(index);
        if (!caseless && key.compare(candidate, Qt::CaseInsensitive) == 0)
            caseless = enumerator.value(index);
    }
    return caseless;
}

} // namespace

QString EnumValueText(const QMetaEnum &enumerator, int value)
{
    if (!enumerator.isValid())
        return QString();
    if (!enumerator.isFlag()) {
        const char *key = enumerator.valueToKey(value);
        return key ? QLatin1String(key) : QString();
    }
    const QByteArray keys = enumerator.valueToKeys(value);
    bool exact = false;
    const int back = keys.isEmpty() ? 0 : enumerator.keysToValue(keys.constData(), &exact);
    return !keys.isEmpty() && exact && back == value ? QString::fromLatin1(keys) : QString();
}

std::optional<int> EnumValueFromText(const QMetaEnum &enumerator, const QString &text)
{
    if (!enumerator.isValid() || text.trimmed().isEmpty())
        return std::nullopt;
    const QStringList keys = text.split(QLatin1Char('|'));
    if (keys.size() > 1 && !enumerator.isFlag())
        return std::nullopt;
    int value = 0;
    for (const QString &key : keys) {
        const std::optional<int> one = KeyValue(enumerator, key);
        if (!one)
            return std::nullopt;
        value |= *one;
    }
    return value;
}

QStringList EnumKeys(const QMetaEnum &enumerator)
{
    QStringList keys;
    for (int index = 0; index < enumerator.keyCount(); ++index)
        keys << QLatin1String(enumerator.key(index));
    return keys;
}

QString EnumTypeName(const QMetaEnum &enumerator)
{
    return QLatin1String(enumerator.scope()) + QLatin1String("::") + QLatin1String(enumerator.name());
}

} // namespace vrqt::scripting
