/// Order limits of the stocks of Shanghai and Shenzhen: documents of their own, kept on disk as files of wide text.
#pragma once

#include <optional>
#include <string_view>

#include "base/mutex.h"
#include "model/json_document.h"
#include "model/run_state.h"
#include "model/stock_limits.h"
#include "net/error_report.h"
#include "net/server_list.h"
#include "net/session.h"
#include "store/host.h"

namespace qvant {

/// What the stock info works with; all outlive it.
struct StockInfoParts {
    IHost& host;
    const CSession& session;
    CServerList& servers;
    CErrorReport& errors;
    RunState& state;
};

/// Shanghai has one document, "sse"; Shenzhen has two, "szse" and "szse-2", which the servers give as one.
///
/// Query and load run on one thread at a time.
class CStockInfo {
public:
    explicit CStockInfo(const StockInfoParts& parts) : m_parts(parts) {}

    /// Folder of the terminal, with its trailing slash.
    void SetHomeDir(TextView strHomeDir) { m_strHomeDir = strHomeDir; }

    /// Whether the servers are asked for what is there already as well.
    void SetCgi(bool bCgi) { m_bCgi = bCgi; }

    /// Moves shipped files into the Data folder and asks the servers for what is still missing there.
    /// @return true when a newer document was received and saved
    bool QueryStkInfo();

    /// Makes the map anew from the files in the Data folder.
    void LoadStkInfo();

    /// The limits of one stock; nothing for an unknown one. Any thread.
    std::optional<StockLimits> FindLimits(TextView strSymbol) const;

    /// Belongs to the thread that loads, which alone reads it without the lock; any other asks `FindLimits`.
    StockLimitMap m_mapStockLimits;

private:
    bool QueryDocument(TextView strCode);
    bool HasFiles(TextView strCode) const;
    void MoveFiles(TextView strFolder, TextView strCode) const;
    void MoveFile(const Text& strFrom, const Text& strTo) const;
    Text GetHeldVersion(TextView strCode) const;
    bool AskServer(const Text& strUrl, JsonDocument& document, Text& strError) const;
    bool TakeReply(const JsonValue& reply, TextView strCode, TextView strHeld, TextView strServer);
    bool SaveMember(const JsonValue& value, const Text& strPath) const;
    bool WriteFile(const Text& strPath, std::string_view strBytes) const;
    void LoadFile(TextView strCode, StockLimitMap& mapLimits) const;
    Text GetPath(TextView strFolder, TextView strCode) const;

    const StockInfoParts m_parts;
    Text m_strHomeDir;
    bool m_bCgi = false;
    mutable CMutex m_mutex;  ///< a load takes the finished map over while others look a stock up
};

}  // namespace qvant
