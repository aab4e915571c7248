// The control helpers: rows, cells, items, menu entries and their
// rectangles, which a meta-object does not describe. Every operation takes
// the widget's address first; the host holds it as an opaque number, so
// the widget crosses as a QWidget pointer whatever its class.
//
// The manager answers the eighteen primary interfaces; the seven further
// ones are answered only by a helper that implements them.
#pragma once

#include "interfaces/unknown.h"
#include "platform/variant.h"

class QAction;
class QMenu;
class QScrollBar;
class QWidget;

DEFINE_IID(IID_IvrQtControlHelper, 0x0A115764, 0x1219, 0x4ED2, 0x87, 0x6A, 0x8A, 0x9C, 0xA1, 0x4B, 0xC2, 0xD5);
DEFINE_IID(IID_IvrQtCheckBoxHelper, 0xE8E055EB, 0x6647, 0x40A0, 0xBC, 0xD5, 0x78, 0xAB, 0x30, 0x82, 0x5B, 0xCE);
DEFINE_IID(IID_IvrQtCalendarWidgetHelper, 0xAD98C9D1, 0xF925, 0x49B3, 0x87, 0xFB, 0x64, 0x70, 0xC1, 0xDE, 0x7D, 0xED);
DEFINE_IID(IID_IvrQtLineEditHelper, 0x88B0015F, 0x4BF9, 0x4C2D, 0xA5, 0x16, 0x80, 0x66, 0x8A, 0xAE, 0x55, 0x3A);
DEFINE_IID(IID_IvrQtListWidgetHelper, 0x4E7F9B1F, 0x3876, 0x433E, 0xA3, 0x76, 0x3B, 0x0F, 0xFC, 0x61, 0xCA, 0xC3);
DEFINE_IID(IID_IvrQtTableWidgetHelper, 0x808F14AC, 0x9877, 0x4C77, 0x95, 0xFB, 0xDA, 0xC0, 0xC0, 0x12, 0x43, 0xA4);
DEFINE_IID(IID_IvrQtTreeWidgetHelper, 0xEA26DBF1, 0xAFF3, 0x4613, 0x89, 0x7D, 0xFB, 0xCF, 0xCF, 0xDA, 0xB0, 0xA4);
DEFINE_IID(IID_IvrQtScrollAreaHelper, 0x865DF038, 0xFF51, 0x43E6, 0xBA, 0x79, 0x85, 0x12, 0xEC, 0x94, 0x5F, 0x68);
DEFINE_IID(IID_IvrQtMenuHelper, 0x21F1BD53, 0x4A39, 0x4D5E, 0xA6, 0xD4, 0xA0, 0xAE, 0x72, 0x34, 0x61, 0x0F);
DEFINE_IID(IID_IvrQtMenuBarHelper, 0x6414D2A2, 0x6929, 0x45D2, 0xBB, 0x2C, 0xB6, 0x45, 0xC1, 0x6A, 0xF4, 0x6F);
DEFINE_IID(IID_IvrQtComboBoxHelper, 0x6F538D3F, 0x6F9A, 0x4383, 0x93, 0xCB, 0x2B, 0x26, 0xDE, 0x09, 0x4D, 0x4B);
DEFINE_IID(IID_IvrQtToolButtonHelper, 0x2FD00C0B, 0xEA56, 0x480D, 0xA9, 0x43, 0x98, 0xF8, 0x88, 0x36, 0x2D, 0x55);
DEFINE_IID(IID_IvrQtTabWidgetHelper, 0x55E771EA, 0xC06B, 0x458C, 0x81, 0xDB, 0x8F, 0x88, 0x39, 0x07, 0xC5, 0xFA);
DEFINE_IID(IID_IvrQtSpinBoxHelper, 0x4F7DCD2F, 0x7F04, 0x47B0, 0xAE, 0x38, 0x40, 0x76, 0xCF, 0xC3, 0xC6, 0x0E);
DEFINE_IID(IID_IvrQtDoubleSpinBoxHelper, 0x54963D3E, 0x5B02, 0x4C69, 0x9D, 0xC9, 0x2C, 0xF7, 0x16, 0x8F, 0xF5, 0x5F);
DEFINE_IID(IID_IvrQtDateTimeEditHelper, 0xC4288605, 0x58CA, 0x4D3C, 0x81, 0xFF, 0x5F, 0xF5, 0xB9, 0x88, 0x62, 0x69);
DEFINE_IID(IID_IvrQtTextEditHelper, 0x2766BEAA, 0xF1E4, 0x4C12, 0x8A, 0x8C, 0x7B, 0x28, 0x13, 0x09, 0xF1, 0x1B);
DEFINE_IID(IID_IvrQtRadioButtonHelper, 0xC0873BB9, 0xF78E, 0x4F42, 0x9C, 0x89, 0x9D, 0xB2, 0x4B, 0x4B, 0xCC, 0x47);
DEFINE_IID(IID_IvrQtViewPortProviderHelper, 0x00D599CF, 0x402C, 0x4907, 0x89, 0xDB, 0xB7, 0x84, 0x6A, 0xE0, 0x3E, 0xF9);
DEFINE_IID(IID_IvrQtRectProviderHelper, 0x0F46060B, 0xEDF6, 0x4059, 0x9C, 0xD1, 0xD6, 0xB8, 0xBD, 0xAA, 0xB2, 0xED);
DEFINE_IID(IID_IvrQtBaseItemsWidgetHelper, 0x527FE165, 0x7EF5, 0x46BE, 0xA5, 0x60, 0x39, 0xBB, 0x7D, 0x6F, 0xCA, 0x3C);
DEFINE_IID(IID_IvrQtBaseSpinBoxHelper, 0xC0A1C7E0, 0x18F3, 0x4FAA, 0xA3, 0xA1, 0x2D, 0x1D, 0x33, 0xB5, 0x9E, 0xBA);
DEFINE_IID(IID_IvrQtListViewHelper, 0x912D3C2E, 0xA4AB, 0x4710, 0xA9, 0xE0, 0xDF, 0x1F, 0xAE, 0x89, 0xF9, 0x7B);
DEFINE_IID(IID_IvrQtTableViewHelper, 0xD6309FD5, 0x8D1B, 0x41F4, 0x97, 0x01, 0x1A, 0x7C, 0x1E, 0x74, 0xC8, 0x51);
DEFINE_IID(IID_IvrQtTreeViewHelper, 0x8B40CC55, 0xDADF, 0x49CF, 0x8E, 0x6E, 0xB0, 0x81, 0x3E, 0xBD, 0xD0, 0x1F);

// Any widget.
struct IvrQtControlHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetPopupMenu(QWidget *widget, QMenu **menu) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetParentWidget(QWidget *widget, QWidget **parent) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsEnabled(QWidget *widget, VARIANT_BOOL *enabled) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsPointVisible(QWidget *widget, QWidget *other, int x, int y, VARIANT_BOOL *visible) = 0;
};

// The widget a view shows its items in; which one `which` means is the
// helper's own.
struct IvrQtViewPortProviderHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetViewPort(QWidget *widget, int which, QWidget **viewPort) = 0;
};

// The area a click must hit; part is ignored.
struct IvrQtRectProviderHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetClickRect(QWidget *widget, int part, int *windowHandle, int *x, int *y, int *width,
                                                   int *height) = 0;
};

struct IvrQtBaseItemsWidgetHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetItemCount(QWidget *widget, int *count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSelectionMode(QWidget *widget, int *mode) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetAllSelected(QWidget *widget, VARIANT_BOOL selected) = 0;
};

// The one slot list of the view and the widget interface below.
#define VRQT_LIST_VIEW_OPERATIONS \
    virtual HRESULT STDMETHODCALLTYPE GetSelectedItems(QWidget *widget, VARIANT *rows) = 0; \
    virtual HRESULT STDMETHODCALLTYPE IsItemSelected(QWidget *widget, int row, VARIANT_BOOL *selected) = 0; \
    virtual HRESULT STDMETHODCALLTYPE GetItemText(QWidget *widget, int row, BSTR *text) = 0; \
    virtual HRESULT STDMETHODCALLTYPE GetItemRect(QWidget *widget, int row, int *x, int *y, int *width, int *height) = 0; \
    virtual HRESULT STDMETHODCALLTYPE SelectItem(QWidget *widget, int row, VARIANT_BOOL selected) = 0; \
    virtual HRESULT STDMETHODCALLTYPE GetCurrentRow(QWidget *widget, int *row) = 0; \
    virtual HRESULT STDMETHODCALLTYPE ScrollToItem(QWidget *widget, int row) = 0;

// QListView; IvrQtListWidgetHelper has the same operations for QListWidget.
struct IvrQtListViewHelper : IUnknown {
    VRQT_LIST_VIEW_OPERATIONS
};

struct IvrQtListWidgetHelper : IUnknown {
    VRQT_LIST_VIEW_OPERATIONS
};

// The one slot list of the view and the widget interface below.
#define VRQT_TABLE_VIEW_OPERATIONS \
    virtual HRESULT STDMETHODCALLTYPE GetRowCount(QWidget *widget, int *count) = 0; \
    virtual HRESULT STDMETHODCALLTYPE GetHorizontalHeaderText(QWidget *widget, int index, BSTR *text) = 0; \
    virtual HRESULT STDMETHODCALLTYPE GetVerticalHeaderText(QWidget *widget, int index, BSTR *text) = 0; \
    virtual HRESULT STDMETHODCALLTYPE GetCellText(QWidget *widget, int row, int column, BSTR *text) = 0; \
    virtual HRESULT STDMETHODCALLTYPE SetCellText(QWidget *widget, int row, int column, BSTR text) = 0; \
    virtual HRESULT STDMETHODCALLTYPE GetCellRect(QWidget *widget, int row, int column, int *x, int *y, int *width, \
                                                  int *height) = 0; \
    virtual HRESULT STDMETHODCALLTYPE ScrollToCell(QWidget *widget, int row, int column) = 0;

// QTableView; IvrQtTableWidgetHelper has the same operations for
// QTableWidget. A row or column of -1 names a header section.
struct IvrQtTableViewHelper : IUnknown {
    VRQT_TABLE_VIEW_OPERATIONS
};

struct IvrQtTableWidgetHelper : IUnknown {
    VRQT_TABLE_VIEW_OPERATIONS
};

// The one slot list of the view and the widget interface below.
#define VRQT_TREE_VIEW_OPERATIONS \
    virtual HRESULT STDMETHODCALLTYPE GetChildCount(QWidget *widget, VARIANT path, int *count, int *failedAt) = 0; \
    virtual HRESULT STDMETHODCALLTYPE GetItemText(QWidget *widget, VARIANT path, int column, BSTR *text, int *failedAt) = 0; \
    virtual HRESULT STDMETHODCALLTYPE IsItemExpanded(QWidget *widget, VARIANT path, VARIANT_BOOL *expanded, int *failedAt) = 0; \
    virtual HRESULT STDMETHODCALLTYPE IsItemSelected(QWidget *widget, VARIANT path, VARIANT_BOOL *selected, int *failedAt) = 0; \
    virtual HRESULT STDMETHODCALLTYPE IsItemVisible(QWidget *widget, VARIANT path, VARIANT_BOOL *visible, int *failedAt) = 0; \
    virtual HRESULT STDMETHODCALLTYPE SetItemExpanded(QWidget *widget, VARIANT path, VARIANT_BOOL expand, int *failedAt) = 0; \
    virtual HRESULT STDMETHODCALLTYPE GetItemRect(QWidget *widget, VARIANT path, int column, int *x, int *y, int *width, \
                                                  int *height, int *failedAt) = 0; \
    virtual HRESULT STDMETHODCALLTYPE ScrollItemIntoView(QWidget *widget, VARIANT path, int column, int *failedAt) = 0; \
    virtual HRESULT STDMETHODCALLTYPE ShowItem(QWidget *widget, VARIANT path, int column, int *failedAt) = 0;

// QTreeView; IvrQtTreeWidgetHelper has the same operations for QTreeWidget.
// A path is a VARIANT holding a one-dimensional SAFEARRAY of VARIANTs, top
// level first, each a VT_I4 child index or a VT_BSTR text of column 0. It
// crosses by value; the helper neither clears nor keeps it. failedAt is -1,
// or the position of the first element that did not resolve (E_FAIL).
struct IvrQtTreeViewHelper : IUnknown {
    VRQT_TREE_VIEW_OPERATIONS
};

struct IvrQtTreeWidgetHelper : IUnknown {
    VRQT_TREE_VIEW_OPERATIONS
};

// QMenu, and a QMenuBar through the bar's helper. Items are positions in
// QWidget::actions(), separators included.
struct IvrQtMenuHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetItemText(QWidget *widget, int index, BSTR *text) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetItemCount(QWidget *widget, int *count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSubMenu(QWidget *widget, int index, QMenu **menu) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetItemPath(QWidget *widget, int index, BSTR *path) = 0;
    virtual HRESULT STDMETHODCALLTYPE ItemIndexAt(QWidget *widget, int x, int y, int *index) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMenuOwner(QWidget *widget, QWidget **owner, VARIANT_BOOL *isContext) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsSubMenuVisible(QWidget *widget, int index, VARIANT_BOOL *visible) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsItemEnabled(QWidget *widget, int index, VARIANT_BOOL *enabled) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsItemChecked(QWidget *widget, int index, VARIANT_BOOL *checked) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsItemCheckable(QWidget *widget, int index, VARIANT_BOOL *checkable) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsItemSeparator(QWidget *widget, int index, VARIANT_BOOL *separator) = 0;
    virtual HRESULT STDMETHODCALLTYPE ItemHasIcon(QWidget *widget, int index, VARIANT_BOOL *hasIcon) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetItemRect(QWidget *widget, VARIANT_BOOL global, int index, int *x, int *y, int *width,
                                                  int *height) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetItemObject(QWidget *widget, int index, QAction **action) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetWindowHandle(QWidget *widget, int *windowHandle) = 0;
};

struct IvrQtMenuBarHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE FindMenuByTitle(QWidget *widget, BSTR title, QMenu **menu) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsItemOnBar(QWidget *widget, int index, VARIANT_BOOL *onBar) = 0;
};

struct IvrQtComboBoxHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetCurrentIndex(QWidget *widget, int *index) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetItemText(QWidget *widget, int index, BSTR *text) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetItemRect(QWidget *widget, int index, int *x, int *y, int *width, int *height) = 0;
    virtual HRESULT STDMETHODCALLTYPE ScrollToItem(QWidget *widget, int index) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetPopupVisible(QWidget *widget, VARIANT_BOOL show) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsPopupVisible(QWidget *widget, VARIANT_BOOL *visible) = 0;
};

struct IvrQtTabWidgetHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetTabCount(QWidget *widget, int *count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCurrentIndex(QWidget *widget, int *index) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTabText(QWidget *widget, int index, BSTR *text) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTabRect(QWidget *widget, int index, int *x, int *y, int *width, int *height) = 0;
    virtual HRESULT STDMETHODCALLTYPE BringTabIntoView(QWidget *widget, int index, VARIANT_BOOL *changed) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsTabEnabled(QWidget *widget, int index, VARIANT_BOOL *enabled) = 0;
};

struct IvrQtToolButtonHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetText(QWidget *widget, BSTR *text) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsEnabled(QWidget *widget, VARIANT_BOOL *enabled) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsChecked(QWidget *widget, VARIANT_BOOL *checked) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsCheckable(QWidget *widget, VARIANT_BOOL *checkable) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsVisible(QWidget *widget, VARIANT_BOOL *visible) = 0;
    virtual HRESULT STDMETHODCALLTYPE HasMenu(QWidget *widget, VARIANT_BOOL *hasMenu) = 0;
};

// vertical 0 chooses the horizontal bar, any other value the vertical one.
struct IvrQtScrollAreaHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetScrollPos(QWidget *widget, VARIANT_BOOL vertical, int *position) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetScrollPos(QWidget *widget, VARIANT_BOOL vertical, int position) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetScrollMax(QWidget *widget, VARIANT_BOOL vertical, int *maximum) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetScrollMin(QWidget *widget, VARIANT_BOOL vertical, int *minimum) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsScrollBarVisible(QWidget *widget, VARIANT_BOOL vertical, VARIANT_BOOL *visible) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetScrollBar(QWidget *widget, VARIANT_BOOL vertical, QScrollBar **bar) = 0;
};

struct IvrQtBaseSpinBoxHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE StepBy(QWidget *widget, int steps) = 0;
};

struct IvrQtSpinBoxHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetValue(QWidget *widget, int value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetValue(QWidget *widget, int *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMaximum(QWidget *widget, int *maximum) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMinimum(QWidget *widget, int *minimum) = 0;
};

struct IvrQtDoubleSpinBoxHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetValue(QWidget *widget, double value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetValue(QWidget *widget, double *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMaximum(QWidget *widget, double *maximum) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMinimum(QWidget *widget, double *minimum) = 0;
};

// Dates and times cross as automation dates (variant time).
struct IvrQtDateTimeEditHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetDateTime(QWidget *widget, double dateTime) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDateTime(QWidget *widget, double *dateTime) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMaximumDateTime(QWidget *widget, double *dateTime) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMinimumDateTime(QWidget *widget, double *dateTime) = 0;
};

struct IvrQtLineEditHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetText(QWidget *widget, BSTR *text) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetText(QWidget *widget, BSTR text) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMaxLength(QWidget *widget, int *length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPasswordChar(QWidget *widget, BSTR *character) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSelectedText(QWidget *widget, BSTR *text) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSelectionStart(QWidget *widget, int *start) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSelectionEnd(QWidget *widget, int *end) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsReadOnly(QWidget *widget, VARIANT_BOOL *readOnly) = 0;
};

struct IvrQtTextEditHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetText(QWidget *widget, BSTR *text) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetText(QWidget *widget, BSTR text) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSelectedText(QWidget *widget, BSTR *text) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSelectionStart(QWidget *widget, int *start) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSelectionEnd(QWidget *widget, int *end) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsReadOnly(QWidget *widget, VARIANT_BOOL *readOnly) = 0;
};

// The host's check states: 0 unchecked, 1 checked, 2 partly checked.
struct IvrQtCheckBoxHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetCheckState(QWidget *widget, int state) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCheckState(QWidget *widget, int *state) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsTristate(QWidget *widget, VARIANT_BOOL *tristate) = 0;
};

struct IvrQtRadioButtonHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE IsChecked(QWidget *widget, VARIANT_BOOL *checked) = 0;
};

struct IvrQtCalendarWidgetHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetSelectedDate(QWidget *widget, double date) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSelectedDate(QWidget *widget, double *date) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMinimumDate(QWidget *widget, double *date) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMaximumDate(QWidget *widget, double *date) = 0;
};
