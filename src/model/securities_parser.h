/// From the securities document to the store's tables.
#pragma once

#include <set>
#include <unordered_map>

#include "base/locked_maps.h"
#include "model/exchange_times.h"
#include "model/json_document.h"
#include "model/reset_times.h"
#include "store/base_data.h"
#include "store/host.h"
#include "symbols/symbol_grammar.h"

namespace qvant {

/// Security group to the start times of its sessions, sorted by their units and each of them once.
using OpenTimeMap = std::unordered_map<Text, std::set<Text, std::less<>>, TextHash, std::equal_to<>>;

/// Owned by the service; a pass runs on one thread. The maps are read by those who come after the pass.
class CSecuritiesParser {
public:
    CSecuritiesParser(IHost& host, CExchangeTimes& times) : m_host(host), m_times(times) {}

    /// Fills "Security.Info" with its sub-tables, "OpenTimeExchange", "orderExchange" and the copy of the last in
    /// "STORAGE", with all times in UTC. Readers see nothing of it before a table is whole. A failure raised by a time
    /// leaves nothing open and the tables as they were.
    /// @param document       the parsed document
    /// @param pSecurityInfo  the table "Security.Info"; null when the host has none
    /// @throw CFailure  of a time or a date, see `CExchangeTimes`
    void ParseJsonData(const JsonDocument& document, CBaseData* pSecurityInfo);

    TextMap m_mapPinyin;     ///< full security key to pinyin
    TextMap m_mapMainType;   ///< full security key to main type
    TextMap m_mapCloseTime;  ///< four-part key to HHMM01
    CResetTimes m_mapSymbolResetTime;
    /// Reset time to itself. It is asked on every tick of the host's clock, while a pass fills it too.
    CLumMapStringToString m_mapResetTime;

private:
    bool WriteOpenTimes(const OpenTimeMap& mapOpenTimes);
    void WriteOrderExchange(const TextMap& mapRoutes);
    void CopyToStorage(const CBaseData& orderExchange);

    IHost& m_host;
    CExchangeTimes& m_times;
};

}  // namespace qvant
