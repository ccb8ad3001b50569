#include "proof_terminal.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>

namespace qvant::proof {

namespace {

namespace fs = std::filesystem;

constexpr int MINUTES_A_DAY = 1440;
constexpr std::chrono::seconds PASS_PATIENCE{60};  ///< a build that held goes on after ten seconds at most
constexpr int BURST_MINUTES = 10;                  ///< a reset time is looked back for
constexpr const char* SERIES[] = {"QV.F.CME.ES.HOT_MINE", "QV.F.SHFE.rb.HOT_LATE"};
constexpr const char* PRODUCTS[] = {"QV.F.CME.ES", "QV.F.CME.NQ", "QV.F.SHFE.rb"};
/// What other modules read. The rates are fetched in each start and kept nowhere; the block's name is another each
/// time.
constexpr const char* TABLES[] = {"Contract.List",     "ExpireDate",      "HOTMONTHTABLE",   "Holiday",
                                  "LongMarginRate",    "NEARMONTHTABLE",  "NearbyMonth",     "OpenTimeExchange",
                                  "OptionStyle",       "Security.Info",   "ShortMarginRate", "Symbol.Search.Name",
                                  "Underlying.F.List", "Underlying.List", "orderExchange"};

void Flatten(const std::string& strPlace, const rapidjson::Value& dump, Published& published) {
    for (const auto& value : dump["values"].GetObject()) {
        published[strPlace + '/' + value.name.GetString()] = test::ToJson(value.value);
    }
    int nRow = 0;
    for (const auto& row : dump["rows"].GetArray()) {
        published[strPlace + '#' + std::to_string(nRow++)] = test::ToJson(row);
    }
    for (const auto& table : dump["tables"].GetObject()) {
        Flatten(strPlace + '/' + table.name.GetString(), table.value, published);
    }
}

/// One value tells of all contract lists, each of which has an edition of its own.
void SplitLists(Published& published) {
    const auto lists = published.extract("Contract.List/CLASSIFY");
    std::istringstream entries(lists ? lists.mapped().substr(1, lists.mapped().size() - 2) : "");
    for (std::string strEntry; std::getline(entries, strEntry, '|');) {
        published["Contract.List/CLASSIFY/" + strEntry.substr(0, strEntry.find(','))] = strEntry;
    }
}

test::CProcess::Variables MakeVariables(const fs::path& folder, test::CProcess::Variables arVariables) {
    arVariables.emplace_back("TMPDIR", (folder / "tmp").string());
    arVariables.emplace_back("TZ", "UTC");
    return arVariables;
}

std::string ReplaceAll(std::string strText, const std::string& strFrom, const std::string& strTo) {
    for (std::size_t n = 0; (n = strText.find(strFrom, n)) != std::string::npos; n += strTo.size()) {
        strText.replace(n, strFrom.size(), strTo);
    }
    return strText;
}

}  // namespace

void MakeHome(const fs::path& folder) {
    const fs::path sample = fs::path(LUMIVALE_SAMPLE) / "home";
    fs::create_directories(folder / "terminal");
    fs::create_directories(folder / "common");
    fs::create_directories(folder / "tmp");
    fs::copy(sample, folder / "terminal", fs::copy_options::recursive);
    std::ofstream(folder / "terminal/ComShared/CustomSetting.ini") << "[LUMIVale]\nHideErrorMsg=0\nSTKINFO=CGI\n";
    TouchSeries(folder, Edition::Old);
}

void CopyHome(const fs::path& from, const fs::path& to) {
    fs::remove_all(to);
    fs::copy(from, to, fs::copy_options::recursive);
    TouchSeries(to, Edition::Old);
}

void TouchSeries(const fs::path& folder, Edition edition) {
    const std::chrono::sys_seconds time(
        std::chrono::sys_days(std::chrono::year(2026) / 1 / (edition == Edition::Old ? 1 : 2)));
    for (const char* pszTitle : SERIES) {
        const fs::path file = folder / "terminal/Data/UserDefHotMonth" / (std::string(pszTitle) + ".udhm");
        fs::last_write_time(file, std::chrono::file_clock::from_sys(time));
    }
}

CProofTerminal::CProofTerminal(const fs::path& folder, const std::string& strUrl, Lists lists,
                               test::CProcess::Variables arVariables)
    : m_folder(folder),
      m_host({"--home", (folder / "terminal").string(), "--common-data", (folder / "common").string()},
             MakeVariables(folder, std::move(arVariables))),
      m_strUrl(strUrl),
      m_lists(lists) {}

rapidjson::Document CProofTerminal::Ask(const std::string& strRequest) {
    rapidjson::Document reply = m_host.Ask(strRequest);
    if (!reply["ok"].GetBool()) throw std::runtime_error(strRequest + ": " + reply["error"].GetString());
    return reply;
}

void CProofTerminal::Set(int nSubStatus) {
    const auto reply = Ask(R"({"do":"status","status":1,"sub":)" + std::to_string(nSubStatus) + "}");
    if (reply["result"].GetInt() != 0) throw std::runtime_error("sub-status " + std::to_string(nSubStatus) + " fails");
}

void CProofTerminal::Await(const std::string& strLine) {
    const auto reply = Ask(R"({"do":"wait","event":"WriteLog","match":{"line":")" + strLine + R"("},"after":)" +
                           std::to_string(m_nAfter) + R"(,"timeout_ms":25000})");
    m_nSeen = std::max(m_nSeen, reply["found"]["n"].GetInt());
}

void CProofTerminal::Start() {
    Set(1);
    Set(2);
    std::ifstream requests(fs::path(LUMIVALE_SAMPLE) / "users" / "full.jsonl");
    for (std::string strLine; std::getline(requests, strLine);) {
        strLine = ReplaceAll(strLine, "@SERVER@", m_strUrl);
        if (m_lists == Lists::Short) {
            strLine = ReplaceAll(strLine, R"("Classification=FUTURES","Classification=OPTIONS")",
                                 std::string(R"("Classification=)") + SHORT_LIST + '"');
        }
        Ask(strLine);
    }
    Ask(R"({"do":"set","table":"GeneralService","values":{"AppsLanguage":"ENG","AppManager_Culture":"en-US"}})");
}

void CProofTerminal::SignIn() {
    m_nAfter = m_nSeen;
    Set(9);
    Await("MakeSymbolLookupList End.");
    Await("GetHoliday End");
    Await("WM_QUERY_BA. msg.wParam=ALL.");
}

/// A minute whose only reset time of the last ten is ten minutes past, and that has none in the five behind it.
int CProofTerminal::FindMinute() {
    std::set<int> setResets;
    for (const auto& [strPlace, strValue] : GetPublished()) {
        const std::string strKey = R"(\"ResetTime\":\")";
        const std::size_t nFound = strValue.find(strKey);
        if (nFound == std::string::npos || strPlace.find("Security.Info/") != 0) continue;
        const std::string strTime = strValue.substr(nFound + strKey.size(), 5);
        if (strTime.size() != 5 || strTime[2] != ':') continue;
        setResets.insert(std::stoi(strTime.substr(0, 2)) * 60 + std::stoi(strTime.substr(3)));
    }
    for (const int nReset : setResets) {
        const int nFirst = nReset + 1;
        const int nLast = nReset + 2 * BURST_MINUTES;
        if (nLast >= MINUTES_A_DAY) break;
        const auto next = setResets.lower_bound(nFirst);
        if (next == setResets.end() || *next > nLast) return nReset + BURST_MINUTES - 1;
    }
    throw std::runtime_error("no reset time stands alone");
}

void CProofTerminal::SetClock(int nMinute) {
    Ask(R"({"do":"clock","date":20261122,"time":)" + std::to_string((nMinute / 60 * 100 + nMinute % 60) * 100) + "}");
}

void CProofTerminal::BeginRefresh() {
    if (m_nMinute < 0) m_nMinute = FindMinute();
    m_nAfter = m_nSeen;
    SetClock(m_nMinute + BURST_MINUTES / 2);  // a minute has its burst once, until the clock is five minutes on
    SetClock(m_nMinute);
}

void CProofTerminal::Refresh() {
    BeginRefresh();
    WaitForPass(++m_nPasses);
}

void CProofTerminal::RefreshToSearch() {
    BeginRefresh();
    Await("MakeSymbolLookupList Begin.");
}

void CProofTerminal::WaitForPass(int nPass) {
    const auto end = std::chrono::steady_clock::now() + PASS_PATIENCE;
    while (!HasPassed(nPass)) {
        if (std::chrono::steady_clock::now() > end) ThrowTooLong();
        Ask(R"({"do":"sleep","ms":5})");
    }
}

void CProofTerminal::ThrowTooLong() {
    const std::string strTimers = test::ToJson(m_host.Ask(R"({"do":"timers"})"));
    constexpr std::size_t LAST_LINES = 10;
    const std::vector<std::string> arLines = m_host.GetEvents("WriteLog");
    std::string strText = "a pass takes too long: " + strTimers + "; the end of the log:";
    for (std::size_t n = arLines.size() - std::min(arLines.size(), LAST_LINES); n < arLines.size(); ++n) {
        strText += "\n    " + arLines[n].substr(0, 300);
    }
    throw std::runtime_error(strText);
}

bool CProofTerminal::HasPassed(int nPass) {
    const auto reply = Ask(R"({"do":"timers"})");
    const auto& refresh = reply["refresh"];
    bool bBusy = refresh["passes"].GetInt() < nPass || refresh["running"].GetBool();
    for (const auto& timer : reply["timers"]["rows"].GetArray()) bBusy = bBusy || timer["id"].GetInt() != 100;
    return !bBusy;
}

void CProofTerminal::RefreshOrBlock() {
    BeginRefresh();
    ++m_nPasses;
    const std::string strHeld =
        R"({"do":"wait","event":"WriteLog","match":{"line":"MakeSymbolLookupList delete db file!"},"after":)" +
        std::to_string(m_nAfter) + R"(,"timeout_ms":5})";
    const auto end = std::chrono::steady_clock::now() + PASS_PATIENCE;
    while (!HasPassed(m_nPasses) && !m_host.Ask(strHeld)["ok"].GetBool()) {
        if (std::chrono::steady_clock::now() > end) ThrowTooLong();
    }
}

void CProofTerminal::FetchRolls() {
    m_nAfter = m_nSeen;
    for (const char* pszProduct : PRODUCTS) {
        Ask(std::string(R"({"do":"topic","topic":"HOTCHANGE.REQUEST","type":0,"param":0,"text":")") + pszProduct +
            "\"}");
    }
    for (const char* pszProduct : PRODUCTS) Await(std::string("QueryExpireDate End. strSymbol=") + pszProduct + '.');
}

void CProofTerminal::UpdateSeries() {
    for (const char* pszTitle : SERIES) {
        const auto reply =
            Ask(std::string(R"({"do":"myrolls","title":")") + pszTitle + R"(","first":1,"timeout_ms":25000})");
        const std::string strState = reply["definitions"]["rows"][0]["companion"].GetString();
        if (strState != "up to date") throw std::runtime_error("the companion of " + (pszTitle + (": " + strState)));
    }
}

void CProofTerminal::Finish() {
    const int nStatus = m_host.Finish();
    if (nStatus != 0) throw std::runtime_error("the host ends with " + std::to_string(nStatus));
}

int CProofTerminal::WaitForEnd() {
    m_host.GetProcess().ReadAll();
    return m_host.GetProcess().Wait();
}

Published CProofTerminal::GetPublished() {
    Published published;
    for (const char* pszTable : TABLES) {
        const auto reply = Ask(std::string(R"({"do":"dump","table":")") + pszTable + "\"}");
        Flatten(pszTable, reply["dump"], published);
    }
    SplitLists(published);
    return published;
}

}  // namespace qvant::proof
