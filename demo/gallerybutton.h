// A push button of the application's own, with properties, slots and a
// signal of its own, so that scripts have a custom class to work on.
#pragma once

#include <QPushButton>

class GalleryButton : public QPushButton
{
    Q_OBJECT
    Q_PROPERTY(int clickCount READ clickCount WRITE setClickCount RESET resetClickCount NOTIFY clickCountChanged)
    Q_PROPERTY(Tone tone READ tone WRITE setTone NOTIFY toneChanged)
    Q_PROPERTY(Badges badges READ badges WRITE setBadges)

public:
    enum Tone { Neutral, Accent, Warning, Danger };
    Q_ENUM(Tone)

    enum Badge { NoBadge = 0x0, NewBadge = 0x1, BetaBadge = 0x2, LockedBadge = 0x4 };
    Q_DECLARE_FLAGS(Badges, Badge)
    Q_FLAG(Badges)

    explicit GalleryButton(const QString &text, QWidget *parent = nullptr);

    int clickCount() const { return m_clickCount; }
    void setClickCount(int clickCount);

    Tone tone() const { return m_tone; }
    void setTone(Tone tone);

    Badges badges() const { return m_badges; }
    void setBadges(Badges badges);

    // The caption repeated, each copy after prefix: a call whose result shows
    // that both arguments arrived.
    Q_INVOKABLE QString describe(const QString &prefix, int repeat = 1) const;
    // Returns the new count; a negative amount counts down, never below 0.
    Q_INVOKABLE int addClicks(int amount);

public slots:
    void resetClickCount();
    void cycleTone();

signals:
    void clickCountChanged(int clickCount);
    void toneChanged(GalleryButton::Tone tone);

private:
    void updateToolTip();

    int m_clickCount = 0;
    Tone m_tone = Neutral;
    Badges m_badges = NoBadge;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(GalleryButton::Badges)
