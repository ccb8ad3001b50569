/// The last bars of the months on both sides of a roll, and the price gap between them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/locked_maps.h"
#include "base/text.h"
#include "model/json_document.h"
#include "net/http_query.h"
#include "net/roll_servers.h"
#include "net/session.h"
#include "rolls/udhm_node.h"
#include "store/host.h"
#include "symbols/symbol_mapping.h"

namespace qvant {

/// What the bars are fetched with; all outlive them.
struct LastBarsParts {
    IHost& host;
    CSession& session;
    const CRollServers& servers;
    CSymbolMapping& mapping;
};

/// Runs on the thread that serves the requests for adjustment factors, one series after the other.
class CLastBars {
public:
    /// @param getNow  the host's clock, YYYYMMDDhhmmss in UTC
    CLastBars(const LastBarsParts& parts, std::function<std::int64_t()> getNow)
        : m_parts(parts), m_getNow(std::move(getNow)) {}

    /// Asks the history servers for the closes of both months at each roll that has come, writes the companion of the
    /// series, and tells the other modules with the topic "API_UpdateUDHotMonth". A server that doesn't answer leaves
    /// its gaps open, a companion that can't be written stays, and the topic goes out all the same. A stop of the
    /// calling thread ends it: nothing is written then, and no topic goes out.
    /// @return 0 for null, else 1
    std::int32_t QueryLastK(const UDHMNode* pNode);

    /// Keeps the closes of a history server's reply.
    /// @param nLength  of the reply with its NUL; 0 for none
    /// @return the reply's JSON text; empty when there is none
    Text ParseLastK(ReplyBuffer pReply, std::uint32_t nLength);

    /// The close of a contract at a roll moment in units of 1e-10. Any thread.
    /// @return `NO_PRICE` when there was none or nobody has asked yet
    std::int64_t GetClose(TextView strSymbol, std::int64_t nMoment) const;

private:
    std::vector<Text> MakeBatches(const UDHMNode& node, std::int64_t nNow);
    void QueryBatch(const Text& strBatch);
    void KeepBar(const JsonValue& element);
    std::string MakeCompanion(const UDHMNode& node, std::int64_t nNow) const;

    const LastBarsParts m_parts;
    const std::function<std::int64_t()> m_getNow;
    CLumMap<std::int64_t> m_mapLastK;  ///< "%s_%lld" of contract and roll moment to the close; never emptied
};

}  // namespace qvant
