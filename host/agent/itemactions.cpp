#include "host/agent/itemactions.h"

#include <QJsonObject>

#include <optional>
#include <vector>

#include "host/agent/itemkeys.h"
#include "host/agent/itemlisting.h"
#include "host/agent/itemvalues.h"
#include "host/protocol/protocol.h"
#include "host/scripting/variants.h"

namespace vrqt::agent {

namespace {

using host::Bstr;
using host::Ref;

Reply Refused(const QString &what, HRESULT hr)
{
    return Reply::failure(protocol::error::kInvokeFailed, QStringLiteral("%1 was refused: %2").arg(what, scripting::HResultText(hr)),
                          { { QStringLiteral("hresult"), scripting::HResultText(hr) } });
}

Reply NoSuchItem(const QString &message)
{
    return Reply::failure(protocol::error::kNoSuchItem, message);
}

Reply UnknownAction(ItemFamily family, const QString &action, const char *known)
{
    return Reply::failure(protocol::error::kInvalidParams,
                          QStringLiteral("an item of a %1 knows no action \"%2\"; it knows %3").arg(FamilyName(family), action, QLatin1String(known)));
}

Reply Done(const QString &key, const QString &action, QJsonObject extra = {})
{
    extra.insert(QStringLiteral("key"), key);
    extra.insert(QStringLiteral("action"), action);
    extra.insert(QStringLiteral("done"), true);
    return Reply::success(extra);
}

// The one step of a flat family's key among its texts.
std::optional<int> Locate(const QString &key, const QStringList &texts, QString *reason)
{
    const QStringList steps = SplitKeyPath(key);
    if (steps.size() != 1) {
        *reason = QStringLiteral("\"%1\" is a path, and these items have no children").arg(key);
        return std::nullopt;
    }
    return FindStep(steps.first(), texts, reason);
}

template <typename ReadText>
QStringList Texts(int count, ReadText read)
{
    QStringList texts;
    for (int index = 0; index < count; ++index) {
        Bstr text;
        texts.append(SUCCEEDED(read(index, text.out())) ? TextOf(text) : QString());
    }
    return texts;
}

Reply ActOnList(HelperAccess &access, QWidget *widget, const QString &key, const QString &action)
{
    const Ref<IvrQtListViewHelper> list =
        access.primary<IvrQtListWidgetHelper>(IID_IvrQtListWidgetHelper).query<IvrQtListViewHelper>(IID_IvrQtListViewHelper);
    const Ref<IvrQtBaseItemsWidgetHelper> items = list.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
    if (!list || !items)
        return Refused(QStringLiteral("the list helper"), E_NOINTERFACE);
    int count = 0;
    items->GetItemCount(widget, &count);
    QString reason;
    const std::optional<int> row = Locate(key, Texts(count, [&](int i, BSTR *t) { return list->GetItemText(widget, i, t); }), &reason);
    if (!row)
        return NoSuchItem(reason);
    HRESULT hr = S_OK;
    if (action == QLatin1String("select") || action == QLatin1String("deselect"))
        hr = list->SelectItem(widget, *row, action == QLatin1String("select") ? VARIANT_TRUE : VARIANT_FALSE);
    else if (action == QLatin1String("scroll"))
        hr = list->ScrollToItem(widget, *row);
    else
        return UnknownAction(ItemFamily::List, action, "select, deselect and scroll");
    if (FAILED(hr))
        return Refused(action, hr);
    VARIANT_BOOL selected = VARIANT_FALSE;
    list->IsItemSelected(widget, *row, &selected);
    return Done(key, action, { { QStringLiteral("index"), *row }, { QStringLiteral("selected"), selected == VARIANT_TRUE } });
}

Reply ActOnTable(HelperAccess &access, QWidget *widget, const QString &key, const QString &action, const QString &value)
{
    const Ref<IvrQtTableViewHelper> table =
        access.primary<IvrQtTableWidgetHelper>(IID_IvrQtTableWidgetHelper).query<IvrQtTableViewHelper>(IID_IvrQtTableViewHelper);
    const Ref<IvrQtBaseItemsWidgetHelper> items = table.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
    if (!table || !items)
        return Refused(QStringLiteral("the table helper"), E_NOINTERFACE);
    const QStringList steps = SplitKeyPath(key);
    if (steps.size() != 2)
        return NoSuchItem(QStringLiteral("a cell is named \"row|column\" (a header section \"row|\" or \"|column\"), not \"%1\"").arg(key));
    int rows = 0, columns = 0;
    table->GetRowCount(widget, &rows);
    items->GetItemCount(widget, &columns);
    QString reason;
    std::optional<int> row = -1, column = -1;
    if (!steps.at(0).isEmpty())
        row = FindStep(steps.at(0), Texts(rows, [&](int i, BSTR *t) { return table->GetVerticalHeaderText(widget, i, t); }), &reason);
    if (row && !steps.at(1).isEmpty())
        column = FindStep(steps.at(1), Texts(columns, [&](int i, BSTR *t) { return table->GetHorizontalHeaderText(widget, i, t); }), &reason);
    if (!row || !column)
        return NoSuchItem(reason);
    HRESULT hr = S_OK;
    if (action == QLatin1String("scroll")) {
        hr = table->ScrollToCell(widget, *row, *column);
    } else if (action == QLatin1String("setText")) {
        if (*row < 0 || *column < 0)
            return NoSuchItem(QStringLiteral("\"setText\" takes a cell, not a header section"));
        BSTR text = scripting::ToBstr(value);
        hr = table->SetCellText(widget, *row, *column, text);
        SysFreeString(text);
    } else {
        return UnknownAction(ItemFamily::Table, action, "scroll and setText");
    }
    if (FAILED(hr))
        return Refused(action, hr);
    Bstr text;
    if (*row >= 0 && *column >= 0)
        table->GetCellText(widget, *row, *column, text.out());
    return Done(key, action, { { QStringLiteral("row"), *row }, { QStringLiteral("column"), *column }, { QStringLiteral("text"), TextOf(text) } });
}

Reply ActOnTree(HelperAccess &access, QWidget *widget, const QString &key, const QString &action)
{
    const Ref<IvrQtTreeViewHelper> tree =
        access.primary<IvrQtTreeWidgetHelper>(IID_IvrQtTreeWidgetHelper).query<IvrQtTreeViewHelper>(IID_IvrQtTreeViewHelper);
    if (!tree)
        return Refused(QStringLiteral("the tree helper"), E_NOINTERFACE);
    std::vector<int> indexes;
    for (const QString &step : SplitKeyPath(key)) {
        QString reason;
        const std::optional<int> index = FindStep(step, TreeChildTexts(tree.get(), widget, indexes), &reason);
        if (!index)
            return NoSuchItem(QStringLiteral("level %1 of \"%2\": %3").arg(indexes.size() + 1).arg(key, reason));
        indexes.push_back(*index);
    }
    const TreePath path(indexes);
    int failedAt = -1;
    HRESULT hr = S_OK;
    if (action == QLatin1String("expand") || action == QLatin1String("collapse"))
        hr = tree->SetItemExpanded(widget, path.get(), action == QLatin1String("expand") ? VARIANT_TRUE : VARIANT_FALSE, &failedAt);
    else if (action == QLatin1String("scroll"))
        hr = tree->ScrollItemIntoView(widget, path.get(), 0, &failedAt);
    else if (action == QLatin1String("show"))
        hr = tree->ShowItem(widget, path.get(), 0, &failedAt);
    else
        return UnknownAction(ItemFamily::Tree, action, "expand, collapse, scroll and show");
    if (FAILED(hr))
        return Refused(action, hr);
    VARIANT_BOOL expanded = VARIANT_FALSE;
    tree->IsItemExpanded(widget, path.get(), &expanded, &failedAt);
    return Done(key, action, { { QStringLiteral("expanded"), expanded == VARIANT_TRUE } });
}

Reply ActOnComboBox(HelperAccess &access, QWidget *widget, const QString &key, const QString &action)
{
    const Ref<IvrQtComboBoxHelper> combo = access.primary<IvrQtComboBoxHelper>(IID_IvrQtComboBoxHelper);
    const Ref<IvrQtBaseItemsWidgetHelper> items = combo.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
    if (!combo || !items)
        return Refused(QStringLiteral("the combo box helper"), E_NOINTERFACE);
    int count = 0;
    items->GetItemCount(widget, &count);
    QString reason;
    const std::optional<int> index = Locate(key, Texts(count, [&](int i, BSTR *t) { return combo->GetItemText(widget, i, t); }), &reason);
    if (!index)
        return NoSuchItem(reason);
    HRESULT hr = S_OK;
    if (action == QLatin1String("show")) {
        hr = combo->SetPopupVisible(widget, VARIANT_TRUE);
        if (SUCCEEDED(hr))
            hr = combo->ScrollToItem(widget, *index);
    } else if (action == QLatin1String("hide")) {
        hr = combo->SetPopupVisible(widget, VARIANT_FALSE);
    } else if (action == QLatin1String("scroll")) {
        hr = combo->ScrollToItem(widget, *index);
    } else {
        return UnknownAction(ItemFamily::ComboBox, action, "show (the popup, at the item), hide and scroll");
    }
    if (FAILED(hr))
        return Refused(action, hr);
    VARIANT_BOOL visible = VARIANT_FALSE;
    combo->IsPopupVisible(widget, &visible);
    return Done(key, action, { { QStringLiteral("index"), *index }, { QStringLiteral("popupVisible"), visible == VARIANT_TRUE } });
}

Reply ActOnTabs(HelperAccess &access, QWidget *widget, const QString &key, const QString &action)
{
    const Ref<IvrQtTabWidgetHelper> tabs = access.primary<IvrQtTabWidgetHelper>(IID_IvrQtTabWidgetHelper);
    if (!tabs)
        return Refused(QStringLiteral("the tab widget helper"), E_NOINTERFACE);
    int count = 0;
    tabs->GetTabCount(widget, &count);
    QString reason;
    const std::optional<int> index = Locate(key, Texts(count, [&](int i, BSTR *t) { return tabs->GetTabText(widget, i, t); }), &reason);
    if (!index)
        return NoSuchItem(reason);
    if (action != QLatin1String("bringIntoView"))
        return UnknownAction(ItemFamily::TabWidget, action, "bringIntoView");
    VARIANT_BOOL changed = VARIANT_FALSE;
    if (const HRESULT hr = tabs->BringTabIntoView(widget, *index, &changed); FAILED(hr))
        return Refused(action, hr);
    return Done(key, action, { { QStringLiteral("index"), *index }, { QStringLiteral("changed"), changed == VARIANT_TRUE } });
}

} // namespace

Reply ActOnItem(HelperAccess &access, QWidget *widget, ItemFamily family, const QString &key, const QString &action,
                const QString &value)
{
    switch (family) {
    case ItemFamily::List:
        return ActOnList(access, widget, key, action);
    case ItemFamily::Table:
        return ActOnTable(access, widget, key, action, value);
    case ItemFamily::Tree:
        return ActOnTree(access, widget, key, action);
    case ItemFamily::ComboBox:
        return ActOnComboBox(access, widget, key, action);
    case ItemFamily::TabWidget:
        return ActOnTabs(access, widget, key, action);
    case ItemFamily::Menu:
    case ItemFamily::MenuBar:
        return Reply::failure(protocol::error::kInvalidParams,
                              QStringLiteral("menu entries take no action here: `vrqt items` gives their rectangles, where a click lands"));
    default:
        return SetEditorValue(access, widget, family, key, action, value);
    }
}

} // namespace vrqt::agent
