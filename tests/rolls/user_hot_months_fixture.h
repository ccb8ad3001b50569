/// The user's series in a home folder of their own, before a history server on loopback.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "rolls/history_server.h"
#include "rolls/user_hot_months.h"
#include "support/scratch_folder.h"
#include "support/test_host.h"
#include "symbols/manual_clock.h"
#include "symbols/symbol_grammar.h"

namespace qvant::test {

class UserHotMonthsTest : public ::testing::Test {
protected:
    static constexpr const char* FOLDER = "Data/UserDefHotMonth/";
    static constexpr const char* MINE = "QV.F.CME.ES.HOT_MINE";

    UserHotMonthsTest() {
        std::filesystem::create_directories(m_home.GetPath() / FOLDER);
        m_series.SetHomeDir(m_home / "");
    }
    ~UserHotMonthsTest() override { g_mapISymbolToQV.RemoveAll(); }

    void Serve(CHistoryServer::Closes mapCloses) {
        m_pServer = std::make_unique<CHistoryServer>(std::move(mapCloses));
        m_servers.Append(CRollServers::List::History, m_pServer->GetUrl());
    }
    /// Writes a definition file as of a time, in seconds since 1970.
    void Define(const std::string& strTitle, std::string_view strLines, std::int64_t nWritten = 1'608'429'600) const {
        const std::string strName = FOLDER + strTitle + ".udhm";
        m_home.Write(strName, strLines);
        SetWritten(strName, nWritten);
    }
    void SetWritten(const std::string& strName, std::int64_t nWritten) const {
        const timespec arTimes[] = {{nWritten, 0}, {nWritten, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, (m_home.GetPath() / strName).c_str(), arTimes, 0), 0);
    }
    std::string GetCompanion(const std::string& strTitle = MINE) const {
        return m_home.Read(FOLDER + strTitle + ".ba");
    }
    bool Exists(const std::string& strName) const { return std::filesystem::exists(m_home.GetPath() / strName); }

    /// Defines one file, reads it, and gives the lines of its companion behind the first.
    std::string LoadLines(std::string_view strLines, const std::string& strTitle = MINE) {
        Define(strTitle, strLines);
        m_series.LoadConfig(Widen(strTitle));
        const std::string strCompanion = GetCompanion(strTitle);
        return strCompanion.substr(strCompanion.find('\n') + 1);
    }
    std::int64_t GetReset(TextView strTitle = u"QV.F.CME.ES.HOT_MINE") const {
        std::int64_t nReset = -1;
        m_series.GetReset(strTitle, nReset);
        return nReset;
    }
    /// The titles whose companion was looked after, in order.
    std::vector<std::string> GetTold() const {
        constexpr std::string_view START = "SendTopic API_UpdateUDHotMonth 1 2 ";
        std::vector<std::string> arTold;
        for (const std::string& strLine : m_host.GetSaid()) {
            if (strLine.starts_with(START)) arTold.push_back(strLine.substr(START.size()));
        }
        return arTold;
    }
    void SetClock(std::int32_t nDate, std::int32_t nTime) {
        m_nDate = nDate;
        m_nTime = nTime;
    }

    CEnvironment m_zone{"TZ", "Asia/Taipei"};
    CScratchFolder m_home;
    CManualClock m_clock{2020, 12, 21, 8, 30, 0};
    std::int32_t m_nDate = 20201221;
    std::int32_t m_nTime = 83000;
    CTestHost m_host;
    CSession m_session{m_clock};
    CRollServers m_servers;
    CResetTimes m_resetTimes;
    CSymbolMapping m_mapping{m_host};
    CLastBars m_bars{{m_host, m_session, m_servers, m_mapping}, [this] { return m_nDate * 1'000'000LL + m_nTime; }};
    std::vector<Text> m_arPosted;
    CUserHotMonths m_series{{m_host, m_clock, m_resetTimes, m_bars},
                            {[this] { return m_nDate; }, [this] { return m_nTime; },
                             [this](const Text& strTitle) { m_arPosted.push_back(strTitle); }}};
    std::unique_ptr<CHistoryServer> m_pServer;
};

}  // namespace qvant::test
