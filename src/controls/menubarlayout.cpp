#include "controls/menubarlayout.h"

#include <QAction>
#include <QFontMetrics>
#include <QMenuBar>
#include <QStyle>
#include <QStyleOptionMenuItem>
#include <QToolButton>
#include <QVector>

#include <algorithm>

#include "controls/basecontrolhelper.h"
#include "controls/menusearch.h"

// Where this layout departs from the steps it follows, it is deliberate:
// the bar itself measures text with its mnemonics by the font metrics, an
// entry with an icon as its icon alone, keeps its panel width and corner
// widgets, mirrors a right-to-left layout, makes room for the button when
// an entry does not fit (whatever its size hint says), and moves only
// entries it lays out. Each departure changes rectangles or the entries
// moved, as Qt 5.15 and 6.4 lay bars out.

namespace {

// The size the bar gives action before placing it; (-1, -1) or smaller when
// the bar shows nothing for it. The bar's thread.
QSize MeasureAction(const QMenuBar *bar, QAction *action, const QFontMetrics &metrics, int iconExtent)
{
    QSize size(-1, -1);
    // The bar shows an entry with an icon as its icon alone.
    if (!action->icon().isNull())
        size = size.expandedTo(QSize(iconExtent, iconExtent));
    else if (!action->text().isEmpty())
        size = metrics.size(Qt::TextShowMnemonic, action->text());

    QStyleOptionMenuItem option;
    option.palette = bar->palette();
    option.state = QStyle::State_None;
    if (bar->isEnabled() && action->isEnabled())
        option.state |= QStyle::State_Enabled;
    else
        option.palette.setCurrentColorGroup(QPalette::Disabled);
    option.fontMetrics = metrics;
    option.menuRect = bar->rect();
    option.menuItemType = QStyleOptionMenuItem::Normal;
    option.text = action->text();
    option.icon = action->icon();
    return bar->style()->sizeFromContents(QStyle::CT_MenuBarItem, &option, size, bar);
}

// The corner widget at corner when it is on show, else null.
const QWidget *VisibleCorner(const QMenuBar *bar, Qt::Corner corner)
{
    const QWidget *widget = bar->cornerWidget(corner);
    return widget && widget->isVisible() ? widget : nullptr;
}

// The rectangles of all of bar's entries, position for position in
// actions(); an empty rectangle for an entry that is not laid out. The
// bar's thread.
QVector<QRect> LayOutActions(const QMenuBar *bar)
{
    const QStyle *style = bar->style();
    const int itemSpacing = style->pixelMetric(QStyle::PM_MenuBarItemSpacing, nullptr, bar);
    const int hmargin = style->pixelMetric(QStyle::PM_MenuBarHMargin, nullptr, bar);
    const int vmargin = style->pixelMetric(QStyle::PM_MenuBarVMargin, nullptr, bar);
    const int iconExtent = style->pixelMetric(QStyle::PM_SmallIconSize, nullptr, bar);
    const int panelWidth = style->pixelMetric(QStyle::PM_MenuBarPanelWidth, nullptr, bar);
    const QFontMetrics metrics = bar->fontMetrics();

    // Corner widgets take their width off the line and the left one moves
    // its start; both matter only after a separator the style draws.
    int start = -1;
    int maxWidth = bar->width() - 2 * panelWidth;
    if (const QWidget *left = VisibleCorner(bar, Qt::TopLeftCorner)) {
        start = left->sizeHint().width();
        maxWidth -= start;
    }
    if (const QWidget *right = VisibleCorner(bar, Qt::TopRightCorner))
        maxWidth -= right->sizeHint().width();

    // Measure: each entry's size, and how much lies before and after the
    // separator the style draws, if any.
    const QList<QAction *> actions = bar->actions();
    QVector<QRect> rects(int(actions.size()));
    QVector<int> laidOut;
    int separator = -1, maxHeight = 0, separatorStart = 0, separatorLength = 0;
    for (int i = 0; i < rects.size(); ++i) {
        QAction *action = actions.at(i);
        if (!action->isVisible())
            continue;
        if (action->isSeparator()) {
            if (style->styleHint(QStyle::SH_DrawMenuBarSeparator, nullptr, bar, nullptr))
                separator = laidOut.size();
            continue;
        }
        const QSize size = MeasureAction(bar, action, metrics, iconExtent);
        if (size.width() < 1 || size.height() < 1)
            continue;
        (separator == -1 ? separatorStart : separatorLength) += size.width() + itemSpacing;
        maxHeight = qMax(maxHeight, size.height());
        rects[i] = QRect(QPoint(0, 0), size);
        laidOut.append(i);
    }

    // Place: left to right, the entries after a drawn separator at the far
    // end, wrapping to a new line when they would overlap the first ones.
    int x = panelWidth + (start == -1 ? hmargin : start) + itemSpacing;
    int y = panelWidth + vmargin;
    for (int position = 0; position < laidOut.size(); ++position) {
        QRect &rect = rects[laidOut.at(position)];
        rect.setHeight(maxHeight);
        if (separator == -1 || position < separator) {
            rect.moveLeft(x);
        } else {
            const int left = (maxWidth - separatorLength - hmargin - itemSpacing) + (x - separatorStart - hmargin);
            if (left < separatorStart) {
                separatorStart = x = hmargin;
                y += maxHeight;
            }
            rect.moveLeft(left);
        }
        rect.moveTop(y);
        x += rect.width() + itemSpacing;
        rect = QStyle::visualRect(bar->layoutDirection(), bar->rect(), rect);
    }
    return rects;
}

// Whether every laid-out rectangle lies inside area.
bool AllInside(const QRect &area, const QVector<QRect> &rects)
{
    return std::all_of(rects.begin(), rects.end(),
                       [&](const QRect &rect) { return !rect.isValid() || area.contains(rect, false); });
}

// The part of the bar where entries stay on the bar while button is on
// show, rects being the entries as laid out. The bar's thread.
QRect BarArea(const QMenuBar *bar, const QToolButton *button, const QVector<QRect> &rects)
{
    // The panel's width stays free on both sides, corner widgets keep their
    // places, and the button takes its width on the side the bar's own
    // direction puts it.
    const bool rightToLeft = bar->isRightToLeft();
    const int panelWidth = bar->style()->pixelMetric(QStyle::PM_MenuBarPanelWidth, nullptr, bar);
    QRect area = bar->rect().adjusted(panelWidth, 0, -panelWidth, 0);
    if (const QWidget *left = VisibleCorner(bar, Qt::TopLeftCorner)) {
        if (rightToLeft)
            area.setRight(area.right() - left->sizeHint().width());
        else
            area.setLeft(area.left() + left->sizeHint().width());
    }
    if (const QWidget *right = VisibleCorner(bar, Qt::TopRightCorner)) {
        if (rightToLeft)
            area.setLeft(area.left() + right->sizeHint().width());
        else
            area.setRight(area.right() - right->sizeHint().width());
    }
    // The bar makes room for the button when an entry does not fit without
    // it; its size hint cannot tell, as a right-to-left bar measures the
    // hint from its mirrored rectangles.
    if (!button->testAttribute(Qt::WA_WState_Hidden) && !AllInside(area, rects)) {
        if (rightToLeft)
            area.setLeft(area.left() + button->width());
        else
            area.setRight(area.right() - button->width());
    }
    return area;
}

} // namespace

// The bar's thread (ExecuteForWidget).
bool CalcActionRect(QMenuBar *bar, const QAction *target, QRect *rect)
{
    return RunForWidget(bar, [&] {
        const QVector<QRect> rects = LayOutActions(bar);
        const int position = int(bar->actions().indexOf(const_cast<QAction *>(target)));
        *rect = position >= 0 && position < rects.size() ? rects.at(position) : QRect();
    });
}

// The bar's thread for the layout (ExecuteForWidget).
bool LocateAction(QMenuBar *bar, int index, QToolButton **button, int *overflowIndex)
{
    *overflowIndex = -1;
    *button = FindExtensionButton(bar);
    if (!*button || !(*button)->testAttribute(Qt::WA_WState_Visible))
        return true;
    const QToolButton *extension = *button;
    bool onBar = true;
    RunForWidget(bar, [&] {
        const QVector<QRect> rects = LayOutActions(bar);
        const QRect area = BarArea(bar, extension, rects);
        int movedBefore = 0;
        for (int i = 0; i < rects.size() && i <= index; ++i) {
            // The bar moves only entries it lays out: a separator or an
            // invisible entry has no rectangle and stays.
            const bool moved = rects.at(i).isValid() && !area.contains(rects.at(i), false);
            if (i == index && moved) {
                onBar = false;
                *overflowIndex = movedBefore;
            }
            movedBefore += moved ? 1 : 0;
        }
    });
    return onBar;
}
