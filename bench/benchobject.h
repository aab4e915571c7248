// The object the scripting benchmarks read and call.
#pragma once

#include <QObject>
#include <QString>

class BenchObject : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int number MEMBER number)
    Q_PROPERTY(QString text MEMBER text)

public:
    int number = 42;
    QString text = QStringLiteral("a text of some length");

public slots:
    int add(int left, int right) { return left + right; }
};
