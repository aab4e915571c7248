// Classes whose meta-objects the scripting tests read: every kind of
// property and method the type descriptions must handle.
#pragma once

#include <QObject>
#include <QRect>
#include <QString>
#include <QWidget>

class Scriptable : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int count MEMBER count)
    Q_PROPERTY(QString title MEMBER title)
    Q_PROPERTY(bool enabledFlag MEMBER enabledFlag)
    Q_PROPERTY(Mode mode MEMBER mode)
    Q_PROPERTY(Options options READ getOptions WRITE setOptions)
    Q_PROPERTY(qreal ratio READ ratio)
    Q_PROPERTY(QRect area MEMBER area)
    Q_PROPERTY(QObject *partner MEMBER partner)
    Q_PROPERTY(QWidget *buddy MEMBER buddy)
    Q_PROPERTY(Unregistered hidden READ hidden)

public:
    enum Mode { Idle = 0, Busy = 7 };
    Q_ENUM(Mode)
    enum Option : unsigned { First = 0x1, Top = 0x80000000 };
    Q_DECLARE_FLAGS(Options, Option)
    Q_FLAG(Options)
    struct Unregistered {
        int value = 0;
    };

    qreal ratio() const { return 0.25; }
    Options getOptions() const { return options; }
    void setOptions(Options value) { options = value; }
    Unregistered hidden() const { return {}; }

    int count = 0;
    QString title;
    bool enabledFlag = false;
    Mode mode = Idle;
    Options options;
    QRect area;
    QObject *partner = nullptr;
    QWidget *buddy = nullptr;
    QWidget *candidate = nullptr;
    int pings = 0;
    QString lastJoin;

public slots:
    void ping() { ++pings; }
    int add(int left, int right) { return left + right; }
    QString join(const QString &text) { return lastJoin = text; }
    QString join(const QString &text, int times) { return lastJoin = text.repeated(times); }
    int sum10(int a, int b, int c, int d, int e, int f, int g, int h, int i, int j)
    {
        return a + b + c + d + e + f + g + h + i + j;
    }
    int sum11(int a, int b, int c, int d, int e, int f, int g, int h, int i, int j, int k)
    {
        return a + b + c + d + e + f + g + h + i + j + k;
    }
    void takeUnknown(Unregistered) {}
    QObject *self() { return this; }
    QWidget *candidateBuddy() { return candidate; }
    void scale(QRect rect, int factor) { area = QRect(rect.topLeft(), rect.size() * factor); }

signals:
    void changed(int value);
};

// A widget that declares a member named like one the descriptions add.
class TextClash : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QString QtText MEMBER ownText)

public:
    QString ownText = QStringLiteral("own");
};

// Declares nothing of its own.
class Plain : public Scriptable
{
    Q_OBJECT
};
