#include "symbols/accepted_contracts.h"

#include "symbols/symbol_fields.h"

namespace qvant {

const Text* CAcceptedContracts::Add(TextView strSymbol) {
    if (Contains(strSymbol)) return nullptr;
    const Text& strOwn = m_listContracts.emplace_back(strSymbol);
    m_mapKnown.insert(strOwn);
    ++m_mapProducts[ToLower(SplitSymbol(strOwn).strProduct)];
    return &strOwn;
}

void CAcceptedContracts::Clear() {
    m_mapKnown.clear();
    m_mapProducts.clear();
    m_listContracts.clear();
}

std::size_t CAcceptedContracts::GetCount(TextView strProduct) const {
    const auto found = m_mapProducts.find(ToLower(strProduct));
    return found == m_mapProducts.end() ? 0 : found->second;
}

}  // namespace qvant
