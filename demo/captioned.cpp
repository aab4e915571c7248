#include "captioned.h"

#include <QGridLayout>
#include <QLabel>

void addCaptioned(QGridLayout *layout, const QString &caption, QWidget *widget, int row, int column, int columnSpan)
{
    auto *label = new QLabel(caption);
    label->setBuddy(widget);
    layout->addWidget(label, row, column, 1, columnSpan);
    layout->addWidget(widget, row + 1, column, 1, columnSpan);
}
