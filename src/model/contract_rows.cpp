#include "model/contract_rows.h"

namespace qvant {

void CContractRows::StartLeaf(TextView strStart, TextView strEnd) {
    // A leaf that left no row makes room for this one.
    if (m_arLeaves.empty() || m_arLeaves.back().nRowsEnd != 0) m_arLeaves.emplace_back();
    m_arLeaves.back().strStart = strStart;
    m_arLeaves.back().strEnd = strEnd;
}

void CContractRows::Add(TextView strSymbol, bool bPermitted) {
    m_strSymbols.append(strSymbol).push_back(bPermitted ? u'1' : u'0');
    m_arEnds.push_back(m_strSymbols.size());
    m_arLeaves.back().nRowsEnd = size();
}

void CContractRows::clear() {
    m_strSymbols.clear();
    m_arEnds.clear();
    m_arLeaves.clear();
}

/// @param nLeaf  of the row before
std::size_t CContractRows::FindLeaf(std::size_t nLeaf, std::size_t nRow) const {
    return nLeaf < m_arLeaves.size() && nRow >= m_arLeaves[nLeaf].nRowsEnd ? nLeaf + 1 : nLeaf;
}

Text CContractRows::Make(std::size_t nLeaf, std::size_t nRow) const {
    const std::size_t nStart = nRow == 0 ? 0 : m_arEnds[nRow - 1];
    const TextView strPart = TextView(m_strSymbols).substr(nStart, m_arEnds[nRow] - nStart);
    const TextView strSymbol = strPart.substr(0, strPart.size() - 1);
    const Leaf& leaf = m_arLeaves[nLeaf];
    return Concatenate({leaf.strStart, strSymbol, u"#@", strSymbol, leaf.strEnd, strPart.substr(strSymbol.size())});
}

}  // namespace qvant
