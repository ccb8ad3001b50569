#include "model/cffex_contracts.h"

namespace qvant {

namespace {

/// The month of the options on a future: those on an index go by a product of their own.
Text ToOptionRoot(const Text& strFuture) {
    Text strRoot = strFuture;
    if (ReplaceAll(strRoot, u"QV.F.CFFEX.IF", u"QV.O.CFFEX.IO") == 0 &&
        ReplaceAll(strRoot, u"QV.F.CFFEX.IH", u"QV.O.CFFEX.HO") == 0) {
        ReplaceAll(strRoot, u"QV.F.CFFEX", u"QV.O.CFFEX");
    }
    return strRoot;
}

}  // namespace

void CCffexContracts::Clear() {
    BeginFile();
    m_listCffexFuture.Clear();
    m_listCffexOption.clear();
}

void CCffexContracts::BeginFile() {
    m_arNearbyFutures.clear();
    m_arNearbyOptions.clear();
}

void CCffexContracts::Add(const ContractSymbol& symbol) {
    // The futures' exchange may stand in any case, the options' may not.
    if (symbol.strClass == u"F" && EqualsNoCase(symbol.strExchange, u"CFFEX")) {
        if (!CheckContractQuota(symbol.strSymbol, symbol.strProduct, m_listCffexFuture)) return;
        if (const Text* pNew = m_listCffexFuture.Add(symbol.strSymbol)) m_arNearbyFutures.push_back(pNew);
    } else if (symbol.strClass == u"O" && symbol.strExchange == u"CFFEX") {
        const auto [strOwn, bNew] = m_listCffexOption.emplace(symbol.strSymbol);
        if (bNew) m_arNearbyOptions.push_back(&*strOwn);
    }
}

void CCffexContracts::WriteNearbyMonth(CTransaction& nearbyMonth) const {
    for (const Text* pSymbol : m_arNearbyFutures) nearbyMonth.SetValue(*pSymbol, *pSymbol);
    if (m_arNearbyOptions.empty()) return;
    const TextSet mapRoots = MakeOptionRoots();
    for (const Text* pSymbol : m_arNearbyOptions) {
        if (mapRoots.contains(ContractSymbol(*pSymbol).strMonthKey)) nearbyMonth.SetValue(*pSymbol, *pSymbol);
    }
}

TextSet CCffexContracts::MakeOptionRoots() const {
    TextSet mapRoots;
    for (const Text& strFuture : m_listCffexFuture.GetAll()) mapRoots.insert(ToOptionRoot(strFuture));
    return mapRoots;
}

}  // namespace qvant
