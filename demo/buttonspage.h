// Push buttons side by side under one parent, two of them alike in text and
// name, the application's own GalleryButton among them, and an area with a
// context menu of its own.
#pragma once

#include <QWidget>

class GalleryButton;
class QLabel;
class QMenu;
class QPoint;

class ButtonsPage : public QWidget
{
    Q_OBJECT

public:
    explicit ButtonsPage(QWidget *parent = nullptr);

signals:
    void activity(const QString &text);

private:
    QWidget *createCommands();
    QWidget *createContextTarget();
    void showContextMenu(const QPoint &position);
    void report(const QString &text);

    GalleryButton *m_counter = nullptr;
    QLabel *m_lastCommand = nullptr;
    QLabel *m_contextTarget = nullptr;
    QMenu *m_contextMenu = nullptr;
};
