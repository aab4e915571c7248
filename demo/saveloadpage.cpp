#include "saveloadpage.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

SaveLoadPage::SaveLoadPage(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("saveLoadPage"));
    auto *layout = new QVBoxLayout(this);
    auto *form = new QFormLayout;
    layout->addLayout(form);

    auto *folder = new QLineEdit(QStringLiteral("~/Documents"));
    folder->setObjectName(QStringLiteral("folderEdit"));
    folder->setReadOnly(true);
    form->addRow(tr("Folder:"), folder);

    m_fileName = new QLineEdit(QStringLiteral("notes.txt"));
    m_fileName->setObjectName(QStringLiteral("fileNameEdit"));
    m_fileName->setPlaceholderText(tr("File name"));
    m_fileName->setClearButtonEnabled(true);
    form->addRow(tr("File name:"), m_fileName);

    m_password = new QLineEdit;
    m_password->setObjectName(QStringLiteral("passwordEdit"));
    m_password->setEchoMode(QLineEdit::Password);
    m_password->setPlaceholderText(tr("Empty for no encryption"));
    form->addRow(tr("Password:"), m_password);

    auto *buttons = new QHBoxLayout;
    auto *saveButton = new QPushButton(tr("Save"));
    saveButton->setObjectName(QStringLiteral("saveButton"));
    auto *loadButton = new QPushButton(tr("Load"));
    loadButton->setObjectName(QStringLiteral("loadButton"));
    buttons->addWidget(saveButton);
    buttons->addWidget(loadButton);
    buttons->addStretch();
    layout->addLayout(buttons);

    m_status = new QLabel(tr("Nothing saved yet."));
    m_status->setObjectName(QStringLiteral("fileStatusLabel"));
    layout->addWidget(m_status);
    layout->addStretch();

    connect(saveButton, &QPushButton::clicked, this, &SaveLoadPage::save);
    connect(loadButton, &QPushButton::clicked, this, &SaveLoadPage::load);
    connect(m_fileName, &QLineEdit::returnPressed, this, &SaveLoadPage::save);
}

void SaveLoadPage::save()
{
    if (!m_fileName || !m_password)
        return;
    const QString name = m_fileName->text().trimmed();
    if (name.isEmpty()) {
        report(tr("Not saved: the file name is empty."));
        return;
    }
    m_savedPasswords.insert(name, m_password->text());
    report(m_password->text().isEmpty() ? tr("Saved %1.").arg(name) : tr("Saved %1, encrypted.").arg(name));
}

void SaveLoadPage::load()
{
    if (!m_fileName || !m_password)
        return;
    const QString name = m_fileName->text().trimmed();
    const auto saved = m_savedPasswords.constFind(name);
    if (name.isEmpty())
        report(tr("Not loaded: the file name is empty."));
    else if (saved == m_savedPasswords.constEnd())
        report(tr("Not loaded: %1 does not exist.").arg(name));
    else if (*saved != m_password->text())
        report(tr("Not loaded: wrong password for %1.").arg(name));
    else
        report(tr("Loaded %1.").arg(name));
}

void SaveLoadPage::report(const QString &text)
{
    if (m_status)
        m_status->setText(text);
    emit activity(text);
}
