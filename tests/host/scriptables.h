// Objects for the host's scripting tests: a property of each kind the host wraps
// differently, and methods that show where and with what they ran.
#pragma once

#include <QObject>
#include <QRect>
#include <QSemaphore>
#include <QThread>

#include <atomic>

class ScriptTarget : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int count MEMBER count)
    Q_PROPERTY(QString title MEMBER title)
    Q_PROPERTY(QRect area MEMBER area)
    Q_PROPERTY(QObject *partner MEMBER partner)

public:
    using QObject::QObject;

    Q_INVOKABLE int add(int left, int right) const { return left + right; }
    Q_INVOKABLE QString join(const QString &left, const QString &right) const { return left + right; }
    Q_INVOKABLE QString threadName() const { return QThread::currentThread()->objectName(); }
    Q_INVOKABLE bool isPartner(QObject *object) const { return object && object == partner; }
    // Waits until the test opens the gate (at most 10 s), then counts.
    Q_INVOKABLE void hold()
    {
        gate.tryAcquire(1, 10000);
        ++held;
    }

    int count = 0;
    QString title;
    QRect area;
    QObject *partner = nullptr;
    QSemaphore gate;
    std::atomic<int> held{ 0 };
};
