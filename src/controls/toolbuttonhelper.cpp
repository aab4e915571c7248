#include "controls/toolbuttonhelper.h"

#include <QToolButton>

#include <type_traits>

#include "controls/helperfactories.h"
#include "values/stringbridges.h"

namespace {

// One reading of the button into result, on the caller's thread; E_POINTER
// for a null result. A BSTR result is null before anything else.
template <typename Result, typename Read>
HRESULT ReadButton(QWidget *widget, Result *result, Read read)
{
    if (!result)
        return E_POINTER;
    if constexpr (std::is_same_v<Result, BSTR>)
        *result = nullptr;
    return WithWidget<QToolButton>(widget, [&](QToolButton *button) {
        *result = read(button);
        return S_OK;
    });
}

} // namespace

HRESULT CvrQtToolButtonHelper::QueryInterface(REFIID riid, void **object)
{
    return QueryInterfaceTable(
        this, { Implements<CvrQtToolButtonHelper, IvrQtToolButtonHelper>(IID_IvrQtToolButtonHelper) }, riid, object);
}

HRESULT CvrQtToolButtonHelper::GetText(QWidget *widget, BSTR *text)
{
    return ReadButton(widget, text, [](QToolButton *button) { return QStringToBstr(button->text()); });
}

HRESULT CvrQtToolButtonHelper::IsEnabled(QWidget *widget, VARIANT_BOOL *enabled)
{
    return ReadButton(widget, enabled, [](QToolButton *button) { return ToVariantBool(button->isEnabled()); });
}

HRESULT CvrQtToolButtonHelper::IsChecked(QWidget *widget, VARIANT_BOOL *checked)
{
    return ReadButton(widget, checked,
                      [](QToolButton *button) { return ToVariantBool(button->isCheckable() && button->isChecked()); });
}

HRESULT CvrQtToolButtonHelper::IsCheckable(QWidget *widget, VARIANT_BOOL *checkable)
{
    return ReadButton(widget, checkable, [](QToolButton *button) { return ToVariantBool(button->isCheckable()); });
}

HRESULT CvrQtToolButtonHelper::IsVisible(QWidget *widget, VARIANT_BOOL *visible)
{
    return ReadButton(widget, visible, [](QToolButton *button) { return ToVariantBool(button->isVisible()); });
}

HRESULT CvrQtToolButtonHelper::HasMenu(QWidget *widget, VARIANT_BOOL *hasMenu)
{
    return ReadButton(widget, hasMenu, [](QToolButton *button) { return ToVariantBool(button->menu() != nullptr); });
}

HRESULT CreateToolButtonHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtToolButtonHelper, IvrQtToolButtonHelper>(helper);
}
