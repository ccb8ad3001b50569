/// The holiday calendar in a home folder of its own, with real tables, a real database and a real server.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "base/split.h"
#include "documents/answering_server.h"
#include "documents/holiday_calendar.h"
#include "platform/stop.h"
#include "platform/thread.h"
#include "support/driven_clock.h"
#include "support/scratch_folder.h"
#include "support/test_host.h"

namespace qvant::test {

class HolidayTest : public ::testing::Test {
protected:
    HolidayTest() {
        m_host.MakeTable(u"STORAGE");
        m_host.MakeTable(u"Holiday");
        m_server.SetAnswer("20240101\tH\tCME,CBOT\r\n20240102\tE\tHKF\r\n");
    }

    /// A start of the service up to the end of sign-in; a calendar that is there ends first. The store's tables stay.
    CHolidayCalendar& Start() {
        m_pHoliday.reset();
        m_calendar.emplace(
            HolidayParts{m_host, m_receiver, m_session, m_errors, m_storage, m_clock, m_eventHolidayReady});
        EXPECT_EQ(m_calendar->OpenHolidayDb(m_folder / "home/", u"Sample"), 1);
        m_calendar->SetTradingDayURL(m_server.GetUrl() + u"OBHoliday.txt");
        m_storage.InitContractList(nullptr);
        m_pHoliday = m_host.Open(u"Holiday");
        return *m_calendar;
    }
    void Fetch() {
        if (!m_calendar) Start();
        m_calendar->GetHoliday(m_pHoliday.get());
    }
    /// Fetches a text of its own.
    void Fetch(const std::string& strText) {
        m_server.SetAnswer(strText);
        Fetch();
    }

    Text GetWorking(TextView strDate) { return m_host.Get(u"Holiday", strDate); }
    Text GetKept(TextView strDate) {
        return m_host.Open(u"STORAGE")->GetSubTable(u"Holiday", nullptr)->GetString(strDate);
    }
    std::vector<Text> GetDates(const CBaseData& table) {
        std::vector<Text> arDates = SplitTokens(table.GetKeys().value_or(Text()), u";");
        for (Text& strDate : arDates) strDate.erase(0, 2);
        return arDates;
    }
    std::vector<Text> GetDates() { return GetDates(*m_host.Open(u"Holiday")); }

    /// A query by another program: each row's columns joined by "|".
    std::vector<std::string> Query(const std::string& strSql) const {
        std::vector<std::string> arRows;
        sqlite3* pConnection = nullptr;
        EXPECT_EQ(sqlite3_open(GetFile().c_str(), &pConnection), SQLITE_OK);
        const auto add = [](void* pRows, int nColumns, char** pValues, char**) {
            std::string strRow;
            for (int i = 0; i < nColumns; ++i) strRow.append(i ? "/" : "").append(pValues[i] ? pValues[i] : "");
            static_cast<std::vector<std::string>*>(pRows)->push_back(strRow);
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(pConnection, strSql.c_str(), add, &arRows, nullptr), SQLITE_OK) << strSql;
        sqlite3_close(pConnection);
        return arRows;
    }
    std::vector<std::string> QueryRows() const { return Query("SELECT * FROM Holiday"); }
    std::filesystem::path GetFile() const { return m_folder.GetPath() / "home/Data/API/OBHoliday.db"; }

    class CReceiver : public CDataBaseEventReceiver {
    public:
        void OnWriteLog(const Text& strLine) override { m_arLines.push_back(Narrow(strLine)); }
        std::vector<std::string> m_arLines;
    };

    CScratchFolder m_folder;
    CEnvironment m_home{"LUMIVALE_HOME", (m_folder.GetPath() / "home").string()};
    CTestHost m_host;
    CReceiver m_receiver;
    CAnsweringServer m_server;
    CDrivenClock m_clock{platform::FromUtc({.nYear = 2026, .nMonth = 3, .nDay = 1, .nHour = 23, .nMinute = 59})};
    RunState m_state;
    CSession m_session{m_clock};
    CErrorReport m_errors{m_host, m_clock};
    std::optional<CHolidayCalendar> m_calendar;
    CStorageTables m_storage{
        m_host, m_state, {.fillHolidays = [this](CBaseData& child) { m_calendar->FillFromDatabase(child); }}};
    platform::CEvent m_eventHolidayReady{platform::CEvent::Reset::Manual, true};
    std::unique_ptr<CBaseData> m_pHoliday;
};

}  // namespace qvant::test
