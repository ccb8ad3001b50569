#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "documents/answering_server.h"
#include "service_fixture.h"
#include "support/stop_limit.h"

namespace qvant::test {
namespace {

using ::testing::Contains;
using ::testing::Not;
using ::testing::StartsWith;
using Clock = std::chrono::steady_clock;

class HolidayServiceTest : public ServiceTest {
protected:
    HolidayServiceTest() {
        m_host.MakeTable(u"Holiday");
        m_files.SetAnswer("20240101\tH\tCME,CBOT\r\n");
        PermitHolidays(m_files.GetUrl() + u"OBHoliday.txt");
    }

    void PermitHolidays(const Text& strUrls) {
        m_host.Set(u"PERMISSIONS.LUMIVale",
                   {{u"LUMIValeURL", m_server.GetUrl()}, {u"InfoListType", u"ALL"}, {u"TradingDayURL", strUrls}});
    }
    void SignInAndFetch() {
        SignIn();
        EXPECT_TRUE(m_host.WaitForLog("GetHoliday End"));
    }
    Text GetHoliday() { return m_host.Get(u"Holiday", u"20240101"); }

    CAnsweringServer m_files;
};

TEST_F(HolidayServiceTest, SignInBringsTheHolidaysAndKeepsThemForTheNextStart) {
    SignInAndFetch();
    EXPECT_EQ(GetHoliday(), u"H,CME|CBOT");
    Leave();
    m_host.DropTable(u"Holiday");
    m_host.MakeTable(u"Holiday");
    m_files.SetAnswer("down", 500);
    Load();
    SignIn();
    EXPECT_EQ(GetHoliday(), u"H,CME|CBOT");
    Leave();
}

TEST_F(HolidayServiceTest, WithoutAStorageTheNextStartTakesThemFromTheDatabase) {
    SignInAndFetch();
    Leave();
    for (const auto* pszTable : {u"Holiday", u"STORAGE"}) {
        m_host.DropTable(pszTable);
        m_host.MakeTable(pszTable);
    }
    m_files.SetAnswer("down", 500);
    Load();
    SignIn();
    EXPECT_EQ(GetHoliday(), u"H,CME|CBOT");
    EXPECT_EQ(m_host.Open(u"STORAGE")->GetSubTable(u"Holiday", nullptr)->GetString(u"20240101"), u"H,CME|CBOT");
    Leave();
}

TEST_F(HolidayServiceTest, WithoutAUrlTheDefaultSourceOfTheSettingsCounts) {
    const std::string strUrl = Narrow(m_files.GetUrl());
    m_folder.Write("terminal/ComShared/CustomSetting.ini",
                   "[LUMIVale]\r\nHolidayHost=" + strUrl.substr(7, strUrl.size() - 8) + "\r\n");
    PermitHolidays(u"");
    SignInAndFetch();
    EXPECT_THAT(m_files.GetTargets(), Contains("/hx-bin/File.cgi?ARG=/Velmora/Hexquote/bin/OBHoliday.txt"));
    EXPECT_EQ(GetHoliday(), u"H,CME|CBOT");
    Leave();
}

TEST_F(HolidayServiceTest, ASecondSignInEndsTheLoopOfTheFirstOne) {
    m_files.Hang();
    SignIn();
    m_files.WaitForQuery();
    const auto start = Clock::now();
    EXPECT_EQ(Status(SYSTEM_STATUS_LOGIN), S_OK);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
    while (m_files.GetTargets().size() < 2) std::this_thread::yield();
    EXPECT_THAT(m_host.GetLog(), Contains("GetHoliday End").Times(1));
    Leave();
    EXPECT_THAT(m_host.GetLog(), Contains("GetHoliday End").Times(2));
}

TEST_F(HolidayServiceTest, StopAndExitCutAHangingFetchShortAndANewSignInFetchesAgain) {
    m_files.Hang();
    SignIn();
    m_files.WaitForQuery();
    const auto start = Clock::now();
    Leave();
    EXPECT_LT(Clock::now() - start, STOP_LIMIT);
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(StartsWith("ReportError"))));

    CAnsweringServer other;
    other.SetAnswer("20240101\tE\tHKF");
    PermitHolidays(other.GetUrl());
    m_host.Forget();
    SignInAndFetch();
    EXPECT_EQ(GetHoliday(), u"E,HKF");
    EXPECT_EQ(Status(SYSTEM_STATUS_STOP), S_OK);
    m_host.Forget();
    EXPECT_EQ(Status(SYSTEM_STATUS_LOGIN), S_OK);
    EXPECT_TRUE(m_host.WaitForLog("GetHoliday End")) << "a stop isn't the end of the object";
    Leave();
}

TEST_F(HolidayServiceTest, AServiceDestroyedInTheMiddleOfAFetchLeavesNothingRunning) {
    m_files.Hang();
    SignIn();
    m_files.WaitForQuery();
    const auto start = Clock::now();
    m_service.reset();
    EXPECT_LT(Clock::now() - start, STOP_LIMIT);
}

}  // namespace
}  // namespace qvant::test
