/// The tree of names that the pickers show, as the service hands it to other modules in a block of shared memory.
#pragma once

#include <string>
#include <unordered_map>

#include "listing.h"
#include "tables.h"

namespace qvant::host {

/// Names by their path, in English and parted by ".". A copy: the block may be replaced at any time.
class CNameTree {
public:
    /// Reads the block that the table "Contract.List.Name" names.
    /// @throws CFailure when none is named, it isn't there, or it is shorter than told or damaged
    explicit CNameTree(const CTables& tables);

    /// What stands below a path: groups with their English and local names, or contracts with their names. Of no path
    /// at all, the classifications.
    /// @throws CFailure for an unknown path
    Listing List(TextView strPath) const;

private:
    Listing ListRoots() const;
    Listing ListGroups(TextView strPath, TextView strItems) const;
    bool IsEmptyGroup(TextView strPath) const;
    std::size_t CountBelow(const Text& strPath) const;

    std::unordered_map<Text, Text> m_mapNames;  ///< path -> ENGLISH,LOCAL|ENGLISH,LOCAL or SYMBOL,NAME|SYMBOL,NAME
};

}  // namespace qvant::host
