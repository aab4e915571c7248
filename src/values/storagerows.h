// Which storage rows a type name selects, found once when the name is
// described, so that moving a value does not search the tables again.
#pragma once

struct StorageRow;

struct StorageRows {
    const StorageRow *fromValue = nullptr; // the row that makes storage from a QVariant
    const StorageRow *empty = nullptr;     // the row that makes empty storage (name without asterisks)
    const StorageRow *owner = nullptr;     // the class row that frees the storage; null: a scalar cell
};
