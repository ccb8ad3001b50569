/// One start of the service in a folder of its own, with real tables, databases and files.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "service/lumivale.h"
#include "soak/soak_host.h"
#include "support/scratch_folder.h"

namespace qvant::test {

/// Every value of every published table, by "TABLE/SUB-TABLE/KEY" or "TABLE[ROW]"; and the rows of the databases.
using Published = std::map<std::string, std::string>;

class CSoakTerminal {
public:
    /// @param folder   for this start alone
    /// @param strUrls  the servers, joined by "|"
    CSoakTerminal(const std::filesystem::path& folder, const Text& strUrls, const platform::IClock& clock);

    /// INIT and START.
    void Start();
    /// Signs the user in and waits for what goes on behind it.
    void SignIn();
    /// LOGIN alone: the sign-in ends when the call does.
    void LogIn();
    void StopAndExit();

    CSoakHost& GetHost() { return m_host; }

    /// When the timers are due, by the clock's count; nothing while one of them works.
    std::optional<std::vector<std::int64_t>> GetDueTimes() const;

    /// Minutes of the day at which some exchange resets, as the published securities tell.
    std::set<int> GetResetMinutes();

    /// What the other modules read.
    Published GetPublished();

private:
    void MakeTables();
    void SetUser(const Text& strUrls);
    void AddTable(const std::string& strName, const CBaseData& table, Published& published) const;
    void AddDatabase(const std::filesystem::path& path, Published& published) const;
    void Status(std::int32_t nSubStatus);

    const std::filesystem::path m_pathTerminal;
    CEnvironment m_home;
    CEnvironment m_common;
    CSoakHost m_host;
    CLumivale m_service;
};

}  // namespace qvant::test
