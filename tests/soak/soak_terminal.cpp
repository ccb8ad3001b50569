#include "soak/soak_terminal.h"

#include <fstream>
#include <stdexcept>

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sqlite3.h>

#include "base/split.h"
#include "qvant/lumivale.h"

namespace qvant::test {

namespace {

namespace fs = std::filesystem;

/// The tables that other modules read.
constexpr const char16_t* PUBLISHED_TABLES[] = {
    u"AppsTradePermission", u"Contract.List",   u"CurrencyExchangeRate", u"CurrencyMapping", u"ExpireDate",
    u"HOTMONTHTABLE",       u"Holiday",         u"LongMarginRate",       u"NEARMONTHTABLE",  u"NearbyMonth",
    u"OpenTimeExchange",    u"OptionStyle",     u"Security.Info",        u"ShortMarginRate", u"Symbol.Search.Name",
    u"Underlying.F.List",   u"Underlying.List", u"orderExchange"};

/// Those that the host makes without being asked.
constexpr const char16_t* HOST_TABLES[] = {u"QvantSystemTime",  u"GeneralService", u"CQYZ",
                                           u"LUMIVALE.REQUEST", u"STORAGE",        u"Contract.List.Name"};

fs::path PrepareFolder(const fs::path& folder) {
    fs::create_directories(folder / "terminal");
    fs::copy(fs::path(LUMIVALE_SAMPLE) / "home" / "ComShared", folder / "terminal" / "ComShared",
             fs::copy_options::recursive);
    return folder / "terminal";
}

std::string ReplaceServers(std::string strText, const Text& strUrls) {
    const std::string strMark = "@SERVER@";
    const std::string strAll = Narrow(strUrls);
    const std::string strFirst = strAll.substr(0, strAll.find('|'));
    for (std::size_t n = 0; (n = strText.find(strMark, n)) != std::string::npos;) {
        // Alone it is the list of the servers; before a path it is one of them.
        const bool bAlone = strText[n + strMark.size()] == '"';
        strText.replace(n, strMark.size(), bAlone ? strAll : strFirst);
    }
    return strText;
}

}  // namespace

CSoakTerminal::CSoakTerminal(const fs::path& folder, const Text& strUrls, const platform::IClock& clock)
    : m_pathTerminal(PrepareFolder(folder)),
      m_home("LUMIVALE_HOME", m_pathTerminal.string()),
      m_common("LUMIVALE_COMMON_DATA", (folder / "common").string()),
      m_service(m_host, clock) {
    MakeTables();
    SetUser(strUrls);
}

void CSoakTerminal::MakeTables() {
    for (const auto* pszTable : PUBLISHED_TABLES) m_host.MakeTable(pszTable);
    for (const auto* pszTable : HOST_TABLES) m_host.MakeTable(pszTable);
    m_host.Set(u"GeneralService", {{u"AppsLanguage", u"ENG"}, {u"AppManager_Culture", u"en-US"}});
}

/// The sample's user who may see everything.
void CSoakTerminal::SetUser(const Text& strUrls) {
    std::ifstream requests(fs::path(LUMIVALE_SAMPLE) / "users" / "full.jsonl");
    for (std::string strLine; std::getline(requests, strLine);) {
        rapidjson::Document document;
        const rapidjson::Document& request = document.Parse(ReplaceServers(strLine, strUrls).c_str());
        const Text strTable = Widen(request["table"].GetString());
        if (request.HasMember("rows")) {
            std::vector<Text> arRows;
            for (const auto& row : request["rows"].GetArray()) arRows.push_back(Widen(row.GetString()));
            m_host.SetRows(strTable, arRows);
            continue;
        }
        std::map<Text, Text> values;
        for (const auto& member : request["values"].GetObject()) {
            values[Widen(member.name.GetString())] = Widen(member.value.GetString());
        }
        m_host.Set(strTable, values);
    }
}

void CSoakTerminal::Status(std::int32_t nSubStatus) {
    EXPECT_EQ(m_service.OnSystemStatus(SYSTEM_STATUS, nSubStatus), S_OK);
}

void CSoakTerminal::Start() {
    Status(SYSTEM_STATUS_INIT);
    Status(SYSTEM_STATUS_START);
}

void CSoakTerminal::SignIn() {
    const int nSymbols = m_host.Count(Line::SymbolsReady);
    const int nCalendars = m_host.Count(Line::CalendarEnded);
    const int nMachines = m_host.Count(Line::MachineKnown);
    LogIn();
    EXPECT_TRUE(m_host.WaitFor(Line::SymbolsReady, nSymbols + 1));
    EXPECT_TRUE(m_host.WaitFor(Line::CalendarEnded, nCalendars + 1));
    EXPECT_TRUE(m_host.WaitFor(Line::MachineKnown, nMachines + 1));
}

void CSoakTerminal::LogIn() { Status(SYSTEM_STATUS_LOGIN); }

void CSoakTerminal::StopAndExit() {
    Status(SYSTEM_STATUS_STOP);
    Status(SYSTEM_STATUS_EXIT);
}

std::optional<std::vector<std::int64_t>> CSoakTerminal::GetDueTimes() const {
    std::vector<std::int64_t> arDue;
    for (const TimerState& timer : m_service.ListTimers()) {
        if (timer.bRunning || !timer.nNextDue) return std::nullopt;
        arDue.push_back(*timer.nNextDue);
    }
    return arDue;
}

std::set<int> CSoakTerminal::GetResetMinutes() {
    std::set<int> setMinutes;
    const auto pInfo = m_host.Open(u"Security.Info");
    for (std::int32_t nRow = 0; nRow < pInfo->GetCount(); ++nRow) {
        const auto pGroup = pInfo->GetSubTable(pInfo->GetKeyAt(nRow), nullptr);
        for (const Text& strEntry : SplitTokens(pGroup->GetKeys().value_or(Text()), u";")) {
            const std::string strTime = Narrow(pGroup->GetJsonField(strEntry.substr(2), u"ResetTime"));
            if (strTime.size() != 5) continue;
            setMinutes.insert(std::stoi(strTime.substr(0, 2)) * 60 + std::stoi(strTime.substr(3)));
        }
    }
    return setMinutes;
}

Published CSoakTerminal::GetPublished() {
    Published published;
    for (const auto* pszTable : PUBLISHED_TABLES) AddTable(Narrow(pszTable), *m_host.Open(pszTable), published);
    for (const auto& entry : fs::recursive_directory_iterator(m_pathTerminal / "Data")) {
        if (entry.path().extension() == ".db") AddDatabase(entry.path(), published);
    }
    return published;
}

void CSoakTerminal::AddTable(const std::string& strName, const CBaseData& table, Published& published) const {
    for (const Text& strEntry : SplitTokens(table.GetKeys().value_or(Text()), u";")) {
        const Text strKey = strEntry.substr(2);
        published[strName + "/" + Narrow(strKey)] = Narrow(table.GetString(strKey));
    }
    for (std::int32_t nRow = 0; nRow < table.GetCount(); ++nRow) {
        const Text strRow = table.GetKeyAt(nRow);
        published[strName + "[" + std::to_string(nRow) + "]"] = Narrow(strRow);
        if (const auto pChild = table.GetSubTable(strRow, nullptr)) {
            AddTable(strName + "/" + Narrow(strRow), *pChild, published);
        }
    }
}

/// All rows but for the moments at which they were written.
void CSoakTerminal::AddDatabase(const fs::path& path, Published& published) const {
    sqlite3* pDatabase = nullptr;
    ASSERT_EQ(sqlite3_open_v2(path.c_str(), &pDatabase, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK) << path;
    const std::string strName = path.filename().string();
    struct Reader {
        sqlite3* pDatabase;
        std::map<std::string, int> mapRows;
        Published& published;
        std::string strTable;
    } reader{pDatabase, {}, published, {}};
    const auto addRow = [](void* pContext, int nColumns, char** pTexts, char** pNames) {
        auto& target = *static_cast<Reader*>(pContext);
        std::string strRow;
        for (int n = 0; n < nColumns; ++n) {
            const std::string strColumn = pNames[n];
            if (strColumn == "TimeStamp" || strColumn == "Status") continue;
            if (strColumn == "Date" && target.strTable.ends_with("/Version")) continue;
            strRow += strColumn + "=" + (pTexts[n] ? pTexts[n] : "") + ";";
        }
        const int nRow = ++target.mapRows[strRow];  // equal rows are told apart by their number
        target.published[target.strTable + ":" + strRow] = std::to_string(nRow);
        return 0;
    };
    const auto addTable = [](void* pContext, int, char** pTexts, char**) {
        static_cast<std::vector<std::string>*>(pContext)->emplace_back(pTexts[0]);
        return 0;
    };
    std::vector<std::string> arTables;
    sqlite3_exec(pDatabase, "SELECT name FROM sqlite_master WHERE type='table'", addTable, &arTables, nullptr);
    for (const std::string& strTable : arTables) {
        reader.strTable = strName + "/" + strTable;
        reader.mapRows.clear();
        EXPECT_EQ(sqlite3_exec(pDatabase, ("SELECT * FROM \"" + strTable + "\"").c_str(), addRow, &reader, nullptr),
                  SQLITE_OK);
    }
    sqlite3_close(pDatabase);
}

}  // namespace qvant::test
