#include "scrollpage.h"

#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace {

const int gridSize = 5;

struct Landmark
{
    int row;
    int column;
    const char *text;
    const char *objectName;
};

// The rest of the grid holds plain labels.
const Landmark landmarks[] = {
    { 0, 0, QT_TRANSLATE_NOOP("ScrollPage", "Top Left"), "topLeftButton" },
    { 0, gridSize - 1, QT_TRANSLATE_NOOP("ScrollPage", "Top Right"), "topRightButton" },
    { gridSize / 2, gridSize / 2, QT_TRANSLATE_NOOP("ScrollPage", "Centre"), "centreButton" },
    { gridSize - 1, 0, QT_TRANSLATE_NOOP("ScrollPage", "Bottom Left"), "bottomLeftButton" },
    { gridSize - 1, gridSize - 1, QT_TRANSLATE_NOOP("ScrollPage", "Bottom Right"), "bottomRightButton" },
};

const Landmark *landmarkAt(int row, int column)
{
    for (const Landmark &landmark : landmarks) {
        if (landmark.row == row && landmark.column == column)
            return &landmark;
    }
    return nullptr;
}

} // namespace

ScrollPage::ScrollPage(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("scrollPage"));
    auto *layout = new QVBoxLayout(this);

    auto *content = new QWidget;
    content->setObjectName(QStringLiteral("scrollContent"));
    // Well beyond any window the gallery opens in, so both bars show.
    content->setMinimumSize(1600, 1200);
    auto *grid = new QGridLayout(content);
    for (int row = 0; row < gridSize; ++row) {
        for (int column = 0; column < gridSize; ++column) {
            const Landmark *landmark = landmarkAt(row, column);
            if (!landmark) {
                auto *label = new QLabel(tr("Row %1, column %2").arg(row + 1).arg(column + 1));
                label->setAlignment(Qt::AlignCenter);
                grid->addWidget(label, row, column);
                continue;
            }
            auto *button = new QPushButton(tr(landmark->text));
            button->setObjectName(QLatin1String(landmark->objectName));
            grid->addWidget(button, row, column, Qt::AlignCenter);
            connect(button, &QPushButton::clicked, this, [this, button] {
                emit activity(tr("Scroll area: %1 clicked").arg(button->text()));
            });
        }
    }

    auto *area = new QScrollArea;
    area->setObjectName(QStringLiteral("scrollArea"));
    area->setWidget(content);
    area->setWidgetResizable(true);
    layout->addWidget(area);
}
