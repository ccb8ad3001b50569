#include "symbols/symbol_mapping.h"

#include <array>

#include "base/format.h"
#include "symbols/symbol_fields.h"
#include "symbols/symbol_grammar.h"

namespace qvant {

namespace {

/// The members of a record that name the instrument elsewhere, in the order in which they are read.
enum Name : std::size_t { NAME_HX2, NAME_PRODUCT, NAME_EXCHANGE, NAME_QVDATA };
constexpr std::array<TextView, 4> NAMES = {u"Symbol.HX2", u"Symbol.mo", u"EXG.mo", u"Symbol.QVDATA"};

Text JoinKey(const SymbolFields& fields) {
    return Concatenate({fields.strPrefix, u".", fields.strClass, u".", fields.strExchange, u".", fields.strProduct});
}

Text JoinQuoteClass(TextView strClass, TextView strExchange, TextView strProduct) {
    return Concatenate({u"I.", strClass, u".", strExchange, u".", strProduct});
}

TextView Either(TextView strText, TextView strOtherwise) { return strText.empty() ? strOtherwise : strText; }

}  // namespace

void CSymbolMapping::MapSecuritySymbols(TextView strKey) {
    if (m_mapSymbolHX2.contains(strKey) && m_mapSymbolQVDATA.contains(strKey)) return;
    const SymbolFields fields = SplitSymbol(strKey);
    const auto pGroup = OpenGroup(Concatenate({fields.strPrefix, u".", fields.strClass, u".", fields.strExchange}));
    if (!pGroup) return;
    CVariant record = pGroup->GetVariant(strKey);
    if (record.vt == VT_EMPTY) return;
    std::vector<Text> arTexts;
    CBaseData::PickJsonFields(record, NAMES, arTexts);
    m_mapSymbolHX2.insert_or_assign(strKey, arTexts[NAME_HX2]);
    m_mapSymbolI.SetAt(strKey, JoinQuoteClass(fields.strClass, Either(arTexts[NAME_EXCHANGE], fields.strExchange),
                                              Either(arTexts[NAME_PRODUCT], fields.strProduct)));
    Text strData(Either(arTexts[NAME_QVDATA], arTexts[NAME_HX2]));
    if (strData.empty()) {
        m_host.LogMessage(Concatenate({u"QVSymbolToQVDATASymbol fail:", strKey}));
        // What follows the product of a four-part key is nothing: readers know the fallback by the dot at its end.
        strData = Format(u"LUM.%s.%s", fields.strExchange, SplitOption(fields.strRest).strMonth);
    }
    m_mapSymbolQVDATA.insert_or_assign(strKey, strData);
}

Text CSymbolMapping::QVSymbolToISymbol(TextView strSymbol) {
    if (strSymbol.empty()) return {};
    const SymbolFields fields = SplitSymbol(strSymbol);
    const Text strKey = JoinKey(fields);
    MapSecuritySymbols(strKey);
    Text strClass;
    if (m_mapSymbolI.Lookup(strKey, strClass)) return strClass;
    return JoinQuoteClass(fields.strClass, fields.strExchange, fields.strProduct);
}

Text CSymbolMapping::QVContractToISymbol(TextView strSymbol) {
    Text strResult = QVSymbolToISymbol(strSymbol);
    if (strResult.empty()) return {};
    const SymbolFields fields = SplitSymbol(strSymbol);
    const OptionFields option = SplitOption(fields.strRest);
    if (fields.strClass == u"F") {
        AppendAll(strResult, {u".", option.strMonth});
    } else if (fields.strClass == u"O") {
        AppendAll(strResult, {u".", option.strMonth, u".", option.strRight, u".", option.strStrike});
    }
    g_mapISymbolToQV.SetAt(strResult, Text(strSymbol));
    return strResult;
}

std::unique_ptr<CBaseData> CSymbolMapping::OpenGroup(TextView strGroup) {
    if (!m_pSecurityInfo) m_pSecurityInfo = m_host.OpenTable(u"Security.Info", nullptr);
    return m_pSecurityInfo ? m_pSecurityInfo->GetSubTable(strGroup, nullptr) : nullptr;
}

}  // namespace qvant
