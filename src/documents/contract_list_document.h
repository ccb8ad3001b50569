/// The contract lists: one for each classification, asked for by version, kept on disk, built into the contract tables.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "model/contract_builder.h"
#include "model/json_document.h"
#include "model/run_state.h"
#include "model/storage_tables.h"
#include "net/error_report.h"
#include "net/server_list.h"
#include "net/session.h"
#include "platform/clock.h"
#include "platform/shared_memory.h"
#include "store/base_data.h"
#include "store/host.h"

namespace qvant {

/// What the document works with; all outlive it.
struct ContractListParts {
    IHost& host;
    CSession& session;
    CServerList& servers;
    CErrorReport& errors;
    CStorageTables& storage;
    CContractBuilder& builder;
    RunState& state;
    const platform::IClock& clock;  ///< its second starts the random numbers of block names
};

/// What a load sets going at its end.
struct ContractListCalls {
    std::function<bool()> queryStkInfo;  ///< gives whether there are new stock limits to load
    std::function<void()> loadStkInfo;
    std::function<void()> makeSymbolLookupList;
    /// Has the rolls of products whose hot month moved be asked for, on a thread.
    std::function<void()> armRequery = [] {};
};

/// The tables that a load fills; owned by the service, null when the host has none.
struct ContractListTables {
    CBaseData* pContractListName = nullptr;
    CBaseData* pHotMonth = nullptr;
    CBaseData* pNearbyMonth = nullptr;
    CBaseData* pContractList = nullptr;
};

/// A pair of operations that runs on one thread at a time. What is loaded is always the file on disk; the server only
/// ever replaces the file.
class CContractListDocument {
public:
    CContractListDocument(const ContractListParts& parts, ContractListCalls calls)
        : m_parts(parts), m_calls(std::move(calls)) {}

    /// Folder of the terminal, with its trailing slash.
    void SetHomeDir(TextView strHomeDir) { m_strPathStart = Text(strHomeDir) + u"Configs/ContractList_"; }

    /// Asks the servers for a newer list of each classification and saves it. A stop ends it at once; what was saved
    /// before counts.
    /// @return true when at least one list with a new version was received and saved, so that the caller should load
    bool QueryContractList();

    /// Builds the contract tables from the files and publishes the name tree as a shared block. A stop while the files
    /// are read leaves all tables and the block as they were, and the next sign-in loads anew.
    /// @param bKeep  keeps the changed classifications and what is known of the symbols; nobody does so
    void LoadContractList(const ContractListTables& tables, bool bKeep = false);

    /// Takes the published block back. The name in the store stands; readers that have the block open keep it.
    void CloseBlock();

private:
    /// An entry "NAME" or "NAME:CNAME" on its way through the servers.
    struct Query {
        const Text& strEntry;
        Text strName;   ///< names the file
        Text strCname;  ///< goes to the server
        Text strClientVersion;
        bool bUsable;  ///< whether NAME may name a file; any other has its list asked for and never written
    };
    using Change = std::optional<CTransaction>;  ///< none for a table that isn't there

    bool QueryClassification(const Text& strEntry, Change& record);
    bool AskServer(const Query& query, const Text& strServer, Change& record, Text& strError, bool& bNews);
    bool ParseReply(JsonDocument& document, std::string_view strReply, const Text& strUrl);
    bool TakeReply(const Query& query, const JsonDocument& document, std::size_t nReplySize, const Text& strServer,
                   Change& record);
    bool SaveList(const Query& query, const JsonDocument& document, std::size_t nReplySize);
    void TakeVersion(const Text& strName, const Text& strVersion, Change& record);

    void ClearResults(bool bKeep);
    bool BuildTables(const ContractListTables& tables, Text& strClassifyText, bool& bAllRead);
    bool ReadLists(Change& hotMonth, Change& nearbyMonth, Text& strClassifyText, bool& bAllRead);
    void GiveUp();
    void PublishNames(Change& name);
    void Finish(CBaseData* pContractList, TextView strClassifyText);
    void RefreshSymbols(bool bLoadAlways);
    void RetireBlock();
    Text GetPath(TextView strName) const { return Text(m_strPathStart).append(strName).append(u".ini"); }

    const ContractListParts m_parts;
    const ContractListCalls m_calls;
    Text m_strPathStart;
    std::unique_ptr<platform::CSharedMemory> m_hContractListMapping;     ///< published by the load that runs
    std::unique_ptr<platform::CSharedMemory> m_hContractListMappingOld;  ///< kept open so that readers find it
};

}  // namespace qvant
