#include "modelspage.h"

#include <QColor>
#include <QGridLayout>
#include <QHeaderView>
#include <QListView>
#include <QStandardItemModel>
#include <QTableView>
#include <QTreeView>

#include "captioned.h"

namespace {

struct Colour
{
    const char *name;
    QRgb value;
};

// "Green" twice: a palette may hold one name in two shades.
const Colour colours[] = {
    { "Red", 0xd04040 },   { "Green", 0x40a040 }, { "Blue", 0x4060d0 },
    { "Green", 0x208020 }, { "Black", 0x000000 }, { "White", 0xffffff },
};

struct City
{
    const char *name;
    const char *country;
    int population;
};

const City cities[] = {
    { "Lisbon", "Portugal", 545000 },  { "Porto", "Portugal", 232000 }, { "Oslo", "Norway", 709000 },
    { "Bergen", "Norway", 286000 },    { "Vienna", "Austria", 1931000 }, { "Graz", "Austria", 292000 },
    { "Valencia", "Spain", 792000 },   { "Valencia", "Venezuela", 1484000 },
};

// A file system; depth 0 is a root. Columns: name, size in bytes (0 for a
// folder).
struct FileRow
{
    int depth;
    const char *name;
    qlonglong size;
};

const FileRow documents[] = {
    { 0, "Documents", 0 },        { 1, "Letters", 0 },        { 2, "bank.odt", 18432 },
    { 2, "landlord.odt", 20480 }, { 1, "Taxes", 0 },          { 2, "2023.pdf", 245760 },
    { 2, "2024.pdf", 251904 },    { 0, "Pictures", 0 },       { 1, "Holiday", 0 },
    { 2, "beach.jpg", 3145728 },  { 2, "beach.jpg", 3080192 }, { 1, "scan.png", 524288 },
    { 0, "Music", 0 },
};

} // namespace

ModelsPage::ModelsPage(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("modelsPage"));
    auto *layout = new QGridLayout(this);

    auto *list = new QListView;
    list->setObjectName(QStringLiteral("modelList"));
    list->setModel(createListModel());
    addCaptioned(layout, tr("Colours:"), list, 0, 0);

    auto *tree = new QTreeView;
    tree->setObjectName(QStringLiteral("modelTree"));
    tree->setModel(createTreeModel());
    tree->expandToDepth(0);
    tree->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    tree->header()->setStretchLastSection(false);
    addCaptioned(layout, tr("Files:"), tree, 0, 1);

    auto *table = new QTableView;
    table->setObjectName(QStringLiteral("modelTable"));
    table->setModel(createTableModel());
    table->horizontalHeader()->setStretchLastSection(true);
    addCaptioned(layout, tr("Cities:"), table, 2, 0, 2);
    layout->setColumnStretch(1, 1);
}

QStandardItemModel *ModelsPage::createListModel()
{
    auto *model = new QStandardItemModel(this);
    model->setObjectName(QStringLiteral("colourModel"));
    for (const Colour &colour : colours) {
        auto *item = new QStandardItem(QString::fromUtf8(colour.name));
        item->setData(QColor(colour.value), Qt::DecorationRole);
        item->setEditable(false);
        model->appendRow(item);
    }
    return model;
}

QStandardItemModel *ModelsPage::createTableModel()
{
    auto *model = new QStandardItemModel(0, 3, this);
    model->setObjectName(QStringLiteral("cityModel"));
    model->setHorizontalHeaderLabels({ tr("City"), tr("Country"), tr("Population") });
    for (const City &city : cities) {
        auto *population = new QStandardItem;
        population->setData(city.population, Qt::DisplayRole);
        population->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        model->appendRow({ new QStandardItem(QString::fromUtf8(city.name)),
                           new QStandardItem(QString::fromUtf8(city.country)), population });
    }
    return model;
}

QStandardItemModel *ModelsPage::createTreeModel()
{
    auto *model = new QStandardItemModel(0, 2, this);
    model->setObjectName(QStringLiteral("fileModel"));
    model->setHorizontalHeaderLabels({ tr("Name"), tr("Size") });

    QStandardItem *parents[3] = {};
    for (const FileRow &row : documents) {
        auto *name = new QStandardItem(QString::fromUtf8(row.name));
        auto *size = new QStandardItem;
        if (row.size > 0)
            size->setData(row.size, Qt::DisplayRole);
        QStandardItem *parent = row.depth == 0 ? model->invisibleRootItem() : parents[row.depth - 1];
        parent->appendRow({ name, size });
        parents[row.depth] = name;
    }
    return model;
}
