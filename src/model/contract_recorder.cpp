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
      m_names{CTextFinder(parts.lists.m_mapSecurityName), parts.lists.m_mapOptionSetPriAdj, parts.localExchanges.Get(),
              parts.words},
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
    // The symbol's place in the table may be far away; it comes while the name is made.
    CSymbolTable::Key key(symbol.strSymbol);
    m_maps.m_symbols.Prepare(key);
    m_strName = FormatSymbolName(symbol.strSymbol, {}, m_names);
    if (m_strName.empty()) return;
    m_cffex.Add(symbol);
    if (m_strHotWord.empty()) {
        m_nearMonths.Add(symbol, m_maps.m_mapSymbolToNear);
    } else {
        AddHot(symbol);
    }
    const CSymbolTable::Row row = m_maps.m_symbols.Enter(key);
    if (EnterName(row)) EnterDetails(symbol, row, leaf, nIndex);
    const bool bPermitted = IsPermitted(symbol);
    if (bPermitted) AppendAll(m_strLeafList, {symbol.strSymbol, u",", m_strName, u"|"});
    m_maps.m_arContractInsertData.Add(m_maps.m_symbols.GetSymbol(row), bPermitted);
    AddInstrument(symbol, row, At(leaf.arInstrument, nIndex));
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
    const CSymbolTable::Row hot = m_maps.m_symbols.Enter(strHot);
    if (m_maps.m_mapSymbolToName.HasValue(hot)) return;
    AddHotPair(symbol.strSymbol, strHot);
    m_maps.m_mapSymbolToName.SetValue(hot, FormatSymbolName(strHot, m_strHotWord, m_names));
    m_maps.m_mapSymbolToHot.insert_or_assign(symbol.strSymbol, strHot);
    m_maps.AddContract(hot);
}

void CContractRecorder::AddHotPair(TextView strContract, TextView strHot) {
    if (!m_pHotMonth) return;
    m_pHotMonth->SetValue(strContract, strHot);
    m_pHotMonth->SetValue(strHot, strContract);
}

/// Enters the name of a contract at its first sight. @return whether it was that
bool CContractRecorder::EnterName(CSymbolTable::Row row) {
    if (!m_bAddsNew || m_maps.m_mapSymbolToName.HasValue(row)) return false;
    m_maps.m_mapSymbolToName.SetValue(row, m_strName);
    m_maps.AddContract(row);
    return true;
}

void CContractRecorder::EnterDetails(const ContractSymbol& symbol, CSymbolTable::Row row,
                                     const stcContractListNode& leaf, std::size_t nIndex) {
    if (nIndex < leaf.arExpiration.size()) EnterExpiry(row, leaf.arExpiration[nIndex]);
    if (nIndex < leaf.arLongMargin.size()) m_maps.m_mapLongMargin.SetValue(row, leaf.arLongMargin[nIndex]);
    if (nIndex < leaf.arShortMargin.size()) m_maps.m_mapShortMargin.SetValue(row, leaf.arShortMargin[nIndex]);
    if (Contains(symbol.strSymbol, u"QV.O.")) AddSyntheticUnderlying(symbol, At(leaf.arExpiration, nIndex));
}

/// All dates of a file go in one transaction: readers of "ExpireDate" see whole files and are told of them once.
void CContractRecorder::EnterExpiry(CSymbolTable::Row row, TextView strExpiry) {
    m_maps.m_mapExpireDate.SetValue(row, strExpiry);
    if (!m_pExpireDate) {
        m_pExpireDate = m_parts.host.OpenTable(u"ExpireDate", nullptr);
        if (m_pExpireDate) m_expireDate.emplace(*m_pExpireDate);
    }
    if (m_expireDate) m_expireDate->SetValue(m_maps.m_symbols.GetSymbol(row), strExpiry);
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
    if (nMonth < 1) return;
    const CSymbolTable::Row row = m_maps.m_symbols.Enter(strUnderlying);
    if (m_maps.m_mapSynuSymbolToName.HasValue(row)) return;
    const bool bChinese = symbol.strExchange == u"SSE" || symbol.strExchange == u"SZSE";
    const TextView strMonth = CutCentury(symbol.strMonth);
    const Text& strWord = m_parts.words.m_strSynU;
    // Elsewhere the name starts with as much of the option's name as stands before the month in the underlying's
    // symbol: its users know the underlyings by these very names.
    const Text strName = bChinese ? Concatenate({strProduct, u" ", strWord, u" ", strMonth})
                                  : Concatenate({TextView(m_strName).substr(0, nMonth), strWord, strMonth});
    m_maps.m_mapSynuSymbolToName.SetValue(row, strName);
    if (!strExpiry.empty()) m_maps.m_mapExpireDate.SetValue(row, strExpiry);
    m_maps.AddContract(row);
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

void CContractRecorder::AddInstrument(const ContractSymbol& symbol, CSymbolTable::Row row, TextView strInstrument) {
    CSymbolColumn& mapInstruments = m_maps.m_mapSymbolToInstrument;
    const bool bStock = Contains(symbol.strSymbol, u"QV.S.");
    if (bStock) AppendAll(m_strInstrumentList, {symbol.strProduct, u"|"});
    if (!strInstrument.empty()) {
        mapInstruments.SetValue(row, strInstrument);
    } else if (bStock) {
        mapInstruments.SetValue(row, symbol.strProduct);
    }
}

void CContractRecorder::Commit() {
    if (m_expireDate) m_expireDate->Commit();
}

}  // namespace qvant
