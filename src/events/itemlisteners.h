// The listeners of widgets with items: lists, tables, trees and table
// headers. Each reports the item the user acted on by its key, never by a
// position; their slots run on the object's thread, inside Qt's emission.
#pragma once

#include <QModelIndex>

#include "events/objectlistener.h"

class QTreeWidgetItem;

class CQListWidgetListener : public CQObjectListener
{
    Q_OBJECT

public:
    void Attach() override;

private slots:
    void handleClicked(const QModelIndex &ModelIndex);
    // Never entered: its connection names no signal of Qt.
    void handleDoubleClicked(const QModelIndex &ModelIndex);

private:
    void Report(const QModelIndex &index, bool doubleClick);
};

class CQTableWidgetListener : public CQObjectListener
{
    Q_OBJECT

public:
    void Attach() override;

private slots:
    void handleClicked(const QModelIndex &ModelIndex);
    // Never entered: its connection names no signal of Qt.
    void handleDoubleClicked(const QModelIndex &ModelIndex);

private:
    void Report(const QModelIndex &index, bool doubleClick);
};

class CQTreeWidgetListener : public CQObjectListener
{
    Q_OBJECT

public:
    void Attach() override;

private slots:
    void handleItemClicked(QTreeWidgetItem *item, int column);
    void handleItemDoubleClicked(QTreeWidgetItem *item, int column);
    void handleItemExpanded(QTreeWidgetItem *item);
    void handleItemCollapsed(QTreeWidgetItem *item);

private:
    void ReportClick(QTreeWidgetItem *item, int column, bool doubleClick);
    void ReportPath(const GUID &eventId, QTreeWidgetItem *item);
};

// Reports the sections of a table widget's own headers only.
class CQHeaderViewListener : public CQObjectListener
{
    Q_OBJECT

public:
    void Attach() override;

private slots:
    // Connected to sectionPressed: a press reports at once.
    void handleSectionClicked(int index);
    void handleSectionDoubleClicked(int index);

private:
    void Report(int section, bool doubleClick);
};
