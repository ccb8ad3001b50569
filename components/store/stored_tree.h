/// Tables made from what a file holds.
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "database.h"
#include "entry.h"

namespace qvant::store {

class CTable;

/// Makes all sub-tables of the stored root and binds them to the file; what no table refers to is given up.
/// @param root  out: the writes that give the root what it was
/// @return false when the links don't form a tree: the file is damaged then
bool BuildStoredTree(StoredTables& tables, const std::shared_ptr<CDatabase>& pDatabase, CTransactionLog& root);

}  // namespace qvant::store
