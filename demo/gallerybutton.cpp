#include "gallerybutton.h"

#include <QColor>
#include <QPalette>
#include <QStringList>

#include <iterator>

namespace {

// Button colour by tone; Neutral keeps the style's own.
const QColor toneColours[] = {
    QColor(),
    QColor(0x3d, 0x7e, 0xdb),
    QColor(0xf0, 0xa0, 0x30),
    QColor(0xd0, 0x40, 0x40),
};

struct BadgeName
{
    GalleryButton::Badge badge;
    const char *name;
};

const BadgeName badgeNames[] = {
    { GalleryButton::NewBadge, QT_TRANSLATE_NOOP("GalleryButton", "New") },
    { GalleryButton::BetaBadge, QT_TRANSLATE_NOOP("GalleryButton", "Beta") },
    { GalleryButton::LockedBadge, QT_TRANSLATE_NOOP("GalleryButton", "Locked") },
};

} // namespace

GalleryButton::GalleryButton(const QString &text, QWidget *parent)
    : QPushButton(text, parent)
{
    connect(this, &QAbstractButton::clicked, this, [this] { addClicks(1); });
    updateToolTip();
}

void GalleryButton::setClickCount(int clickCount)
{
    clickCount = qMax(0, clickCount);
    if (clickCount == m_clickCount)
        return;
    m_clickCount = clickCount;
    emit clickCountChanged(m_clickCount);
}

void GalleryButton::setTone(Tone tone)
{
    if (tone == m_tone)
        return;
    m_tone = tone;
    QPalette colours;
    const QColor &colour = toneColours[m_tone];
    if (colour.isValid()) {
        colours.setColor(QPalette::Button, colour);
        colours.setColor(QPalette::ButtonText, Qt::white);
    }
    setPalette(colours);
    emit toneChanged(m_tone);
}

void GalleryButton::setBadges(Badges badges)
{
    m_badges = badges;
    updateToolTip();
}

QString GalleryButton::describe(const QString &prefix, int repeat) const
{
    QStringList copies;
    for (int i = 0; i < repeat; ++i)
        copies << prefix + text();
    return copies.join(QLatin1Char(' '));
}

int GalleryButton::addClicks(int amount)
{
    setClickCount(m_clickCount + amount);
    return m_clickCount;
}

void GalleryButton::resetClickCount()
{
    setClickCount(0);
}

void GalleryButton::cycleTone()
{
    setTone(Tone((m_tone + 1) % std::size(toneColours)));
}

void GalleryButton::updateToolTip()
{
    QStringList names;
    for (const BadgeName &entry : badgeNames) {
        if (m_badges.testFlag(entry.badge))
            names << tr(entry.name);
    }
    setToolTip(names.isEmpty() ? tr("Counts its clicks") : tr("Counts its clicks (%1)").arg(names.join(QLatin1String(", "))));
}
