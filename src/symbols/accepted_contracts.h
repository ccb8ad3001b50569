/// Contracts that were let in under a quota, in the order in which they came.
#pragma once

#include <cstddef>
#include <list>
#include <unordered_map>
#include <unordered_set>

#include "base/text.h"

namespace qvant {

/// Each stands once. How many a product has, and whether a contract is there, costs the same for any number of them.
/// Belongs to one thread.
class CAcceptedContracts {
public:
    CAcceptedContracts() = default;
    CAcceptedContracts(const CAcceptedContracts&) = delete;
    CAcceptedContracts& operator=(const CAcceptedContracts&) = delete;

    /// @return the contract where it stands until `Clear`; null when it was there already
    const Text* Add(TextView strSymbol);
    void Clear();

    bool Contains(TextView strSymbol) const { return m_mapKnown.contains(strSymbol); }
    /// The number of contracts whose fourth token is the product, without regard to case.
    std::size_t GetCount(TextView strProduct) const;
    const std::list<Text>& GetAll() const { return m_listContracts; }

private:
    std::list<Text> m_listContracts;
    std::unordered_set<TextView, TextHash> m_mapKnown;                               ///< borrowed from the list
    std::unordered_map<Text, std::size_t, TextHash, std::equal_to<>> m_mapProducts;  ///< by the product in lower case
};

}  // namespace qvant
