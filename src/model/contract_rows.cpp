#include "model/contract_rows.h"

namespace qvant {

void CContractRows::StartLeaf(TextView strStart, TextView strEnd) {
    // A leaf that left no row makes room for this one.
    if (m_arLeaves.empty() || m_arLeaves.back().nRowsEnd != 0) m_arLeaves.emplace_back();
    m_arLeaves.back().strStart = strStart;
    m_arLeaves.back().strEnd = strEnd;
}

void CContractRows::Add(TextView strSymbol, bool bPermitted) {
    m_arRows.push_back({strSymbol.data(), static_cast<std::uint32_t>(strSymbol.size()), bPermitted});
    m_arLeaves.back().nRowsEnd = size();
}

void CContractRows::clear() {
    m_arRows.clear();
    m_arLeaves.clear();
}

/// @param nLeaf  of the row before
std::size_t CContractRows::FindLeaf(std::size_t nLeaf, std::size_t nRow) const {
    return nLeaf < m_arLeaves.size() && nRow >= m_arLeaves[nLeaf].nRowsEnd ? nLeaf + 1 : nLeaf;
}

Text CContractRows::Make(std::size_t nLeaf, std::size_t nRow) const {
    const Row& row = m_arRows[nRow];
    const TextView strSymbol(row.pSymbol, row.nLength);
    const Leaf& leaf = m_arLeaves[nLeaf];
    return Concatenate({leaf.strStart, strSymbol, u"#@", strSymbol, leaf.strEnd, row.bPermitted ? u"1" : u"0"});
}

}  // namespace qvant
