/// The names under which the history and quote servers know an instrument.
#pragma once

#include <memory>

#include "base/locked_maps.h"
#include "store/base_data.h"
#include "store/host.h"
#include "symbols/text_map.h"

namespace qvant {

/// Reads the server-side names of securities from the table "Security.Info", one security at its first use, and keeps
/// them. A security that the table doesn't have goes by its own exchange and product, and is looked up again at its
/// next use.
///
/// Belongs to the message thread, all of it. Nothing is ever forgotten: a record that changes is noticed by the next
/// object only.
class CSymbolMapping {
public:
    /// @param host  outlives the object; asked for the table at the first need
    explicit CSymbolMapping(IHost& host) : m_host(host) {}

    /// Fills the maps for a four-part key; does nothing for one that they have, or that has no record.
    /// @throw CFailure  of the store
    void MapSecuritySymbols(TextView strKey);

    /// The quote class of any symbol, "I.F.CME.ES": month and what follows it never stand in it. Empty for an empty
    /// symbol.
    /// @throw CFailure  of the store
    Text QVSymbolToISymbol(TextView strSymbol);

    /// The quote contract of any symbol, "I.F.CME.ES.202012": for a class other than "F" and "O" the quote class.
    /// Leaves the way back in `g_mapISymbolToQV`, so that an answer finds its symbol even where the server's codes
    /// differ. Empty for an empty symbol.
    /// @throw CFailure  of the store
    Text QVContractToISymbol(TextView strSymbol);

    /// Closes the table; a later need opens it again. The maps stay.
    void Release() { m_pSecurityInfo.reset(); }

    CTextMap m_mapSymbolHX2;             ///< four-part key to "Symbol.HX2", also an empty one
    CTextMap m_mapSymbolQVDATA;          ///< four-part key to the symbol on the data server
    CLumMapStringToString m_mapSymbolI;  ///< four-part key to the quote class

private:
    std::unique_ptr<CBaseData> OpenGroup(TextView strGroup);

    IHost& m_host;
    std::unique_ptr<CBaseData> m_pSecurityInfo;
};

}  // namespace qvant
