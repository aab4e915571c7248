// Push buttons side by side under one parent, two of them alike in text and
// name, the application's own GalleryButton among them, and an area with a
// context menu of its own.
#pragma once

#include <QPointer>
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

    // A host may delete any widget of the page: each is used while it lives.
    QPointer<GalleryButton> m_counter;
    QPointer<QLabel> m_lastCommand;
    QPointer<QLabel> m_contextTarget;
    QPointer<QMenu> m_contextMenu;
};
