// Placing a widget under a caption that is its buddy, the arrangement the
// gallery's pages use for every view.
#pragma once

class QGridLayout;
class QString;
class QWidget;

// The caption goes in row, the widget in row + 1, both over columnSpan
// columns from column.
void addCaptioned(QGridLayout *layout, const QString &caption, QWidget *widget, int row, int column, int columnSpan = 1);
