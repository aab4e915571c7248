// Spin boxes, the date-time edit and the calendar through their helpers:
// values and limits, stepping, and dates as variant time, also where
// variant time cannot hold them.
#include <QApplication>
#include <QCalendarWidget>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QMouseEvent>
#include <QSpinBox>
#include <QTableView>
#include <QVBoxLayout>

#include <array>
#include <limits>

#include "modulesupport.h"

using namespace moduletest;

namespace {

// A child the date-time edit helper must take for the popup by its class
// name alone; it is no widget.
class QCalendarPopup : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
};

// Variant times of a few days (days since 1899-12-30).
constexpr double kFirstOf2000 = 36526.0;
constexpr double kLeapDay2024 = 45351.0;
constexpr double kLastOf2030 = 47848.0;
constexpr double kBeforeYear100 = -657435.0;
constexpr double kAfterYear9999 = 2958466.0;

class ControlValues : public ModuleTest
{
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        auto *layout = new QVBoxLayout(&window);
        for (QWidget *widget : std::initializer_list<QWidget *>{ &spin, &doubleSpin, &dateTime, &calendar })
            layout->addWidget(widget);
        ASSERT_TRUE(showAndWait(&window));
    }

    // The first child of the edit that is its calendar popup, or null.
    static QWidget *calendarPopup(const QDateTimeEdit &edit)
    {
        for (QObject *child : edit.children()) {
            if (qstrcmp(child->metaObject()->className(), "QCalendarPopup") == 0 && child->isWidgetType())
                return static_cast<QWidget *>(child);
        }
        return nullptr;
    }

    QWidget window;
    QSpinBox spin;
    QDoubleSpinBox doubleSpin;
    QDateTimeEdit dateTime;
    QCalendarWidget calendar;
};

} // namespace

TEST_F(ControlValues, SpinBoxValuesLimitsAndSteps)
{
    auto spins = helper<IvrQtSpinBoxHelper>(IID_IvrQtSpinBoxHelper);
    auto doubles = helper<IvrQtDoubleSpinBoxHelper>(IID_IvrQtDoubleSpinBoxHelper);
    auto spinSteps = spins.query<IvrQtBaseSpinBoxHelper>(IID_IvrQtBaseSpinBoxHelper);
    auto doubleSteps = doubles.query<IvrQtBaseSpinBoxHelper>(IID_IvrQtBaseSpinBoxHelper);
    ASSERT_TRUE(spinSteps && doubleSteps);
    spin.setRange(-5, 20);
    EXPECT_EQ(S_OK, spins->SetValue(&spin, 7));
    EXPECT_EQ(S_OK, spinSteps->StepBy(&spin, -3));
    std::array<int, 3> value{};
    EXPECT_EQ(S_OK, spins->GetValue(&spin, &value[0]));
    EXPECT_EQ(S_OK, spins->GetMinimum(&spin, &value[1]));
    EXPECT_EQ(S_OK, spins->GetMaximum(&spin, &value[2]));
    EXPECT_EQ((std::array<int, 3>{ 4, -5, 20 }), value);

    doubleSpin.setRange(-1.5, 2.25);
    doubleSpin.setSingleStep(0.5);
    EXPECT_EQ(S_OK, doubles->SetValue(&doubleSpin, 0.25));
    EXPECT_EQ(S_OK, doubleSteps->StepBy(&doubleSpin, 3));
    std::array<double, 3> real{};
    EXPECT_EQ(S_OK, doubles->GetValue(&doubleSpin, &real[0]));
    EXPECT_EQ(S_OK, doubles->GetMinimum(&doubleSpin, &real[1]));
    EXPECT_EQ(S_OK, doubles->GetMaximum(&doubleSpin, &real[2]));
    EXPECT_EQ((std::array<double, 3>{ 1.75, -1.5, 2.25 }), real);
}

TEST_F(ControlValues, DateTimeEditLimitsAndValuesAsVariantTime)
{
    auto edits = helper<IvrQtDateTimeEditHelper>(IID_IvrQtDateTimeEditHelper);
    ASSERT_TRUE(edits);
    dateTime.setDateTimeRange(QDateTime(QDate(2000, 1, 1), QTime(0, 0)), QDateTime(QDate(2030, 12, 31), QTime(18, 0)));
    std::array<double, 3> value{};
    EXPECT_EQ(S_OK, edits->SetDateTime(&dateTime, kLeapDay2024 + 0.25));
    EXPECT_EQ(QDateTime(QDate(2024, 2, 29), QTime(6, 0)), dateTime.dateTime());
    // Milliseconds are dropped, not rounded.
    const QDateTime kept(QDate(2024, 2, 29), QTime(6, 0, 0, 900));
    dateTime.setDateTime(kept);
    EXPECT_EQ(S_OK, edits->GetDateTime(&dateTime, &value[0]));
    EXPECT_EQ(S_OK, edits->GetMinimumDateTime(&dateTime, &value[1]));
    EXPECT_EQ(S_OK, edits->GetMaximumDateTime(&dateTime, &value[2]));
    EXPECT_EQ((std::array<double, 3>{ kLeapDay2024 + 0.25, kFirstOf2000, kLastOf2030 + 0.75 }), value);

    for (const double unconvertible : { kBeforeYear100, kAfterYear9999, std::numeric_limits<double>::quiet_NaN() }) {
        SCOPED_TRACE(unconvertible);
        EXPECT_EQ(E_INVALIDARG, edits->SetDateTime(&dateTime, unconvertible));
        EXPECT_EQ(kept, dateTime.dateTime());
    }

    // Qt refuses limits outside years 100 to 9999 but keeps one in another
    // zone, which local time moves across: variant time cannot hold it.
    dateTime.setMinimumDateTime(QDateTime(QDate(100, 1, 1), QTime(0, 0), Qt::OffsetFromUTC, 14 * 3600));
    dateTime.setMaximumDateTime(QDateTime(QDate(9999, 12, 31), QTime(23, 0), Qt::OffsetFromUTC, -12 * 3600));
    ASSERT_EQ(99, dateTime.minimumDate().year());
    ASSERT_EQ(10000, dateTime.maximumDate().year());
    EXPECT_EQ(S_OK, edits->GetMinimumDateTime(&dateTime, &value[1]));
    EXPECT_EQ(S_OK, edits->GetMaximumDateTime(&dateTime, &value[2]));
    EXPECT_EQ(-1.0, value[1]);
    EXPECT_EQ(-1.0, value[2]);
}

TEST_F(ControlValues, DateTimeEditViewPortIsTheCalendarOfItsOpenPopup)
{
    auto viewPorts = helper<IvrQtDateTimeEditHelper>(IID_IvrQtDateTimeEditHelper)
                         .query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper);
    ASSERT_TRUE(viewPorts);
    dateTime.setCalendarPopup(true);
    QWidget *viewPort = &window;
    EXPECT_EQ(S_OK, viewPorts->GetViewPort(&dateTime, 0, &viewPort));
    EXPECT_EQ(nullptr, viewPort);

    // A press on the arrow opens the popup, as a user's does.
    const QPoint arrow(dateTime.width() - 5, dateTime.height() / 2);
    QMouseEvent press(QEvent::MouseButtonPress, arrow, dateTime.mapToGlobal(arrow), Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QApplication::sendEvent(&dateTime, &press);
    ASSERT_TRUE(waitUntil([this] { return calendarPopup(dateTime) && calendarPopup(dateTime)->isVisible(); }));
    EXPECT_EQ(S_OK, viewPorts->GetViewPort(&dateTime, 7, &viewPort));
    EXPECT_EQ(dateTime.calendarWidget(), viewPort);

    // Only the first child of that class name counts: here no widget.
    QDateTimeEdit other(&window);
    other.setCalendarPopup(true);
    const QObject *lookalike = new QCalendarPopup(&other);
    ASSERT_STREQ("QCalendarPopup", lookalike->metaObject()->className());
    ASSERT_NE(nullptr, other.calendarWidget());
    viewPort = &window;
    EXPECT_EQ(S_OK, viewPorts->GetViewPort(&other, 0, &viewPort));
    EXPECT_EQ(nullptr, viewPort);
}

TEST_F(ControlValues, CalendarDatesAndViewPort)
{
    auto calendars = helper<IvrQtCalendarWidgetHelper>(IID_IvrQtCalendarWidgetHelper);
    auto viewPorts = calendars.query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper);
    ASSERT_TRUE(viewPorts);
    const auto dates = [&] {
        std::array<double, 3> value{ 0, 0, 0 };
        EXPECT_EQ(S_OK, calendars->GetSelectedDate(&calendar, &value[0]));
        EXPECT_EQ(S_OK, calendars->GetMinimumDate(&calendar, &value[1]));
        EXPECT_EQ(S_OK, calendars->GetMaximumDate(&calendar, &value[2]));
        return value;
    };
    calendar.setDateRange(QDate(2000, 1, 1), QDate(2030, 12, 31));
    EXPECT_EQ(S_OK, calendars->SetSelectedDate(&calendar, kLeapDay2024 + 0.75));
    EXPECT_EQ(QDate(2024, 2, 29), calendar.selectedDate());
    EXPECT_EQ((std::array<double, 3>{ kLeapDay2024, kFirstOf2000, kLastOf2030 }), dates());
    EXPECT_EQ(E_INVALIDARG, calendars->SetSelectedDate(&calendar, kBeforeYear100));
    EXPECT_EQ(QDate(2024, 2, 29), calendar.selectedDate());
    // Years the platform would read as two-digit years, and beyond 9999.
    calendar.setDateRange(QDate(50, 1, 1), QDate(12000, 1, 1));
    calendar.setSelectedDate(QDate(60, 6, 1));
    ASSERT_EQ(QDate(60, 6, 1), calendar.selectedDate());
    EXPECT_EQ((std::array<double, 3>{ -1.0, -1.0, -1.0 }), dates());

    QTableView *table = calendar.findChild<QTableView *>();
    ASSERT_NE(nullptr, table);
    QWidget *viewPort = nullptr;
    EXPECT_EQ(S_OK, viewPorts->GetViewPort(&calendar, 3, &viewPort));
    EXPECT_EQ(table->viewport(), viewPort);
    table->setParent(&window);
    EXPECT_EQ(E_FAIL, viewPorts->GetViewPort(&calendar, 0, &viewPort));
    EXPECT_EQ(nullptr, viewPort);
    table->setParent(&calendar);
}

#include "controls_values_test.moc"
