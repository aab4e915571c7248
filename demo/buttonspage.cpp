#include "buttonspage.h"

#include <QAction>
#include <QActionGroup>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QMenu>
#include <QMetaEnum>
#include <QPalette>
#include <QPushButton>
#include <QVBoxLayout>

#include "gallerybutton.h"

ButtonsPage::ButtonsPage(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("buttonsPage"));
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(createCommands());

    m_lastCommand = new QLabel(tr("No command yet."));
    m_lastCommand->setObjectName(QStringLiteral("lastCommandLabel"));
    layout->addWidget(m_lastCommand);

    auto *clicks = new QLabel;
    clicks->setObjectName(QStringLiteral("clickCountLabel"));
    const auto showClicks = [clicks](int count) { clicks->setText(tr("Clicks: %1").arg(count)); };
    showClicks(m_counter->clickCount());
    connect(m_counter, &GalleryButton::clickCountChanged, clicks, showClicks);
    layout->addWidget(clicks);

    layout->addWidget(createContextTarget(), 1);
}

QWidget *ButtonsPage::createCommands()
{
    auto *group = new QGroupBox(tr("Commands"));
    group->setObjectName(QStringLiteral("commandGroup"));
    auto *grid = new QGridLayout(group);

    // Every button is a direct child of the group: siblings, in this order.
    auto *apply = new QPushButton(tr("Apply"));
    apply->setObjectName(QStringLiteral("applyButton"));
    apply->setDefault(true);
    connect(apply, &QPushButton::clicked, this, [this] { report(tr("Settings applied")); });

    auto *reset = new QPushButton(tr("Reset"));
    reset->setObjectName(QStringLiteral("resetButton"));

    // Same caption and same object name, as copied code leaves them; only
    // their order and tool tips tell them apart.
    auto *quickRun = new QPushButton(tr("Run"));
    quickRun->setObjectName(QStringLiteral("runButton"));
    quickRun->setToolTip(tr("Quick check"));
    connect(quickRun, &QPushButton::clicked, this, [this] { report(tr("Quick check started")); });
    auto *fullRun = new QPushButton(tr("Run"));
    fullRun->setObjectName(QStringLiteral("runButton"));
    fullRun->setToolTip(tr("Full check"));
    connect(fullRun, &QPushButton::clicked, this, [this] { report(tr("Full check started")); });

    auto *help = new QPushButton(tr("Help"));
    connect(help, &QPushButton::clicked, this, [this] { report(tr("Help opened")); });

    auto *remove = new QPushButton(tr("Delete"));
    remove->setObjectName(QStringLiteral("deleteButton"));
    remove->setEnabled(false);
    remove->setToolTip(tr("Nothing is selected"));

    auto *mute = new QPushButton(tr("Mute"));
    mute->setObjectName(QStringLiteral("muteButton"));
    mute->setCheckable(true);
    connect(mute, &QPushButton::toggled, this, [this](bool muted) { report(muted ? tr("Muted") : tr("Unmuted")); });

    auto *more = new QPushButton(tr("More"));
    auto *moreMenu = new QMenu(more);
    moreMenu->setObjectName(QStringLiteral("moreMenu"));
    for (const QString &text : { tr("Duplicate"), tr("Rename"), tr("Archive") })
        moreMenu->addAction(text);
    connect(moreMenu, &QMenu::triggered, this, [this](QAction *action) { report(tr("More: %1").arg(action->text())); });
    more->setMenu(moreMenu);

    m_counter = new GalleryButton(tr("Count"));
    m_counter->setObjectName(QStringLiteral("counterButton"));
    m_counter->setBadges(GalleryButton::NewBadge | GalleryButton::BetaBadge);
    connect(m_counter, &GalleryButton::toneChanged, this, [this](GalleryButton::Tone tone) {
        report(tr("Counter tone: %1").arg(QLatin1String(QMetaEnum::fromType<GalleryButton::Tone>().valueToKey(tone))));
    });
    connect(reset, &QPushButton::clicked, this, [this] {
        if (m_counter)
            m_counter->resetClickCount();
        report(tr("Counter reset"));
    });

    const QList<QPushButton *> buttons{ apply, reset, quickRun, fullRun, help, remove, mute, more, m_counter };
    const int columns = 5;
    for (int i = 0; i < buttons.size(); ++i)
        grid->addWidget(buttons.at(i), i / columns, i % columns);
    return group;
}

QWidget *ButtonsPage::createContextTarget()
{
    m_contextTarget = new QLabel(tr("Right-click here for a menu."));
    m_contextTarget->setObjectName(QStringLiteral("contextTarget"));
    m_contextTarget->setFrameShape(QFrame::StyledPanel);
    m_contextTarget->setAlignment(Qt::AlignCenter);
    m_contextTarget->setMinimumHeight(80);
    m_contextTarget->setAutoFillBackground(true);
    m_contextTarget->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_contextTarget, &QWidget::customContextMenuRequested, this, &ButtonsPage::showContextMenu);

    // Built once and kept, as most applications do, so that it can be found
    // while it is closed too.
    m_contextMenu = new QMenu(this);
    m_contextMenu->setObjectName(QStringLiteral("contextMenu"));
    QAction *copy = m_contextMenu->addAction(tr("&Copy Text"));
    connect(copy, &QAction::triggered, this, [this] { report(tr("Context: text copied")); });
    m_contextMenu->addAction(tr("&Paste"))->setEnabled(false);
    m_contextMenu->addSeparator();
    QMenu *colours = m_contextMenu->addMenu(tr("C&olour"));
    auto *colourGroup = new QActionGroup(colours);
    const struct
    {
        QString name;
        QColor colour;
    } choices[] = {
        { tr("None"), QColor() },
        { tr("Red"), QColor(0xf4, 0xc7, 0xc3) },
        { tr("Green"), QColor(0xc8, 0xe6, 0xc9) },
        { tr("Blue"), QColor(0xbb, 0xde, 0xfb) },
    };
    for (const auto &choice : choices) {
        QAction *action = colours->addAction(choice.name);
        action->setCheckable(true);
        action->setChecked(!choice.colour.isValid());
        colourGroup->addAction(action);
        const QColor colour = choice.colour;
        connect(action, &QAction::triggered, m_contextTarget, [this, colour, name = choice.name] {
            QPalette palette = m_contextTarget->palette();
            palette.setColor(QPalette::Window, colour.isValid() ? colour : this->palette().color(QPalette::Window));
            m_contextTarget->setPalette(palette);
            report(tr("Context: colour %1").arg(name));
        });
    }
    return m_contextTarget;
}

void ButtonsPage::showContextMenu(const QPoint &position)
{
    if (m_contextMenu && m_contextTarget)
        m_contextMenu->popup(m_contextTarget->mapToGlobal(position));
}

void ButtonsPage::report(const QString &text)
{
    if (m_lastCommand)
        m_lastCommand->setText(text);
    emit activity(text);
}
