/// What the signed-in user may trade, and which exchanges he may see.
#pragma once

#include <string_view>

#include "model/run_state.h"
#include "model/storage_tables.h"
#include "net/error_report.h"
#include "net/session.h"
#include "net/wide_json.h"
#include "store/base_data.h"
#include "store/host.h"

namespace qvant {

/// The part of a trade permission document that the parser gets; the document can arrive wrapped in other text. From
/// the word "QVANT" in its quotes on, with a brace put in front, or else from the first brace on, to the last one.
Text CutPermissionDocument(TextView strReply);

/// What the permissions work with; all outlive them.
struct TradePermissionParts {
    IHost& host;
    const CSession& session;
    CErrorReport& errors;
    CStorageTables& storage;
    RunState& state;
};

class CTradePermissions {
public:
    explicit CTradePermissions(const TradePermissionParts& parts) : m_parts(parts) {}

    /// Asks the URLs in turn for the document and publishes the groups of the user's region in "AppsTradePermission"
    /// and in its copy in "STORAGE". Runs on a thread of its own; a stop ends it at once, with nothing published and
    /// nobody told.
    /// @param strURLs  joined by "|"
    void QueryAppsTradePermission(TextView strURLs);

    /// Takes the user's exchanges from "PERMISSIONS.EXCHANGES" into `m_mapExchanges` and `m_strExgListNew`. Without
    /// the table, or without a row in it, the set is empty and the list stays. On the thread of sign-in.
    void LoadExchangePermissions();

private:
    bool AskUrl(const Text& strUrl, CJsonValue& document, Text& strError);
    bool Publish(const CJsonValue& document);
    bool WriteGroups(const CJsonValue& document, CTransaction& transaction) const;

    const TradePermissionParts m_parts;
};

}  // namespace qvant
