// An object with a property or a method of each kind the value paths serve.
#pragma once

#include <QObject>
#include <QRect>

class ProbeObject : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int count MEMBER count)
    Q_PROPERTY(long wide MEMBER wide)
    Q_PROPERTY(ulong unsignedWide MEMBER unsignedWide)
    Q_PROPERTY(bool flag MEMBER flag)
    Q_PROPERTY(QString text MEMBER text)
    Q_PROPERTY(Options options READ readOptions WRITE writeOptions)

public:
    enum Option : unsigned { First = 0x1, Top = 0x80000000u };
    Q_DECLARE_FLAGS(Options, Option)
    Q_FLAG(Options)

    Options readOptions() const { return options; }
    void writeOptions(Options value) { options = value; }
    Q_INVOKABLE int twice(int value) { return 2 * value; }
    Q_INVOKABLE long negate(long value) { return -value; }
    Q_INVOKABLE bool invert(bool value) { return !value; }
    Q_INVOKABLE QString describe() { return text; }
    Q_INVOKABLE QRect grow(const QRect &rect) { return rect.adjusted(-1, -1, 1, 1); }
    Q_INVOKABLE void touch() {}
    Q_INVOKABLE ushort *counterAddress() { return &counter; }
    Q_INVOKABLE void stretch(long *value) { *value = *value * 0x100000000L + 7; }

    int count = 0;
    long wide = 0;
    ulong unsignedWide = 0;
    bool flag = false;
    QString text = QStringLiteral("text");
    Options options;
    ushort counter = 9;
};
