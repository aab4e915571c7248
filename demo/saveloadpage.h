// Saving and loading under a file name and an optional password. Nothing
// touches the disk: the page remembers what was "saved", so that a load can
// succeed or fail as a real one would.
#pragma once

#include <QHash>
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

    QLineEdit *m_fileName = nullptr;
    QLineEdit *m_password = nullptr;
    QLabel *m_status = nullptr;
    QHash<QString, QString> m_savedPasswords;
};
