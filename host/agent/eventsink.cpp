#include "host/agent/eventsink.h"

#include <QCalendarWidget>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDateTime>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QHeaderView>
#include <QListWidget>
#include <QScrollBar>
#include <QSpinBox>
#include <QTabWidget>
#include <QTableWidget>
#include <QThread>
#include <QToolButton>
#include <QTreeWidget>

#include "host/agent/itemkeys.h"
#include "host/agent/objectpath.h"
#include "platform/oleauto.h"

namespace vrqt::agent {

namespace {

template <typename Widget>
bool is(const QObject *object)
{
    return qobject_cast<const Widget *>(object) != nullptr;
}

struct Kind
{
    const GUID *subscription;
    const char *name;
    bool (*matches)(const QObject *object);
};

// Most derived classes first: a QScrollBar is a QAbstractSlider too.
const Kind kKinds[] = {
    { &SubscriptionCheckBox, "check box", is<QCheckBox> },
    { &SubscriptionScrollBar, "scroll bar", is<QScrollBar> },
    { &SubscriptionSlider, "slider", is<QAbstractSlider> },
    { &SubscriptionListWidget, "list widget", is<QListWidget> },
    { &SubscriptionTableWidget, "table widget", is<QTableWidget> },
    { &SubscriptionTreeWidget, "tree widget", is<QTreeWidget> },
    { &SubscriptionHeaderView, "header view", is<QHeaderView> },
    { &SubscriptionComboBox, "combo box", is<QComboBox> },
    { &SubscriptionToolButton, "tool button", is<QToolButton> },
    { &SubscriptionTabWidget, "tab widget", is<QTabWidget> },
    { &SubscriptionDoubleSpinBox, "double spin box", is<QDoubleSpinBox> },
    { &SubscriptionSpinBox, "spin box", is<QSpinBox> },
    { &SubscriptionDateTimeEdit, "date-time edit", is<QDateTimeEdit> },
    { &SubscriptionCalendarWidget, "calendar", is<QCalendarWidget> },
};

struct EventName
{
    const GUID *event;
    const char *name;
};

const EventName kEvents[] = {
    { &EventCheckStateChanged, "checkStateChanged" },
    { &EventToolButtonToggled, "toolButtonToggled" },
    { &EventSliderValueChanged, "sliderValueChanged" },
    { &EventListItemClicked, "listItemClicked" },
    { &EventTableCellClicked, "tableCellClicked" },
    { &EventTreeItemClicked, "treeItemClicked" },
    { &EventTreeItemExpanded, "treeItemExpanded" },
    { &EventTreeItemCollapsed, "treeItemCollapsed" },
    { &EventHeaderSectionClicked, "headerSectionClicked" },
    { &EventComboItemActivated, "comboItemActivated" },
    { &EventComboPopupOpening, "comboPopupOpening" },
    { &EventComboPopupClosing, "comboPopupClosing" },
    { &EventTabSelected, "tabSelected" },
    { &EventEditorValueChanged, "editorValueChanged" },
    { &EventCalendarDateSelected, "calendarDateSelected" },
};

const char *KindName(const GUID &subscription)
{
    for (const Kind &kind : kKinds) {
        if (*kind.subscription == subscription)
            return kind.name;
    }
    return "unknown";
}

const char *EventNameOf(const GUID &event)
{
    for (const EventName &known : kEvents) {
        if (*known.event == event)
            return known.name;
    }
    return "unknown";
}

QString TextOf(BSTR text)
{
    return text ? QString::fromUtf16(reinterpret_cast<const char16_t *>(text), int(SysStringLen(text))) : QString();
}

QJsonValue ValueOf(const VARIANT &value)
{
    switch (V_VT(&value)) {
    case VT_I4:
        return int(V_I4(&value));
    case VT_BOOL:
        return V_BOOL(&value) != VARIANT_FALSE;
    case VT_R8:
        return V_R8(&value);
    case VT_BSTR:
        return TextOf(V_BSTR(&value));
    default:
        return QJsonValue();
    }
}

// A key of the module (a unique text, or an index) as `vrqt item` reads it.
QString ItemKeyOf(const VARIANT &key)
{
    if (V_VT(&key) == VT_I4)
        return QStringLiteral("[%1]").arg(V_I4(&key));
    const QString text = TextOf(V_VT(&key) == VT_BSTR ? V_BSTR(&key) : nullptr);
    return text.isEmpty() ? QString() : KeyOf(QStringList{ text }, 0);
}

// The items below parent (the top level when parent is null) and their
// texts, as the keys are made of them.
QList<QTreeWidgetItem *> ItemsBelow(const QTreeWidget *tree, const QTreeWidgetItem *parent, QStringList *texts)
{
    QList<QTreeWidgetItem *> items;
    const int count = parent ? parent->childCount() : tree->topLevelItemCount();
    for (int index = 0; index < count; ++index) {
        QTreeWidgetItem *item = parent ? parent->child(index) : tree->topLevelItem(index);
        items.append(item);
        texts->append(item->text(0));
    }
    return items;
}

// Reads the module's path text below parent: each element is an item's text
// when non-empty and unique among its siblings, else its index in brackets,
// joined with "|" and nothing escaped, so a text holding "|" is found by
// trying the siblings in turn. keys gets the steps as `vrqt item` reads them.
bool ResolveTreePath(const QTreeWidget *tree, const QTreeWidgetItem *parent, const QString &rest, int depth, QStringList *keys)
{
    constexpr int kDeepest = 64;
    if (depth >= kDeepest)
        return false;
    QStringList texts;
    const QList<QTreeWidgetItem *> items = ItemsBelow(tree, parent, &texts);
    for (int index = 0; index < items.size(); ++index) {
        const QString &text = texts.at(index);
        const QString element = text.isEmpty() || texts.count(text) > 1 ? QStringLiteral("[%1]").arg(index) : text;
        if (!rest.startsWith(element))
            continue;
        if (rest.size() == element.size()) {
            keys->append(KeyOf(texts, index));
            return true;
        }
        if (rest.at(element.size()) == QLatin1Char('|')
            && ResolveTreePath(tree, items.at(index), rest.mid(element.size() + 1), depth + 1, keys)) {
            keys->prepend(KeyOf(texts, index));
            return true;
        }
    }
    return false;
}

// A tree event's key as `vrqt item` reads it: a one-level path is the bare
// key (a text or an index), a longer one the module's unescaped path text.
QString TreeKeyOf(const QObject *sender, const VARIANT &value)
{
    if (V_VT(&value) == VT_I4)
        return QStringLiteral("[%1]").arg(V_I4(&value));
    const QString path = TextOf(V_VT(&value) == VT_BSTR ? V_BSTR(&value) : nullptr);
    QStringList keys;
    if (const auto *tree = qobject_cast<const QTreeWidget *>(sender)) {
        if (ResolveTreePath(tree, nullptr, path, 0, &keys))
            return keys.join(QLatin1Char('|'));
    }
    return path;
}

const char *CheckStateName(const QJsonValue &state)
{
    switch (state.toInt(-1)) {
    case 0:
        return "unchecked";
    case 1:
        return "checked";
    case 2:
        return "partial";
    default:
        return "unknown";
    }
}

} // namespace

const GUID *SubscriptionOf(const QObject *object)
{
    for (const Kind &kind : kKinds) {
        if (kind.matches(object))
            return kind.subscription;
    }
    return nullptr;
}

QJsonObject DescribeAction(QObject *sender, const GUID &subscription, const GUID &event, const VARIANT &value, const void *extra)
{
    QJsonObject action{
        { QStringLiteral("time"), QDateTime::currentDateTime().toString(Qt::ISODateWithMs) },
        { QStringLiteral("object"), ObjectPath(sender) },
        { QStringLiteral("kind"), QLatin1String(KindName(subscription)) },
        { QStringLiteral("event"), QLatin1String(EventNameOf(event)) },
        { QStringLiteral("value"), ValueOf(value) },
    };
    if (event == EventCheckStateChanged) {
        action.insert(QStringLiteral("state"), QLatin1String(CheckStateName(ValueOf(value))));
    } else if (event == EventSliderValueChanged) {
        const auto *viewport = static_cast<QWidget *const *>(extra);
        if (viewport && *viewport && (*viewport)->parent())
            action.insert(QStringLiteral("view"), ObjectPath((*viewport)->parent()));
    } else if (event == EventListItemClicked || event == EventComboItemActivated || event == EventTabSelected) {
        action.insert(QStringLiteral("key"), ItemKeyOf(value));
    } else if (event == EventTreeItemExpanded || event == EventTreeItemCollapsed) {
        action.insert(QStringLiteral("key"), TreeKeyOf(sender, value));
    } else if ((event == EventTableCellClicked || event == EventTreeItemClicked) && extra) {
        const auto *record = static_cast<const ColumnClickRecord *>(extra);
        const QString column = ItemKeyOf(record->columnKey);
        const bool table = event == EventTableCellClicked;
        action.insert(QStringLiteral("key"), table ? ItemKeyOf(value) + QLatin1Char('|') + column : TreeKeyOf(sender, value));
        action.insert(QStringLiteral("column"), column);
        action.insert(QStringLiteral("doubleClick"), record->doubleClick != 0);
    } else if (event == EventHeaderSectionClicked && extra) {
        // `vrqt item` names a section through its table: "|column" or "row|".
        const auto *record = static_cast<const HeaderClickRecord *>(extra);
        const QString section = ItemKeyOf(value);
        action.insert(QStringLiteral("header"), action.value(QStringLiteral("object")));
        if (sender->parent())
            action.insert(QStringLiteral("object"), ObjectPath(sender->parent()));
        action.insert(QStringLiteral("key"), record->vertical ? section + QLatin1Char('|') : QLatin1Char('|') + section);
        action.insert(QStringLiteral("orientation"), record->vertical ? QStringLiteral("vertical") : QStringLiteral("horizontal"));
        action.insert(QStringLiteral("doubleClick"), record->doubleClick != 0);
    }
    return action;
}

ActionSink *ActionSink::create(Receiver receiver)
{
    return new ActionSink(std::move(receiver));
}

void ActionSink::detach()
{
    receiver = nullptr;
}

HRESULT ActionSink::QueryInterface(REFIID riid, void **object)
{
    if (!object)
        return E_POINTER;
    *object = nullptr;
    if (riid != IID_IUnknown && riid != IID_IvrQtEventsSink)
        return E_NOINTERFACE;
    AddRef();
    *object = static_cast<IvrQtEventsSink *>(this);
    return S_OK;
}

ULONG ActionSink::AddRef()
{
    return ++references;
}

ULONG ActionSink::Release()
{
    const ULONG left = --references;
    if (left == 0)
        delete this;
    return left;
}

HRESULT ActionSink::OnEvent(QObject *sender, const GUID *subscriptionId, const GUID *eventId, VARIANT value, void *extra)
{
    const QCoreApplication *application = QCoreApplication::instance();
    if (!sender || !subscriptionId || !eventId || !application || QThread::currentThread() != application->thread() || !receiver)
        return S_OK;
    try {
        receiver(sender, *subscriptionId, *eventId, value, extra);
    } catch (...) {
        // Nothing unwinds into Qt's emission; the action is lost.
    }
    return S_OK;
}

} // namespace vrqt::agent
