#include "model/near_months.h"

namespace qvant {

namespace {

constexpr int MOST_NEAR_MONTHS = 2;

}  // namespace

void CNearMonths::Add(const ContractSymbol& symbol, TextMap& mapSymbolToNear) {
    if (symbol.strClass == u"S") return;
    int& nGiven = FindCount(symbol.strProductKey);
    if (nGiven == MOST_NEAR_MONTHS) return;
    if (Contains(symbol.strSymbol, u".000000") || mapSymbolToNear.contains(symbol.strMonthKey)) return;
    const TextView strWord = nGiven == 0 ? u".Front1" : u".Front2";
    mapSymbolToNear.insert_or_assign(symbol.strMonthKey, Concatenate({symbol.strProductKey, strWord}));
    ++nGiven;
}

void CNearMonths::Clear() {
    m_pLast = nullptr;
    m_mapFrontList.clear();
}

int& CNearMonths::FindCount(TextView strProductKey) {
    if (!m_pLast || m_pLast->first != strProductKey) {
        auto found = m_mapFrontList.find(strProductKey);
        if (found == m_mapFrontList.end()) found = m_mapFrontList.emplace(strProductKey, 0).first;
        m_pLast = &*found;
    }
    return m_pLast->second;
}

}  // namespace qvant
