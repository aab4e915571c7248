// Saving and loading under a file name and an optional password. Nothing
// touches the disk: the page remembers what was "saved", so that a load can
// succeed or fail as a real one would.
#pragma once

#include <QHash>
#include <QPointer>
#include <QWidget>

class QLabel;
class QLineEdit;

class SaveLoadPage : public QWidget
{
    Q_OBJECT

public:
    explicit SaveLoadPage(QWidget *parent = nullptr);

signals:
    void activity(const QString &text);

private:
    void save();
    void load();
    void report(const QString &text);

    // A host may delete any of them: each is used while it lives.
    QPointer<QLineEdit> m_fileName;
    QPointer<QLineEdit> m_password;
    QPointer<QLabel> m_status;
    QHash<QString, QString> m_savedPasswords;
};
