/// The whole of a table at one moment, for showing it.
#pragma once

#include <utility>
#include <vector>

#include "store_table.h"

namespace qvant::host {

struct NamedTable;

struct TableContent {
    std::vector<std::pair<Text, Value>> arValues;
    std::vector<Value> arRows;
    std::vector<NamedTable> arTables;
};

struct NamedTable {
    Text strName;
    TableContent content;
};

/// Reads a table with all that is below it. Each table is read at one version of it.
/// @throws CFailure when the tables nest deeper than a sane store does: such as one that holds itself
TableContent ReadTable(const CStoreTable& table);

}  // namespace qvant::host
