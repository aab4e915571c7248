#include "host/agent/widgettree.h"

#include <QJsonArray>
#include <QString>
#include <QWidget>

#include "host/modulehost.h"

namespace vrqt::agent {

namespace {

// Deeper nesting than this is not a real widget tree; stop rather than
// exhaust the GUI thread's stack.
constexpr int kMaximumDepth = 200;

QString toQString(const host::Bstr &text)
{
    return QString::fromUtf16(text.get() ? text.get() : u"", int(SysStringLen(text.get())));
}

QString addressText(const void *address)
{
    return QStringLiteral("0x") + QString::number(quintptr(address), 16);
}

QJsonValue valueOr(HRESULT hr, int value)
{
    return SUCCEEDED(hr) ? QJsonValue(value) : QJsonValue();
}

QJsonValue valueOr(HRESULT hr, VARIANT_BOOL value)
{
    return SUCCEEDED(hr) ? QJsonValue(value != VARIANT_FALSE) : QJsonValue();
}

QJsonValue textOr(HRESULT hr, const host::Bstr &text)
{
    return SUCCEEDED(hr) ? QJsonValue(toQString(text)) : QJsonValue();
}

} // namespace

QWidget *WidgetTree::widgetOf(NativeWindowId window)
{
    QWidget *widget = nullptr;
    if (FAILED(widgets->FindWidget(window, &widget)))
        return nullptr;
    return widget;
}

NativeWindowId WidgetTree::mainWindow(const std::vector<NativeWindow> &windows)
{
    bool anyShownWidget = false;
    for (const NativeWindow &window : windows) {
        if (!window.parent && window.visible && widgetOf(window.id)) {
            anyShownWidget = true;
            break;
        }
    }
    if (!anyShownWidget)
        return 0;
    NativeWindowId main = 0;
    if (FAILED(widgets->GetMainWindowHandle(&main)))
        return 0;
    return main;
}

bool WidgetTree::mainWidgetShown(const std::vector<NativeWindow> &windows)
{
    QWidget *main = nullptr;
    if (const NativeWindowId window = mainWindow(windows))
        main = widgetOf(window);
    VARIANT_BOOL visible = VARIANT_FALSE;
    return main && SUCCEEDED(widgets->GetVisible(main, &visible)) && visible != VARIANT_FALSE;
}

QJsonObject WidgetTree::build(const std::vector<NativeWindow> &windows)
{
    described.clear();
    const NativeWindowId main = mainWindow(windows);
    QJsonArray topLevels;
    auto addTopLevel = [&](const NativeWindow &window) {
        QJsonObject node = describeWindow(window, windows, 0);
        if (!node.isEmpty())
            topLevels.append(node);
    };
    for (const NativeWindow &window : windows) {
        if (!window.parent && window.id == main)
            addTopLevel(window);
    }
    for (const NativeWindow &window : windows) {
        if (!window.parent && window.id != main)
            addTopLevel(window);
    }
    return { { QStringLiteral("mainWindow"), main ? QJsonValue(double(main)) : QJsonValue() },
             { QStringLiteral("windows"), topLevels } };
}

QJsonObject WidgetTree::describeWindow(const NativeWindow &window, const std::vector<NativeWindow> &all, int depth)
{
    QJsonObject node;
    QJsonArray children;
    if (QWidget *widget = widgetOf(window.id)) {
        if (!described.insert(widget).second)
            return {};
        node = describeWidget(widget);
        children = alienSubtrees(widget, depth + 1);
    } else {
        // A window that no widget owns (a QWindow of its own): only what an
        // object can say about itself.
        QObject *object = window.window;
        host::Bstr className, objectName;
        node.insert(QStringLiteral("className"), textOr(objects->GetClassName(object, className.out()), className));
        node.insert(QStringLiteral("objectName"), textOr(objects->GetObjectName(object, objectName.out()), objectName));
        node.insert(QStringLiteral("widget"), false);
        node.insert(QStringLiteral("visible"), window.visible);
        node.insert(QStringLiteral("native"), true);
        node.insert(QStringLiteral("window"), double(window.id));
        node.insert(QStringLiteral("address"), addressText(object));
    }
    if (depth < kMaximumDepth) {
        for (const NativeWindow &child : all) {
            if (child.parent == window.id) {
                QJsonObject subtree = describeWindow(child, all, depth + 1);
                if (!subtree.isEmpty())
                    children.append(subtree);
            }
        }
    }
    node.insert(QStringLiteral("children"), children);
    return node;
}

QJsonArray WidgetTree::alienSubtrees(QWidget *widget, int depth)
{
    QJsonArray subtrees;
    if (depth >= kMaximumDepth)
        return subtrees;
    for (QWidget *child : alienChildren(widget)) {
        if (!described.insert(child).second)
            continue;
        QJsonObject node = describeWidget(child);
        node.insert(QStringLiteral("children"), alienSubtrees(child, depth + 1));
        subtrees.append(node);
    }
    return subtrees;
}

std::vector<QWidget *> WidgetTree::alienChildren(QWidget *widget)
{
    std::vector<QWidget *> result;
    VARIANT children;
    VariantInit(&children);
    if (widgets->GetChildWidgets(widget, &children) == VARIANT_FALSE) {
        VariantClear(&children);
        return result;
    }
    SAFEARRAY *array = children.vt == (VT_ARRAY | VT_UI8) ? children.parray : nullptr;
    LONG lower = 0, upper = -1;
    void *data = nullptr;
    if (array && SUCCEEDED(SafeArrayGetLBound(array, 1, &lower)) && SUCCEEDED(SafeArrayGetUBound(array, 1, &upper))
        && SUCCEEDED(SafeArrayAccessData(array, &data))) {
        const auto *addresses = static_cast<const ULONGLONG *>(data);
        for (LONG index = 0; index <= upper - lower; ++index)
            result.push_back(reinterpret_cast<QWidget *>(quintptr(addresses[index])));
        SafeArrayUnaccessData(array);
    }
    VariantClear(&children);
    return result;
}

QJsonObject WidgetTree::describeWidget(QWidget *widget)
{
    host::Bstr className, objectName, text;
    int index = 0, x = 0, y = 0, width = 0, height = 0, screenX = 0, screenY = 0;
    VARIANT_BOOL visible = VARIANT_FALSE, enabled = VARIANT_FALSE;
    NativeWindowId own = 0;

    QJsonObject node;
    node.insert(QStringLiteral("className"), textOr(objects->GetClassName(widget, className.out()), className));
    node.insert(QStringLiteral("objectName"), textOr(objects->GetObjectName(widget, objectName.out()), objectName));
    node.insert(QStringLiteral("qtIndex"), valueOr(widgets->GetWidgetIndex(widget, &index), index));
    node.insert(QStringLiteral("qtText"), textOr(widgets->GetWidgetText(widget, text.out()), text));
    node.insert(QStringLiteral("x"), valueOr(widgets->GetX(widget, &x), x));
    node.insert(QStringLiteral("y"), valueOr(widgets->GetY(widget, &y), y));
    node.insert(QStringLiteral("width"), valueOr(widgets->GetWidth(widget, &width), width));
    node.insert(QStringLiteral("height"), valueOr(widgets->GetHeight(widget, &height), height));
    node.insert(QStringLiteral("screenX"), valueOr(widgets->GetScreenX(widget, &screenX), screenX));
    node.insert(QStringLiteral("screenY"), valueOr(widgets->GetScreenY(widget, &screenY), screenY));
    node.insert(QStringLiteral("visible"), valueOr(widgets->GetVisible(widget, &visible), visible));
    node.insert(QStringLiteral("enabled"), valueOr(widgets->GetEnabled(widget, &enabled), enabled));
    const bool native = SUCCEEDED(widgets->GetOwnWindowHandle(widget, &own)) && own != 0;
    node.insert(QStringLiteral("native"), native);
    if (native)
        node.insert(QStringLiteral("window"), double(own));
    node.insert(QStringLiteral("widget"), true);
    node.insert(QStringLiteral("address"), addressText(widget));
    return node;
}

} // namespace vrqt::agent
