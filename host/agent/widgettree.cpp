#include "host/agent/widgettree.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QString>
#include <QWidget>

#include "host/modulehost.h"
#include "host/scripting/variants.h"

namespace vrqt::agent {

namespace {

// Deeper nesting than this is not a real widget tree; stop rather than
// exhaust the GUI thread's stack.
constexpr int kMaximumDepth = 200;

QString toQString(const host::Bstr &text)
{
    return QString::fromUtf16(text.get() ? text.get() : u"", int(SysStringLen(text.get())));
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

QJsonObject WidgetTree::build(const std::vector<NativeWindow> &windows, bool withObjects)
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
    QJsonObject tree{ { QStringLiteral("mainWindow"), main ? QJsonValue(double(main)) : QJsonValue() } };
    if (withObjects) {
        for (QJsonValueRef window : topLevels) {
            QJsonObject node = window.toObject();
            addObjects(node);
            window = node;
        }
        if (QCoreApplication *application = QCoreApplication::instance())
            tree.insert(QStringLiteral("application"), describeObject(application));
    }
    tree.insert(QStringLiteral("windows"), topLevels);
    return tree;
}

void WidgetTree::addObjects(QJsonObject &node)
{
    QJsonArray children = node.value(QStringLiteral("children")).toArray();
    for (QJsonValueRef child : children) {
        QJsonObject described = child.toObject();
        addObjects(described);
        child = described;
    }
    node.insert(QStringLiteral("children"), children);
    const quintptr address = node.value(QStringLiteral("address")).toString().toULongLong(nullptr, 16);
    // Only objects of this walk: their addresses came from the module.
    if (auto *object = reinterpret_cast<QObject *>(address); address && described.count(object))
        node.insert(QStringLiteral("objects"), objectsBelow(object));
}

QJsonArray WidgetTree::objectsBelow(QObject *object)
{
    QJsonArray objects;
    for (QObject *child : object->children()) {
        if (child && !described.count(child))
            objects.append(describeObject(child));
    }
    return objects;
}

QJsonObject WidgetTree::describeObject(QObject *object)
{
    described.insert(object);
    QJsonObject node;
    if (object->isWidgetType()) {
        node = describeWidget(static_cast<QWidget *>(object));
    } else {
        node.insert(QStringLiteral("className"), QLatin1String(object->metaObject()->className()));
        node.insert(QStringLiteral("objectName"), object->objectName());
        node.insert(QStringLiteral("widget"), false);
        node.insert(QStringLiteral("path"), paths.pathOf(object));
        node.insert(QStringLiteral("address"), scripting::AddressText(object));
    }
    node.insert(QStringLiteral("objects"), objectsBelow(object));
    return node;
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
        const HRESULT classResult = objects->GetClassName(object, className.out());
        const HRESULT nameResult = objects->GetObjectName(object, objectName.out());
        node.insert(QStringLiteral("className"), textOr(classResult, className));
        node.insert(QStringLiteral("objectName"), textOr(nameResult, objectName));
        node.insert(QStringLiteral("widget"), false);
        node.insert(QStringLiteral("visible"), window.visible);
        node.insert(QStringLiteral("native"), true);
        node.insert(QStringLiteral("window"), double(window.id));
        node.insert(QStringLiteral("path"), paths.pathOf(object));
        node.insert(QStringLiteral("address"), scripting::AddressText(object));
    }
    node.insert(QStringLiteral("devicePixelRatio"), window.devicePixelRatio);
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
    QJsonObject node;
    // Each value is read by its own statement: the call must be done before
    // its out-parameter is looked at.
    auto text = [&](const char *key, HRESULT (STDMETHODCALLTYPE IvrQtObjectsHelper::*get)(QObject *, BSTR *)) {
        host::Bstr value;
        const HRESULT hr = (objects->*get)(widget, value.out());
        node.insert(QLatin1String(key), SUCCEEDED(hr) ? QJsonValue(toQString(value)) : QJsonValue());
    };
    auto number = [&](const char *key, HRESULT (STDMETHODCALLTYPE IvrQtWidgetsHelper::*get)(QWidget *, int *)) {
        int value = 0;
        const HRESULT hr = (widgets->*get)(widget, &value);
        node.insert(QLatin1String(key), SUCCEEDED(hr) ? QJsonValue(value) : QJsonValue());
    };
    auto flag = [&](const char *key, HRESULT (STDMETHODCALLTYPE IvrQtWidgetsHelper::*get)(QWidget *, VARIANT_BOOL *)) {
        VARIANT_BOOL value = VARIANT_FALSE;
        const HRESULT hr = (widgets->*get)(widget, &value);
        node.insert(QLatin1String(key), SUCCEEDED(hr) ? QJsonValue(value != VARIANT_FALSE) : QJsonValue());
    };

    text("className", &IvrQtObjectsHelper::GetClassName);
    text("objectName", &IvrQtObjectsHelper::GetObjectName);
    number("qtIndex", &IvrQtWidgetsHelper::GetWidgetIndex);
    host::Bstr caption;
    const HRESULT captionResult = widgets->GetWidgetText(widget, caption.out());
    node.insert(QStringLiteral("qtText"), SUCCEEDED(captionResult) ? QJsonValue(toQString(caption)) : QJsonValue());
    number("x", &IvrQtWidgetsHelper::GetX);
    number("y", &IvrQtWidgetsHelper::GetY);
    number("width", &IvrQtWidgetsHelper::GetWidth);
    number("height", &IvrQtWidgetsHelper::GetHeight);
    number("screenX", &IvrQtWidgetsHelper::GetScreenX);
    number("screenY", &IvrQtWidgetsHelper::GetScreenY);
    flag("visible", &IvrQtWidgetsHelper::GetVisible);
    flag("enabled", &IvrQtWidgetsHelper::GetEnabled);
    NativeWindowId own = 0;
    const bool native = SUCCEEDED(widgets->GetOwnWindowHandle(widget, &own)) && own != 0;
    node.insert(QStringLiteral("native"), native);
    if (native)
        node.insert(QStringLiteral("window"), double(own));
    node.insert(QStringLiteral("widget"), true);
    node.insert(QStringLiteral("path"), paths.pathOf(widget));
    node.insert(QStringLiteral("address"), scripting::AddressText(widget));
    return node;
}

} // namespace vrqt::agent
