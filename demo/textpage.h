// A rich-text editor holding a short document, with a live word count.
#pragma once

#include <QWidget>

class TextPage : public QWidget
{
    Q_OBJECT

public:
    explicit TextPage(QWidget *parent = nullptr);
};
