#include "model/contract_recorder.h"

#include <algorithm>

namespace qvant {

namespace {

/// What stands at a place, or nothing past the end.
TextView At(const CTextArray& arTexts, std::size_t nIndex) {
    return nIndex < arTexts.size() ? arTexts[nIndex] : TextView{};
}

/// A month without its century.
TextView CutCentury(TextView strMonth) { return strMonth.substr(std::min<std::size_t>(2, strMonth.size())); }

bool AddsNew(const std::vector<Text>& listChanged, TextView strClassification) {
    return listChanged.empty() ||
           std::find(listChanged.begin(), listChanged.end(), strClassification) != listChanged.end();
}

}  // namespace

CContractRecorder::CContractRecorder(const ContractBuilderParts& parts, const ContractResults& results,
                                     TextView strClassification)
    : m_parts(parts),
      m_maps(results.maps),
      m_nearMonths(results.nearMonths),
      m_cffex(results.cffex),
      m_pHotMonth(results.pHotMonth),
      m_names{parts.lists.m_mapSecurityName, parts.lists.m_mapOptionSetPriAdj, parts.localExchanges.Get(), parts.words},
      m_bAddsNew(AddsNew(results.maps.m_listChangedClassification, strClassification)),
      m_strRowStart(Concatenate({strClassification, u"|"})) {}

void CContractRecorder::RecordLeaf(const stcContractListNode& leaf, TextView strPath, TextView strHotWord) {
    m_strLeafList.clear();
    m_strInstrumentList.clear();
    m_strHotWord = strHotWord;
    m_maps.m_arContractInsertData.StartLeaf(
        m_strRowStart, Concatenate({u"#@", strPath, u"#@", leaf.strParentLangPath, u".", leaf.strLocal, u"#@"}));
    for (std::size_t i = 0; i < leaf.arContracts.size(); ++i) Record(leaf, i);
}

void CContractRecorder::Record(const stcContractListNode& leaf, std::size_t nIndex) {
    const ContractSymbol symbol(leaf.arContracts[nIndex]);
    if (symbol.strSymbol.empty()) return;
    // Each map's place for the symbol is far from the others'; it comes while the name is made.
    for (const TextMap* pMap : {&m_maps.m_mapSymbolToName, &m_maps.m_mapExpireDate, &m_maps.m_mapLongMargin,
                                &m_maps.m_mapShortMargin, &m_maps.m_mapSymbolToInstrument}) {
        pMap->Prefetch(symbol.key);
    }
    m_strName = FormatSymbolName(symbol.strSymbol, {}, m_names);
    if (m_strName.empty()) return;
    m_cffex.Add(symbol);
    if (m_strHotWord.empty()) {
        m_nearMonths.Add(symbol, m_maps.m_mapSymbolToNear);
    } else {
        AddHot(symbol);
    }
    if (Enter(symbol)) EnterDetails(symbol, leaf, nIndex);
    const bool bPermitted = IsPermitted(symbol);
    if (bPermitted) AppendAll(m_strLeafList, {symbol.strSymbol, u",", m_strName, u"|"});
    m_maps.m_arContractInsertData.Add(symbol.strSymbol, bPermitted);
    AddInstrument(symbol, At(leaf.arInstrument, nIndex));
}

/// The first contract of a hot symbol is its contract; later ones of the same symbol change nothing.
void CContractRecorder::AddHot(const ContractSymbol& symbol) {
    Text strHot = Concatenate({symbol.strProductKey, u".", m_strHotWord});
    if (symbol.strClass == u"O") {
        // The class of the month's options goes with the first of them. Its pair has all five parts of the month.
        if (m_mapHotSeen.insert(strHot).second) AddHotPair(symbol.strMonthKey, strHot);
        strHot = Concatenate({symbol.strPrefix, u".", symbol.strClass, u".", symbol.strExchange, u".",
                              symbol.strProduct, u".", m_strHotWord, u".", symbol.strRest});
    }
    if (m_maps.m_mapSymbolToName.contains(strHot)) return;
    AddHotPair(symbol.strSymbol, strHot);
    m_maps.m_mapSymbolToName.insert_or_assign(strHot, FormatSymbolName(strHot, m_strHotWord, m_names));
    m_maps.m_mapSymbolToHot.insert_or_assign(symbol.key, strHot);
    m_maps.AddContract(strHot);
}

void CContractRecorder::AddHotPair(TextView strContract, TextView strHot) {
    if (!m_pHotMonth) return;
    m_pHotMonth->SetValue(strContract, strHot);
    m_pHotMonth->SetValue(strHot, strContract);
}

/// Enters the name of a contract at its first sight. @return whether it was that
bool CContractRecorder::Enter(const ContractSymbol& symbol) {
    TextMap& mapNames = m_maps.m_mapSymbolToName;
    if (!m_bAddsNew) return false;
    const std::size_t nBefore = mapNames.size();
    Text& strName = mapNames[symbol.key];
    if (mapNames.size() == nBefore) return false;
    strName = m_strName;
    m_maps.AddContract(symbol.strSymbol);
    return true;
}

void CContractRecorder::EnterDetails(const ContractSymbol& symbol, const stcContractListNode& leaf,
                                     std::size_t nIndex) {
    if (nIndex < leaf.arExpiration.size()) EnterExpiry(symbol, leaf.arExpiration[nIndex]);
    if (nIndex < leaf.arLongMargin.size()) {
        m_maps.m_mapLongMargin.insert_or_assign(symbol.key, leaf.arLongMargin[nIndex]);
    }
    if (nIndex < leaf.arShortMargin.size()) {
        m_maps.m_mapShortMargin.insert_or_assign(symbol.key, leaf.arShortMargin[nIndex]);
    }
    if (Contains(symbol.strSymbol, u"QV.O.")) AddSyntheticUnderlying(symbol, At(leaf.arExpiration, nIndex));
}

/// All dates of a file go in one transaction: readers of "ExpireDate" see whole files and are told of them once.
void CContractRecorder::EnterExpiry(const ContractSymbol& symbol, TextView strExpiry) {
    m_maps.m_mapExpireDate.insert_or_assign(symbol.key, strExpiry);
    if (!m_pExpireDate) {
        m_pExpireDate = m_parts.host.OpenTable(u"ExpireDate", nullptr);
        if (m_pExpireDate) m_expireDate.emplace(*m_pExpireDate);
    }
    if (m_expireDate) m_expireDate->SetValue(symbol.strSymbol, strExpiry);
}

void CContractRecorder::AddSyntheticUnderlying(const ContractSymbol& symbol, TextView strExpiry) {
    if (symbol.strMonth.empty()) return;
    // Hundreds of options stand side by side that have the same underlying.
    const auto nStart = static_cast<std::size_t>(symbol.strExchange.data() - symbol.strSymbol.data());
    const TextView strSeries = symbol.strMonthKey.substr(nStart);
    if (strSeries == m_strLastSeries) return;
    m_strLastSeries = strSeries;

    TextView strProduct = symbol.strProduct;
    m_strKey.clear();
    AppendAll(m_strKey, {u"QV.O.", symbol.strExchange, u".", strProduct});
    const auto& mapAdjusted = m_names.m_mapOptionSetPriAdj;
    const auto pAdjusted = mapAdjusted.find(m_strKey);
    if (pAdjusted != mapAdjusted.end() && !pAdjusted->second.empty()) strProduct.remove_suffix(1);

    Text strUnderlying = Concatenate({u"QV.F.U_", symbol.strExchange, u".", strProduct, u".", symbol.strMonth});
    const std::size_t nMonth = strUnderlying.find(symbol.strMonth);
    if (nMonth < 1 || m_maps.m_mapSynuSymbolToName.contains(strUnderlying)) return;
    const bool bChinese = symbol.strExchange == u"SSE" || symbol.strExchange == u"SZSE";
    const TextView strMonth = CutCentury(symbol.strMonth);
    const Text& strWord = m_parts.words.m_strSynU;
    // Elsewhere the name starts with as much of the option's name as stands before the month in the underlying's
    // symbol: its users know the underlyings by these very names.
    const Text strName = bChinese ? Concatenate({strProduct, u" ", strWord, u" ", strMonth})
                                  : Concatenate({TextView(m_strName).substr(0, nMonth), strWord, strMonth});
    m_maps.m_mapSynuSymbolToName.insert_or_assign(strUnderlying, strName);
    if (!strExpiry.empty()) m_maps.m_mapExpireDate.insert_or_assign(strUnderlying, strExpiry);
    m_maps.AddContract(strUnderlying);
}

/// By the contract's group, or by its product; without permissions everything is permitted.
bool CContractRecorder::IsPermitted(const ContractSymbol& symbol) {
    const TextSet& mapExchanges = m_parts.state.m_mapExchanges;
    if (mapExchanges.empty()) return true;
    m_strKey.clear();
    AppendAll(m_strKey, {symbol.strPrefix, u".", symbol.strClass, u".", symbol.strExchange});
    if (mapExchanges.contains(m_strKey)) return true;
    AppendAll(m_strKey, {u".", symbol.strProduct});
    return mapExchanges.contains(m_strKey);
}

void CContractRecorder::AddInstrument(const ContractSymbol& symbol, TextView strInstrument) {
    TextMap& mapInstruments = m_maps.m_mapSymbolToInstrument;
    if (Contains(symbol.strSymbol, u"QV.S.")) {
        AppendAll(m_strInstrumentList, {symbol.strProduct, u"|"});
        mapInstruments.insert_or_assign(symbol.key, symbol.strProduct);
    }
    if (!strInstrument.empty()) mapInstruments.insert_or_assign(symbol.key, strInstrument);
}

void CContractRecorder::Commit() {
    if (m_expireDate) m_expireDate->Commit();
}

}  // namespace qvant
