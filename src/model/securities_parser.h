/// From the securities document to the store's tables.
#pragma once

#include <memory>
#include <unordered_map>

#include "model/exchange_times.h"
#include "model/json_document.h"
#include "store/base_data.h"
#include "store/host.h"
#include "symbols/symbol_grammar.h"

namespace qvant {

/// Owned by the service; a pass runs on one thread. The maps are read by those who come after the pass.
class CSecuritiesParser {
public:
    CSecuritiesParser(IHost& host, CExchangeTimes& times) : m_host(host), m_times(times) {}

    /// Rewrites the document's times to UTC and fills "Security.Info" with its sub-tables, "OpenTimeExchange",
    /// "orderExchange" and the copy of the last in "STORAGE". A failure raised by a time leaves nothing open.
    /// @param document       the parsed document; changed in place
    /// @param pSecurityInfo  the table "Security.Info"
    void ParseJsonData(JsonDocument& document, CBaseData* pSecurityInfo);

    TextMap m_mapPinyin;           ///< full security key to pinyin
    TextMap m_mapMainType;         ///< full security key to main type
    TextMap m_mapCloseTime;        ///< four-part key to HHMM01
    TextMap m_mapResetTime;        ///< reset time to itself
    TextMap m_mapSymbolResetTime;  ///< four-part key to HHMM00

private:
    IHost& m_host;
    CExchangeTimes& m_times;
};

}  // namespace qvant
