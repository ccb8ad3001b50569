/// The refresh pass and the reactions to the store, with real documents, files, tables and a real server around them,
/// at a clock that the test drives.
#pragma once

#include <algorithm>
#include <atomic>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/profile.h"
#include "service/refresh.h"
#include "service/store_events.h"
#include "support/document_server.h"
#include "support/driven_clock.h"
#include "support/listening_host.h"
#include "support/scratch_folder.h"

namespace qvant::test {

/// The due times that a clock waits for before it moves on.
inline std::optional<std::vector<std::int64_t>> GetDueTimes(const std::vector<TimerState>& arTimers) {
    std::vector<std::int64_t> arDue;
    for (const TimerState& timer : arTimers) {
        if (timer.bRunning || !timer.nNextDue) return std::nullopt;
        arDue.push_back(*timer.nNextDue);
    }
    return arDue;
}

inline constexpr const char* SECURITIES_7 =
    R"({"LastVersion":"7","SecuritiesInfo":{"QV.F.TWF.TXF":{"OpenCloseTime":"08:45~13:45"}}})";
inline constexpr const char* SECURITIES_8 =
    R"({"LastVersion":"8","SecuritiesInfo":{"QV.F.TWF.TXF":{"OpenCloseTime":"09:00~13:45"}}})";
inline constexpr const char* SECURITIES_WITH_A_FAULT =
    R"({"LastVersion":"9","SecuritiesInfo":{"QV.F.X.Y":{"OpenCloseTime":"99:99~10:00"}}})";
inline constexpr const char* LIST_1 =
    R"({"LastVersion":"1","Classification":{"ENG":"Futures","CHT":"F-CHT","Node":[{"ENG":"HOT","CHT":"H",)"
    R"("Node":[{"ENG":"Index","CHT":"I","Contracts":["QV.F.CME.ES.202612"]}]}]}})";
inline constexpr const char* LIST_2 =
    R"({"LastVersion":"2","Classification":{"ENG":"Futures","CHT":"F-CHT","Node":[{"ENG":"HOT","CHT":"H",)"
    R"("Node":[{"ENG":"Index","CHT":"I","Contracts":["QV.F.CME.ES.202703"]}]}]}})";

/// Holds the securities 7 and the list 1 when a test begins; it is 2026-03-02 10:00 in UTC, the machine's zone.
class RefreshTest : public ::testing::Test {
protected:
    RefreshTest() {
        for (const auto* pszTable : {u"STORAGE", u"OpenTimeExchange", u"orderExchange", u"Security.Info",
                                     u"Contract.List", u"Contract.List.Name", u"HOTMONTHTABLE", u"NearbyMonth"}) {
            m_host.MakeTable(pszTable);
        }
        const Text strHome = m_folder / "";
        m_settings.SetHomeDir(strHome);
        m_securities.SetHomeDir(strHome);
        m_contracts.SetHomeDir(strHome);
        std::filesystem::create_directories(m_folder.GetPath() / "Configs");
        m_tables.RegisterAndOpen(m_host);
        m_tables.RegisterAndOpenContractLists(m_host);
        m_storage.InitContractList(nullptr);
        m_state.m_arClassification = {u"FUT:CN-FUT"};
        m_state.AppsLanguage = u"ENG";
        m_state.Culture = u"en-US";
        m_lists.m_mapSecurityName.insert_or_assign(u"QV.F.CME.ES", u"E-Mini");
        m_servers.Assign(m_server.GetUrl(), [] { return 0U; });
        m_server.Publish("7", SECURITIES_7);
        m_server.PublishList("CN-FUT", "1", LIST_1);
        m_refresh.TimerQueryAll(false, u"Timer100");
        m_host.Forget();
        m_clock.Expect([this] { return GetDueTimes(m_timer.List()); });
    }
    /// What a callback would wait for ends with the test.
    ~RefreshTest() override {
        m_stop.request_stop();
        m_timer.EndAll();
    }

    /// A time of day in UTC, on the day of the test.
    void SetTimeOfDay(int nHour, int nMinute = 0) {
        m_clock.SetNow(platform::FromUtc({.nYear = 2026, .nMonth = 3, .nDay = 2, .nHour = nHour, .nMinute = nMinute}));
    }
    std::size_t CountLog(std::string_view strLine) const {
        const auto arLog = m_host.GetLog();
        return static_cast<std::size_t>(std::ranges::count(arLog, strLine));
    }
    std::size_t CountPasses() const { return CountLog("TimerQueryAll m_hEventSymbolLookUp Done"); }
    Text ReadSetting(TextView strKey) const {
        return platform::GetProfileText(u"LUMIVale", strKey, u"?", 256, m_folder / "Configs/LUMIVale.ini");
    }

    CEnvironment m_zone{"TZ", "UTC"};
    CScratchFolder m_folder;
    CListeningHost m_host;
    CDocumentServer m_server;
    CDrivenClock m_clock{platform::FromUtc({.nYear = 2026, .nMonth = 3, .nDay = 2, .nHour = 10})};
    RunState m_state;
    CSettings m_settings;
    CSession m_session{m_clock};
    CServerList m_servers;
    CErrorReport m_errors{m_host, m_clock};
    CStorageTables m_storage{m_host, m_state, {}};
    CTimeZones m_zones;
    CExchangeTimes m_times{m_zones, m_clock};
    CSecuritiesParser m_parser{m_host, m_times};
    CSecuritiesDocument m_securities{{m_host, m_session, m_servers, m_errors, m_storage, m_parser, m_state}, [] {}};
    CUnderlyingLists m_lists{m_host};
    SymbolWords m_words;
    CLocalExchanges m_localExchanges;
    CContractBuilder m_builder{{m_host, m_state, m_lists, m_words, m_localExchanges}};
    CContractListDocument m_contracts{{m_host, m_session, m_servers, m_errors, m_storage, m_builder, m_state, m_clock},
                                      {[] { return false; }, [] {}, [] {}}};
    KeptTables m_tables;
    platform::CStoppableLock m_lockPass;
    platform::CEvent m_eventSymbolLookUp{platform::CEvent::Reset::Manual, true};
    platform::CEvent m_eventTimerIdle{platform::CEvent::Reset::Manual, true};
    std::stop_source m_stop;
    int m_nCurrencyQueries = 0;
    std::vector<std::uint32_t> m_arExpiryChecks;  ///< the timers that asked for them
    std::function<void()> m_processRequery = [this] { ++m_nRequeries; };
    std::atomic<int> m_nRequeries{0};
    int m_nClockMoves = 0;
    std::function<void()> m_loadSymbolWords = [] {};
    CTimer m_timer{m_clock, [this] { return m_stop.get_token(); }};
    CRefresh m_refresh{
        {m_host, m_clock, m_state, m_settings, m_session, m_tables, m_storage, m_securities, m_contracts, m_timer,
         m_lockPass, m_eventSymbolLookUp, m_eventTimerIdle},
        {[this] { ++m_nCurrencyQueries; }, [this](std::uint32_t nTimerId) { m_arExpiryChecks.push_back(nTimerId); },
         [this] { m_processRequery(); }}};
    CStoreEvents m_events{
        {m_host, m_clock, m_state, m_settings, m_tables, m_parser.m_mapResetTime, m_contracts, m_refresh, m_lockPass,
         m_eventSymbolLookUp},
        {[this] { return m_stop.get_token(); }, [this] { m_loadSymbolWords(); }, [this] { ++m_nClockMoves; }}};
};

}  // namespace qvant::test
