#include "controls/buttonhelpers.h"

#include <QCheckBox>
#include <QRadioButton>
#include <QStyle>
#include <QStyleOptionButton>

#include "controls/helperfactories.h"

namespace {

// The click rectangle of element for the button, mapped to its native
// window, on the caller's thread. showButtonToStyle: whether the style is
// told which widget asks.
template <typename Button>
HRESULT ClickRect(QWidget *widget, QStyle::SubElement element, bool showButtonToStyle, int *windowHandle, int *x,
                  int *y, int *width, int *height)
{
    if (!windowHandle || !x || !y || !width || !height)
        return E_POINTER;
    return WithWidget<Button>(widget, [&](Button *button) {
        QStyleOptionButton option;
        option.initFrom(button);
        const QRect rect =
            button->style()->subElementRect(element, &option, showButtonToStyle ? button : nullptr);
        StoreRect(rect, x, y, width, height);
        *windowHandle = MapToWindowXY(button, x, y);
        return S_OK;
    });
}

} // namespace

HRESULT CvrQtCheckBoxHelper::QueryInterface(REFIID riid, void **object)
{
    return QueryInterfaceTable(this,
                               { Implements<CvrQtCheckBoxHelper, IvrQtCheckBoxHelper>(IID_IvrQtCheckBoxHelper),
                                 Implements<CvrQtCheckBoxHelper, IvrQtRectProviderHelper>(IID_IvrQtRectProviderHelper) },
                               riid, object);
}

HRESULT CvrQtCheckBoxHelper::SetCheckState(QWidget *widget, int state)
{
    return WithWidget<QCheckBox>(widget, [&](QCheckBox *box) {
        // Deliberately no error for an unknown state: it unchecks the box.
        const Qt::CheckState checkState = state == 1 ? Qt::Checked : state == 2 ? Qt::PartiallyChecked : Qt::Unchecked;
        RunForWidget(box, [&] { box->setCheckState(checkState); });
        return S_OK;
    });
}

HRESULT CvrQtCheckBoxHelper::GetCheckState(QWidget *widget, int *state)
{
    if (!state)
        return E_POINTER;
    return WithWidget<QCheckBox>(widget, [&](QCheckBox *box) {
        switch (box->checkState()) {
        case Qt::Unchecked:
            *state = 0;
            return S_OK;
        case Qt::Checked:
            *state = 1;
            return S_OK;
        case Qt::PartiallyChecked:
            *state = 2;
            return S_OK;
        }
        // A state Qt does not define: deliberately -1 as well as E_FAIL.
        *state = -1;
        return E_FAIL;
    });
}

HRESULT CvrQtCheckBoxHelper::IsTristate(QWidget *widget, VARIANT_BOOL *tristate)
{
    if (!tristate)
        return E_POINTER;
    return WithWidget<QCheckBox>(widget, [&](QCheckBox *box) {
        *tristate = ToVariantBool(box->isTristate());
        return S_OK;
    });
}

HRESULT CvrQtCheckBoxHelper::GetClickRect(QWidget *widget, int /*part*/, int *windowHandle, int *x, int *y, int *width,
                                          int *height)
{
    return ClickRect<QCheckBox>(widget, QStyle::SE_CheckBoxClickRect, true, windowHandle, x, y, width, height);
}

HRESULT CvrQtRadioButtonHelper::QueryInterface(REFIID riid, void **object)
{
    return QueryInterfaceTable(
        this,
        { Implements<CvrQtRadioButtonHelper, IvrQtRadioButtonHelper>(IID_IvrQtRadioButtonHelper),
          Implements<CvrQtRadioButtonHelper, IvrQtRectProviderHelper>(IID_IvrQtRectProviderHelper) },
        riid, object);
}

HRESULT CvrQtRadioButtonHelper::IsChecked(QWidget *widget, VARIANT_BOOL *checked)
{
    if (!checked)
        return E_POINTER;
    return WithWidget<QRadioButton>(widget, [&](QRadioButton *button) {
        *checked = ToVariantBool(button->isChecked());
        return S_OK;
    });
}

HRESULT CvrQtRadioButtonHelper::GetClickRect(QWidget *widget, int /*part*/, int *windowHandle, int *x, int *y,
                                             int *width, int *height)
{
    // Deliberately asked without the widget, unlike the check box's.
    return ClickRect<QRadioButton>(widget, QStyle::SE_RadioButtonClickRect, false, windowHandle, x, y, width, height);
}

HRESULT CreateCheckBoxHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtCheckBoxHelper, IvrQtCheckBoxHelper>(helper);
}

HRESULT CreateRadioButtonHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtRadioButtonHelper, IvrQtRadioButtonHelper>(helper);
}
