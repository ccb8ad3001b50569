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

/// Owned by the service; a pass runs on one thread, which a second one follows when there is much to enter.
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
    /// The members of a security that the lists are made of, in the order in which they are asked for.
    enum Field : std::size_t { NAME, UNDERLYING, UNDERLYING_F, OPTION_STYLE, SET_PRI_ADJ, FIELDS };

    struct Security {
        Text strKey;
        CVariant value;
    };

    /// Neighbours in a table, which one thread reads and the other takes apart.
    struct Batch {
        static constexpr std::size_t MOST = 64;
        std::vector<Security> arSecurities;  ///< more than there are, once it has grown: their memory serves the next
        std::size_t nCount = 0;
    };

    class CReader;

    void Clear();
    void Enter(TextView strKey, const std::vector<Text>& arTexts);
    void Publish(const UnderlyingTables& tables, bool bShared) const;

    IHost& m_host;
};

}  // namespace qvant
