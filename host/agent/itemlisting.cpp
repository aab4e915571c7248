#include "host/agent/itemlisting.h"

#include <QJsonArray>

#include <functional>

#include "host/agent/itemkeys.h"
#include "host/agent/itemvalues.h"
#include "host/protocol/protocol.h"
#include "host/scripting/variants.h"

namespace vrqt::agent {

namespace {

using host::Bstr;
using host::Ref;

// Bounds a listing: a tree of a million items is listed in part.
constexpr int kMostItems = 100000;
constexpr int kDeepestLevel = 64;

Reply Refused(const QString &what, HRESULT hr)
{
    return Reply::failure(protocol::error::kInvokeFailed,
                          QStringLiteral("%1 was refused: %2").arg(what, scripting::HResultText(hr)),
                          { { QStringLiteral("hresult"), scripting::HResultText(hr) } });
}

bool isTrue(VARIANT_BOOL value)
{
    return value == VARIANT_TRUE;
}

// Reads one flag; null when the helper refuses.
template <typename Read>
QJsonValue Flag(Read read)
{
    VARIANT_BOOL value = VARIANT_FALSE;
    return SUCCEEDED(read(&value)) ? QJsonValue(isTrue(value)) : QJsonValue();
}

template <typename Read>
QString Text(Read read)
{
    Bstr text;
    return SUCCEEDED(read(text.out())) ? TextOf(text) : QString();
}

// Whether className is among the widget's classes.
bool IsOfClass(HelperAccess &access, QWidget *widget, const char *className)
{
    return ClassChain(reinterpret_cast<QObject *>(widget), access.objectsHelper()).contains(QLatin1String(className));
}

// Items named by key among siblings, in order.
QJsonArray Keyed(const QStringList &texts, const std::function<QJsonObject(int index)> &item)
{
    QJsonArray items;
    for (int index = 0; index < texts.size(); ++index) {
        QJsonObject entry = item(index);
        entry.insert(QStringLiteral("key"), KeyOf(texts, index));
        entry.insert(QStringLiteral("index"), index);
        entry.insert(QStringLiteral("text"), texts.at(index));
        items.append(entry);
    }
    return items;
}

Reply ListList(HelperAccess &access, QWidget *widget)
{
    const Ref<IvrQtListWidgetHelper> primary = access.primary<IvrQtListWidgetHelper>(IID_IvrQtListWidgetHelper);
    const Ref<IvrQtListViewHelper> list = primary.query<IvrQtListViewHelper>(IID_IvrQtListViewHelper);
    const Ref<IvrQtBaseItemsWidgetHelper> items = primary.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
    const Ref<IvrQtViewPortProviderHelper> viewports = primary.query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper);
    if (!list || !items)
        return Refused(QStringLiteral("the list helper"), E_NOINTERFACE);
    int count = 0;
    if (const HRESULT hr = items->GetItemCount(widget, &count); FAILED(hr))
        return Refused(QStringLiteral("the item count"), hr);
    QWidget *viewport = nullptr;
    if (viewports)
        viewports->GetViewPort(widget, 0, &viewport);
    // The helper maps the rows of a list widget to its window; those of any
    // other list view stay in viewport coordinates.
    const bool itemsAreWidgetItems = IsOfClass(access, widget, "QListWidget");
    const NativeWindowId window = access.windowOf(widget);
    QStringList texts;
    for (int row = 0; row < count && row < kMostItems; ++row)
        texts.append(Text([&](BSTR *text) { return list->GetItemText(widget, row, text); }));
    int current = -1;
    list->GetCurrentRow(widget, &current);
    const QJsonArray rows = Keyed(texts, [&](int row) {
        QJsonObject entry{ { QStringLiteral("selected"), Flag([&](VARIANT_BOOL *v) { return list->IsItemSelected(widget, row, v); }) },
                           { QStringLiteral("current"), row == current } };
        int x = 0, y = 0, width = 0, height = 0;
        if (SUCCEEDED(list->GetItemRect(widget, row, &x, &y, &width, &height)))
            entry.insert(QStringLiteral("rect"), itemsAreWidgetItems ? access.windowRect(x, y, width, height, window)
                                                                       : access.viewportRect(x, y, width, height, viewport));
        return entry;
    });
    int mode = -1;
    items->GetSelectionMode(widget, &mode);
    return Reply::success(QJsonObject{ { QStringLiteral("count"), count }, { QStringLiteral("selectionMode"), mode },
                                       { QStringLiteral("items"), rows } });
}

Reply ListTable(HelperAccess &access, QWidget *widget)
{
    const Ref<IvrQtTableWidgetHelper> primary = access.primary<IvrQtTableWidgetHelper>(IID_IvrQtTableWidgetHelper);
    const Ref<IvrQtTableViewHelper> table = primary.query<IvrQtTableViewHelper>(IID_IvrQtTableViewHelper);
    const Ref<IvrQtBaseItemsWidgetHelper> items = primary.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
    if (!table || !items)
        return Refused(QStringLiteral("the table helper"), E_NOINTERFACE);
    int rows = 0, columns = 0;
    if (const HRESULT hr = table->GetRowCount(widget, &rows); FAILED(hr))
        return Refused(QStringLiteral("the row count"), hr);
    items->GetItemCount(widget, &columns);
    const NativeWindowId window = access.windowOf(widget);
    QStringList rowTexts, columnTexts;
    for (int row = 0; row < rows && row < kMostItems; ++row)
        rowTexts.append(Text([&](BSTR *text) { return table->GetVerticalHeaderText(widget, row, text); }));
    for (int column = 0; column < columns; ++column)
        columnTexts.append(Text([&](BSTR *text) { return table->GetHorizontalHeaderText(widget, column, text); }));
    auto rectOf = [&](int row, int column) -> QJsonValue {
        int x = 0, y = 0, width = 0, height = 0;
        if (FAILED(table->GetCellRect(widget, row, column, &x, &y, &width, &height)))
            return QJsonValue();
        return access.windowRect(x, y, width, height, window);
    };
    const QJsonArray columnItems = Keyed(columnTexts, [&](int column) {
        return QJsonObject{ { QStringLiteral("rect"), rectOf(-1, column) } };
    });
    QJsonArray cells;
    const QJsonArray rowItems = Keyed(rowTexts, [&](int row) {
        QJsonArray rowCells;
        for (int column = 0; column < columns; ++column) {
            rowCells.append(QJsonObject{
                { QStringLiteral("key"), KeyOf(rowTexts, row) + QLatin1Char('|') + KeyOf(columnTexts, column) },
                { QStringLiteral("row"), row },
                { QStringLiteral("column"), column },
                { QStringLiteral("text"), Text([&](BSTR *text) { return table->GetCellText(widget, row, column, text); }) },
                { QStringLiteral("rect"), rectOf(row, column) } });
        }
        return QJsonObject{ { QStringLiteral("rect"), rectOf(row, -1) }, { QStringLiteral("cells"), rowCells } };
    });
    return Reply::success(QJsonObject{ { QStringLiteral("rowCount"), rows }, { QStringLiteral("columnCount"), columns },
                                       { QStringLiteral("columns"), columnItems }, { QStringLiteral("items"), rowItems } });
}

class TreeLister
{
public:
    // viewport is set for a tree view over any model, whose rectangles the
    // helper leaves in viewport coordinates; a tree widget's are mapped to
    // its window.
    TreeLister(HelperAccess &access, IvrQtTreeViewHelper *tree, QWidget *widget, int columns, QWidget *viewport)
        : access(access), tree(tree), widget(widget), columns(columns), window(access.windowOf(widget)), viewport(viewport)
    {
    }

    QJsonArray children(std::vector<int> &indexes, const QString &prefix)
    {
        QJsonArray items;
        if (int(indexes.size()) >= kDeepestLevel)
            return items;
        const QStringList texts = TreeChildTexts(tree, widget, indexes);
        for (int index = 0; index < texts.size() && listed < kMostItems; ++index, ++listed) {
            indexes.push_back(index);
            const TreePath path(indexes);
            const QString key = KeyOf(texts, index);
            const QString itemPath = prefix.isEmpty() ? key : prefix + QLatin1Char('|') + key;
            int failedAt = -1;
            QJsonObject entry{
                { QStringLiteral("key"), key },
                { QStringLiteral("path"), itemPath },
                { QStringLiteral("index"), index },
                { QStringLiteral("text"), texts.at(index) },
                { QStringLiteral("expanded"), Flag([&](VARIANT_BOOL *v) { return tree->IsItemExpanded(widget, path.get(), v, &failedAt); }) },
                { QStringLiteral("selected"), Flag([&](VARIANT_BOOL *v) { return tree->IsItemSelected(widget, path.get(), v, &failedAt); }) },
                { QStringLiteral("visible"), Flag([&](VARIANT_BOOL *v) { return tree->IsItemVisible(widget, path.get(), v, &failedAt); }) },
            };
            if (columns > 1) {
                QJsonArray cells;
                for (int column = 0; column < columns; ++column)
                    cells.append(Text([&](BSTR *text) { return tree->GetItemText(widget, path.get(), column, text, &failedAt); }));
                entry.insert(QStringLiteral("texts"), cells);
            }
            int x = 0, y = 0, width = 0, height = 0;
            if (SUCCEEDED(tree->GetItemRect(widget, path.get(), 0, &x, &y, &width, &height, &failedAt)))
                entry.insert(QStringLiteral("rect"), viewport ? access.viewportRect(x, y, width, height, viewport)
                                                              : access.windowRect(x, y, width, height, window));
            const QJsonArray below = children(indexes, itemPath);
            if (!below.isEmpty())
                entry.insert(QStringLiteral("children"), below);
            indexes.pop_back();
            items.append(entry);
        }
        return items;
    }

private:
    HelperAccess &access;
    IvrQtTreeViewHelper *tree;
    QWidget *widget;
    int columns;
    NativeWindowId window;
    QWidget *viewport;
    int listed = 0;
};

Reply ListTree(HelperAccess &access, QWidget *widget)
{
    const Ref<IvrQtTreeWidgetHelper> primary = access.primary<IvrQtTreeWidgetHelper>(IID_IvrQtTreeWidgetHelper);
    const Ref<IvrQtTreeViewHelper> tree = primary.query<IvrQtTreeViewHelper>(IID_IvrQtTreeViewHelper);
    const Ref<IvrQtBaseItemsWidgetHelper> items = primary.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
    if (!tree || !items)
        return Refused(QStringLiteral("the tree helper"), E_NOINTERFACE);
    int columns = 0;
    items->GetItemCount(widget, &columns);
    QJsonArray headers;
    for (int column = 0; column < columns; ++column) {
        VARIANT header;
        VariantInit(&header);
        V_VT(&header) = VT_I4;
        V_I4(&header) = -1; // the header's row
        int failedAt = -1;
        headers.append(Text([&](BSTR *text) { return tree->GetItemText(widget, header, column, text, &failedAt); }));
    }
    QWidget *viewport = nullptr;
    if (!IsOfClass(access, widget, "QTreeWidget")) {
        if (const Ref<IvrQtViewPortProviderHelper> viewports = primary.query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper))
            viewports->GetViewPort(widget, 0, &viewport);
    }
    std::vector<int> indexes;
    TreeLister lister(access, tree.get(), widget, columns, viewport);
    return Reply::success(QJsonObject{ { QStringLiteral("columnCount"), columns }, { QStringLiteral("headers"), headers },
                                       { QStringLiteral("items"), lister.children(indexes, QString()) } });
}

Reply ListComboBox(HelperAccess &access, QWidget *widget)
{
    const Ref<IvrQtComboBoxHelper> combo = access.primary<IvrQtComboBoxHelper>(IID_IvrQtComboBoxHelper);
    const Ref<IvrQtBaseItemsWidgetHelper> items = combo.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
    const Ref<IvrQtViewPortProviderHelper> viewports = combo.query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper);
    if (!combo || !items)
        return Refused(QStringLiteral("the combo box helper"), E_NOINTERFACE);
    int count = 0, current = -1;
    if (const HRESULT hr = items->GetItemCount(widget, &count); FAILED(hr))
        return Refused(QStringLiteral("the item count"), hr);
    combo->GetCurrentIndex(widget, &current);
    QWidget *viewport = nullptr;
    if (viewports)
        viewports->GetViewPort(widget, 0, &viewport);
    const NativeWindowId window = viewport ? access.windowOf(viewport) : 0;
    QStringList texts;
    for (int index = 0; index < count && index < kMostItems; ++index)
        texts.append(Text([&](BSTR *text) { return combo->GetItemText(widget, index, text); }));
    const QJsonArray entries = Keyed(texts, [&](int index) {
        QJsonObject entry{ { QStringLiteral("current"), index == current } };
        int x = 0, y = 0, width = 0, height = 0;
        if (SUCCEEDED(combo->GetItemRect(widget, index, &x, &y, &width, &height)))
            entry.insert(QStringLiteral("rect"), access.windowRect(x, y, width, height, window));
        return entry;
    });
    return Reply::success(QJsonObject{
        { QStringLiteral("count"), count },
        { QStringLiteral("currentText"), Text([&](BSTR *text) { return combo->GetItemText(widget, -1, text); }) },
        { QStringLiteral("popupVisible"), Flag([&](VARIANT_BOOL *v) { return combo->IsPopupVisible(widget, v); }) },
        { QStringLiteral("items"), entries } });
}

Reply ListTabs(HelperAccess &access, QWidget *widget)
{
    const Ref<IvrQtTabWidgetHelper> tabs = access.primary<IvrQtTabWidgetHelper>(IID_IvrQtTabWidgetHelper);
    if (!tabs)
        return Refused(QStringLiteral("the tab widget helper"), E_NOINTERFACE);
    int count = 0, current = -1;
    if (const HRESULT hr = tabs->GetTabCount(widget, &count); FAILED(hr))
        return Refused(QStringLiteral("the tab count"), hr);
    tabs->GetCurrentIndex(widget, &current);
    const NativeWindowId window = access.windowOf(widget);
    QStringList texts;
    for (int index = 0; index < count; ++index)
        texts.append(Text([&](BSTR *text) { return tabs->GetTabText(widget, index, text); }));
    const QJsonArray entries = Keyed(texts, [&](int index) {
        QJsonObject entry{ { QStringLiteral("current"), index == current },
                           { QStringLiteral("enabled"), Flag([&](VARIANT_BOOL *v) { return tabs->IsTabEnabled(widget, index, v); }) } };
        int x = 0, y = 0, width = 0, height = 0;
        if (SUCCEEDED(tabs->GetTabRect(widget, index, &x, &y, &width, &height)))
            entry.insert(QStringLiteral("rect"), access.windowRect(x, y, width, height, window));
        return entry;
    });
    return Reply::success(QJsonObject{ { QStringLiteral("count"), count }, { QStringLiteral("items"), entries } });
}

class MenuLister
{
public:
    MenuLister(IvrQtMenuHelper *menus, IvrQtMenuBarHelper *bar) : menus(menus), bar(bar) {}

    // The entries of menu; on the bar itself, onBar says where each is.
    QJsonArray entries(QWidget *menu, const QString &prefix, int depth, bool isBar)
    {
        QJsonArray items;
        const QStringList texts = MenuTexts(menus, menu);
        for (int index = 0; index < texts.size() && listed < kMostItems; ++index, ++listed) {
            const QString key = KeyOf(texts, index);
            const QString path = prefix.isEmpty() ? key : prefix + QLatin1Char('|') + key;
            QJsonObject entry{
                { QStringLiteral("key"), key },
                { QStringLiteral("path"), path },
                { QStringLiteral("index"), index },
                { QStringLiteral("text"), texts.at(index) },
                { QStringLiteral("separator"), Flag([&](VARIANT_BOOL *v) { return menus->IsItemSeparator(menu, index, v); }) },
                { QStringLiteral("enabled"), Flag([&](VARIANT_BOOL *v) { return menus->IsItemEnabled(menu, index, v); }) },
                { QStringLiteral("checkable"), Flag([&](VARIANT_BOOL *v) { return menus->IsItemCheckable(menu, index, v); }) },
                { QStringLiteral("checked"), Flag([&](VARIANT_BOOL *v) { return menus->IsItemChecked(menu, index, v); }) },
            };
            if (isBar && bar)
                entry.insert(QStringLiteral("onBar"), Flag([&](VARIANT_BOOL *v) { return bar->IsItemOnBar(menu, index, v); }));
            int x = 0, y = 0, width = 0, height = 0;
            if (SUCCEEDED(menus->GetItemRect(menu, VARIANT_TRUE, index, &x, &y, &width, &height)))
                entry.insert(QStringLiteral("rect"), HelperAccess::screenRect(x, y, width, height));
            QMenu *sub = nullptr;
            if (!isBar && depth < kDeepestLevel && SUCCEEDED(menus->GetSubMenu(menu, index, &sub)) && sub) {
                entry.insert(QStringLiteral("subMenuVisible"), Flag([&](VARIANT_BOOL *v) { return menus->IsSubMenuVisible(menu, index, v); }));
                entry.insert(QStringLiteral("children"), entries(reinterpret_cast<QWidget *>(sub), path, depth + 1, false));
            }
            items.append(entry);
        }
        return items;
    }

private:
    IvrQtMenuHelper *menus;
    IvrQtMenuBarHelper *bar;
    int listed = 0;
};

Reply ListMenu(HelperAccess &access, QWidget *widget, bool isBar)
{
    const Ref<IvrQtMenuHelper> menu = isBar ? access.primary<IvrQtMenuBarHelper>(IID_IvrQtMenuBarHelper).query<IvrQtMenuHelper>(IID_IvrQtMenuHelper)
                                            : access.primary<IvrQtMenuHelper>(IID_IvrQtMenuHelper);
    const Ref<IvrQtMenuBarHelper> bar = access.primary<IvrQtMenuBarHelper>(IID_IvrQtMenuBarHelper);
    // A bar's entries are listed through the bar's helper, submenus through
    // the menu helper.
    const Ref<IvrQtMenuHelper> submenus = access.primary<IvrQtMenuHelper>(IID_IvrQtMenuHelper);
    if (!menu || !submenus)
        return Refused(QStringLiteral("the menu helper"), E_NOINTERFACE);
    int count = 0;
    if (const HRESULT hr = menu->GetItemCount(widget, &count); FAILED(hr))
        return Refused(QStringLiteral("the entry count"), hr);
    MenuLister top(menu.get(), bar.get());
    QJsonArray items = top.entries(widget, QString(), 0, isBar);
    if (isBar) {
        // Below the bar the entries are menus: their entries come from the
        // menu helper.
        MenuLister below(submenus.get(), nullptr);
        for (int index = 0; index < items.size(); ++index) {
            QJsonObject entry = items.at(index).toObject();
            QMenu *sub = nullptr;
            if (SUCCEEDED(menu->GetSubMenu(widget, index, &sub)) && sub)
                entry.insert(QStringLiteral("children"),
                             below.entries(reinterpret_cast<QWidget *>(sub), entry.value(QStringLiteral("path")).toString(), 1, false));
            items.replace(index, entry);
        }
    }
    return Reply::success(QJsonObject{ { QStringLiteral("count"), count }, { QStringLiteral("items"), items } });
}

} // namespace

TreePath::TreePath(const std::vector<int> &indexes)
{
    VariantInit(&value);
    SAFEARRAY *array = SafeArrayCreateVector(VT_VARIANT, 0, ULONG(indexes.size()));
    if (!array)
        return;
    for (LONG at = 0; at < LONG(indexes.size()); ++at) {
        VARIANT step;
        VariantInit(&step);
        V_VT(&step) = VT_I4;
        V_I4(&step) = indexes[std::size_t(at)];
        SafeArrayPutElement(array, &at, &step);
    }
    V_VT(&value) = VT_ARRAY | VT_VARIANT;
    V_ARRAY(&value) = array;
}

TreePath::~TreePath()
{
    VariantClear(&value);
}

QStringList TreeChildTexts(IvrQtTreeViewHelper *tree, QWidget *widget, const std::vector<int> &indexes)
{
    QStringList texts;
    const TreePath parent(indexes);
    int count = 0, failedAt = -1;
    if (FAILED(tree->GetChildCount(widget, parent.get(), &count, &failedAt)))
        return texts;
    std::vector<int> child = indexes;
    child.push_back(0);
    for (int index = 0; index < count && index < kMostItems; ++index) {
        child.back() = index;
        const TreePath path(child);
        texts.append(Text([&](BSTR *text) { return tree->GetItemText(widget, path.get(), 0, text, &failedAt); }));
    }
    return texts;
}

QStringList MenuTexts(IvrQtMenuHelper *menu, QWidget *widget)
{
    QStringList texts;
    int count = 0;
    if (FAILED(menu->GetItemCount(widget, &count)))
        return texts;
    for (int index = 0; index < count && index < kMostItems; ++index)
        texts.append(Text([&](BSTR *text) { return menu->GetItemText(widget, index, text); }));
    return texts;
}

Reply ListItems(HelperAccess &access, QWidget *widget, ItemFamily family)
{
    switch (family) {
    case ItemFamily::List:
        return ListList(access, widget);
    case ItemFamily::Table:
        return ListTable(access, widget);
    case ItemFamily::Tree:
        return ListTree(access, widget);
    case ItemFamily::ComboBox:
        return ListComboBox(access, widget);
    case ItemFamily::TabWidget:
        return ListTabs(access, widget);
    case ItemFamily::Menu:
        return ListMenu(access, widget, false);
    case ItemFamily::MenuBar:
        return ListMenu(access, widget, true);
    default:
        return ListValues(access, widget, family);
    }
}

} // namespace vrqt::agent
