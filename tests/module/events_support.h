// What the event tests share: a host sink that writes each report down as
// a line while the call lasts (value and extra live only that long), the
// notifier asked of the manager as a host asks, and mouse input sent
// through Qt's own event delivery.
#pragma once

#include <QApplication>
#include <QMouseEvent>
#include <QThread>

#include <algorithm>
#include <string>
#include <vector>

#include "modulesupport.h"

namespace eventtest {

using namespace moduletest;
using Lines = std::vector<std::string>;

// "I4 3", "BSTR Pear", "BOOL -1", "R8 2.5", "EMPTY".
inline std::string variantText(const VARIANT &value)
{
    switch (V_VT(&value)) {
    case VT_EMPTY: return "EMPTY";
    case VT_I4: return "I4 " + std::to_string(V_I4(&value));
    case VT_BOOL: return "BOOL " + std::to_string(V_BOOL(&value));
    case VT_R8: return "R8 " + QString::number(V_R8(&value)).toStdString();
    case VT_BSTR: return "BSTR " + QString::fromUtf16(V_BSTR(&value), int(SysStringLen(V_BSTR(&value)))).toStdString();
    default: return "vt " + std::to_string(V_VT(&value));
    }
}

// The event's name, value and extra payload as the host reads them.
inline std::string reportLine(const GUID &event, const VARIANT &value, const void *extra)
{
    const std::pair<const GUID *, const char *> names[] = {
        { &EventCheckStateChanged, "CheckState" }, { &EventSliderValueChanged, "Slider" },
        { &EventListItemClicked, "ListItem" }, { &EventTableCellClicked, "TableCell" },
        { &EventTreeItemClicked, "TreeItem" }, { &EventTreeItemExpanded, "TreeExpanded" },
        { &EventTreeItemCollapsed, "TreeCollapsed" }, { &EventHeaderSectionClicked, "HeaderSection" },
        { &EventComboItemActivated, "ComboItem" }, { &EventComboPopupOpening, "PopupOpening" },
        { &EventComboPopupClosing, "PopupClosing" }, { &EventToolButtonToggled, "ToolButton" },
        { &EventTabSelected, "Tab" }, { &EventEditorValueChanged, "EditorValue" },
        { &EventCalendarDateSelected, "CalendarDate" },
    };
    std::string line = "unknown";
    for (const auto &[id, name] : names)
        line = *id == event ? name : line;
    line += " " + variantText(value) + " / ";
    if (event == EventTableCellClicked || event == EventTreeItemClicked) {
        const auto *record = static_cast<const ColumnClickRecord *>(extra);
        return line + "column " + variantText(record->columnKey) + " double " + std::to_string(record->doubleClick);
    }
    if (event == EventHeaderSectionClicked) {
        const auto *record = static_cast<const HeaderClickRecord *>(extra);
        return line + "double " + std::to_string(record->doubleClick) + " vertical " + std::to_string(record->vertical)
            + (record->reserved[0] || record->reserved[1] ? " reserved set" : "")
            + (record->tableSubscription == SubscriptionTableWidget ? " table" : " other");
    }
    if (event == EventListItemClicked)
        return line + "int " + std::to_string(reinterpret_cast<uintptr_t>(extra));
    if (event == EventSliderValueChanged && extra)
        return line + "widget " + std::to_string(reinterpret_cast<uintptr_t>(*static_cast<QWidget *const *>(extra)));
    return line + (extra ? "unexpected extra" : "null");
}

struct Report {
    QObject *sender;
    GUID subscription;
    std::string line;
    QThread *thread;
};

// The host's sink; counts its references as a host object does.
class RecordingSink : public IvrQtEventsSink
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override
    {
        *object = riid == IID_IUnknown || riid == IID_IvrQtEventsSink ? this : nullptr;
        return *object ? (AddRef(), S_OK) : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    HRESULT STDMETHODCALLTYPE OnEvent(QObject *sender, const GUID *subscriptionId, const GUID *eventId, VARIANT value,
                                      void *extra) override
    {
        reports.push_back({ sender, *subscriptionId, reportLine(*eventId, value, extra), QThread::currentThread() });
        return E_FAIL; // listeners do not look at it
    }

    Lines lines() const
    {
        Lines result(reports.size());
        std::transform(reports.begin(), reports.end(), result.begin(), [](const Report &report) { return report.line; });
        return result;
    }

    std::vector<Report> reports;
    ULONG references = 1; // the test's own
};

// The notifier with a recording sink set, released before the module goes.
class EventsTest : public ModuleTest
{
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        notifier = host.manager().query<IvrQtEventsNotifier>(IID_IvrQtEventsNotifier);
        ASSERT_TRUE(notifier);
        ASSERT_EQ(S_OK, notifier->SetEventSink(&sink));
    }

    void TearDown() override
    {
        if (notifier)
            notifier->UnsubscribeAll();
        notifier.reset();
        ModuleTest::TearDown();
    }

    void subscribe(QObject *object, const GUID &subscription)
    {
        ASSERT_EQ(S_OK, notifier->Subscribe(object, subscription));
    }

    // The lines reported while action ran.
    template <typename Action>
    Lines linesOf(Action &&action)
    {
        sink.reports.clear();
        action();
        return sink.lines();
    }

    RecordingSink sink;
    Ref<IvrQtEventsNotifier> notifier;
};

// One mouse event sent to widget at point, through QApplication.
inline void sendMouse(QWidget *widget, QPoint point, QEvent::Type type = QEvent::MouseButtonPress,
                      Qt::MouseButton button = Qt::LeftButton)
{
    const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::MouseButtons(button);
    QMouseEvent event(type, point, widget->mapToGlobal(point), button, held, Qt::NoModifier);
    QApplication::sendEvent(widget, &event);
}

inline void click(QWidget *widget, QPoint point)
{
    sendMouse(widget, point);
    sendMouse(widget, point, QEvent::MouseButtonRelease);
}

} // namespace eventtest
