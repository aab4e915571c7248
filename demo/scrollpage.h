// A scroll area whose content is larger than the page both ways, with
// buttons in its corners that are out of sight until scrolled to.
#pragma once

#include <QWidget>

class ScrollPage : public QWidget
{
    Q_OBJECT

public:
    explicit ScrollPage(QWidget *parent = nullptr);

signals:
    void activity(const QString &text);
};
