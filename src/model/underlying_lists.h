/// Product names, underlyings and option styles, drawn from the securities in the store.
#pragma once

#include <vector>

#include "store/base_data.h"
#include "store/host.h"
#include "symbols/symbol_grammar.h"

namespace qvant {

/// The tables that the lists read and fill; owned by the service, null when the host has none.
struct UnderlyingTables {
    CBaseData* pSecurityInfo = nullptr;
    CBaseData* pUnderlyingList = nullptr;
    CBaseData* pUnderlyingFList = nullptr;
    CBaseData* pOptionStyle = nullptr;
};

/// Owned by the service; a pass runs on one thread.
class CUnderlyingLists {
public:
    explicit CUnderlyingLists(IHost& host) : m_host(host) {}

    /// @param strLanguage  language word, such as "ENG": names come from the member "Name.ENG"
    void MakeUnderlyingList(const UnderlyingTables& tables, TextView strLanguage);

    // Each stands in the order in which its keys were found, and so do the rows of the tables made from it.
    TextMap m_mapSecurityName;
    TextMap m_mapUnderlying;
    TextMap m_mapUnderlyingF;
    TextMap m_mapOptionStyle;
    TextMap m_mapOptionSetPriAdj;

private:
    void Clear();
    void ReadGroup(const CBaseData& group, TextView strNameField);
    void ReadSecurity(const CBaseData& group, TextView strKey, TextView strNameField);

    IHost& m_host;
    std::vector<Text> m_arTexts;  ///< the members of the security at hand
};

}  // namespace qvant
