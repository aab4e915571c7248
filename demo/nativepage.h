// A child widget with a native window of its own, as a video or 3D view has,
// inside an otherwise alien widget tree.
#pragma once

#include <QWidget>

class NativePage : public QWidget
{
    Q_OBJECT

public:
    explicit NativePage(QWidget *parent = nullptr);

signals:
    void activity(const QString &text);
};
