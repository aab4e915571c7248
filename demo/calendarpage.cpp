#include "calendarpage.h"

#include <QCalendarWidget>
#include <QLabel>
#include <QVBoxLayout>

CalendarPage::CalendarPage(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("calendarPage"));
    auto *layout = new QVBoxLayout(this);

    auto *calendar = new QCalendarWidget;
    calendar->setObjectName(QStringLiteral("calendar"));
    // Fixed dates and ISO text, so that what it shows does not depend on
    // the day or the locale it runs in.
    calendar->setDateRange(QDate(2020, 1, 1), QDate(2030, 12, 31));
    calendar->setSelectedDate(QDate(2024, 6, 14));
    calendar->setFirstDayOfWeek(Qt::Monday);
    calendar->setGridVisible(true);
    layout->addWidget(calendar);

    auto *selected = new QLabel;
    selected->setObjectName(QStringLiteral("selectedDateLabel"));
    layout->addWidget(selected);
    layout->addStretch();

    const auto showSelection = [calendar, selected] {
        selected->setText(tr("Selected: %1").arg(calendar->selectedDate().toString(Qt::ISODate)));
    };
    showSelection();
    connect(calendar, &QCalendarWidget::selectionChanged, this, showSelection);
    connect(calendar, &QCalendarWidget::activated, this, [this](const QDate &date) {
        emit activity(tr("Calendar: %1 chosen").arg(date.toString(Qt::ISODate)));
    });
}
