// A month calendar over a fixed range, with the chosen date written out.
#pragma once

#include <QWidget>

class CalendarPage : public QWidget
{
    Q_OBJECT

public:
    explicit CalendarPage(QWidget *parent = nullptr);

signals:
    void activity(const QString &text);
};
