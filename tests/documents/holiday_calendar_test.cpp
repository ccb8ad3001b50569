#include "documents/holiday_calendar.h"

#include <new>
#include <random>
#include <thread>

#include "documents/holiday_fixture.h"
#include "support/sanitizers.h"
#include "support/stop_limit.h"

namespace qvant::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;
using Clock = std::chrono::steady_clock;

constexpr std::int64_t PAUSE = 6'000'000;  ///< between two fetches

TEST_F(HolidayTest, ATextReachesTheTableTheStorageAndTheDatabase) {
    Fetch();
    EXPECT_EQ(GetWorking(u"20240101"), u"H,CME|CBOT");
    EXPECT_EQ(GetWorking(u"20240102"), u"E,HKF");
    EXPECT_EQ(GetKept(u"20240101"), u"H,CME|CBOT");
    EXPECT_THAT(QueryRows(), ElementsAre("20240101/H/CME|CBOT", "20240102/E/HKF"));
    EXPECT_THAT(Query("SELECT Name, Version, Date, Hash FROM Version"),
                ElementsAre("Main/1.0.1.26/20260301/10d59c32bc72b5e31eb64d98735759ff"));
}

TEST_F(HolidayTest, TheLogTellsOfEachStep) {
    Start();
    m_host.Forget();
    Fetch();
    const std::string strUrl = Narrow(m_server.GetUrl()) + "OBHoliday.txt";
    EXPECT_THAT(m_host.GetLog(),
                ElementsAre("GetHoliday Begin", strUrl, StartsWith("GetHoliday Update:Main,1.0.1.26,20260301,"),
                            "GetHoliday End"));
    m_host.Forget();
    Fetch();
    EXPECT_THAT(m_host.GetLog(), ElementsAre("GetHoliday Begin", strUrl, "GetHoliday End"));
}

TEST_F(HolidayTest, TheQueryAsksForNoCompressionAndTakesThePathAsItStands) {
    Start().SetTradingDayURL(m_server.GetUrl() + u"hx-bin/File.cgi?ARG=/Velmora/Hexquote/bin/OBHoliday.txt");
    Fetch();
    EXPECT_THAT(m_server.GetTargets(), ElementsAre("/hx-bin/File.cgi?ARG=/Velmora/Hexquote/bin/OBHoliday.txt"));
}

TEST_F(HolidayTest, TheSameTextWritesNothing) {
    Fetch();
    const auto nStamp = std::filesystem::last_write_time(GetFile());
    m_host.Set(u"Holiday", {{u"20240101", u"mine"}});
    m_clock.SetNow(platform::FromUtc({.nYear = 2026, .nMonth = 3, .nDay = 2}));
    Fetch();
    EXPECT_EQ(GetWorking(u"20240101"), u"mine");
    EXPECT_EQ(std::filesystem::last_write_time(GetFile()), nStamp);
    EXPECT_THAT(Query("SELECT Date FROM Version"), ElementsAre("20260301"));
}

TEST_F(HolidayTest, OneOtherByteRewritesAllRows) {
    Fetch();
    const auto arOld = Query("SELECT Hash FROM Version");
    m_host.Set(u"Holiday", {{u"20240101", u"mine"}, {u"20250101", u"mine"}});
    m_clock.SetNow(platform::FromUtc({.nYear = 2026, .nMonth = 3, .nDay = 2}));
    Fetch("20240101\tH\tCME,CBOT\r\n20240102\tE\tHKG\r\n");
    EXPECT_THAT(GetDates(), UnorderedElementsAre(u"20240101", u"20240102"));
    EXPECT_EQ(GetWorking(u"20240101"), u"H,CME|CBOT");
    EXPECT_EQ(GetKept(u"20240102"), u"E,HKG");
    EXPECT_EQ(GetKept(u"20250101"), u"");
    EXPECT_THAT(QueryRows(), ElementsAre("20240101/H/CME|CBOT", "20240102/E/HKG"));
    EXPECT_THAT(Query("SELECT Date FROM Version"), ElementsAre("20260302"));
    EXPECT_NE(Query("SELECT Hash FROM Version"), arOld);
}

TEST_F(HolidayTest, OfTwoLinesOfADayBothAreRowsAndTheLaterOneIsInTheTable) {
    Fetch("20240101\tH\tCME\r\n20240101\tE\tCBOT");
    EXPECT_EQ(GetWorking(u"20240101"), u"E,CBOT");
    EXPECT_THAT(QueryRows(), ElementsAre("20240101/H/CME", "20240101/E/CBOT"));
}

TEST_F(HolidayTest, ATextThatIsNoCalendarEmptiesIt) {
    Fetch();
    Fetch("<html>welcome</html>");
    EXPECT_THAT(GetDates(), IsEmpty());
    EXPECT_EQ(GetKept(u"20240101"), u"");
    EXPECT_THAT(QueryRows(), IsEmpty());
}

TEST_F(HolidayTest, ReadersSeeTheOldOrTheNewCalendarAndNothingBetween) {
    Fetch();
    const auto pReader = m_host.Open(u"Holiday");
    std::atomic<bool> bEnd{false};
    std::atomic<int> nTorn{0};
    platform::CThread reader;
    ASSERT_TRUE(reader.Start("reader", [&] {
        while (!bEnd) {
            const auto nDates = GetDates(*pReader).size();
            if (nDates != 2 && nDates != 500) ++nTorn;
        }
    }));
    std::string strMany;
    for (int i = 0; i < 500; ++i) strMany += std::to_string(20240000 + i) + "\tH\tCME\r\n";
    for (int nRound = 0; nRound < 10; ++nRound) {
        Fetch(strMany);
        Fetch("20240101\tH\tCME,CBOT\r\n20240102\tE\tHKF\r\n");
    }
    bEnd = true;
    reader.StopAndJoin();
    EXPECT_EQ(nTorn, 0);
}

TEST_F(HolidayTest, ALineWithCommasInItsFieldsHarmsNoOther) {
    Fetch("20240101\tH\tCME\r\n2024,0102\tA,B\tCME,CBOT\r\n20240103\tH\tCME\r\n");
    EXPECT_EQ(GetWorking(u"20240101"), u"H,CME");
    EXPECT_EQ(GetWorking(u"2024,0102"), u"A,B,CME|CBOT");
    EXPECT_EQ(GetWorking(u"20240103"), u"H,CME");
    EXPECT_THAT(QueryRows(), ElementsAre("20240101/H/CME", "2024/0102/A", "20240103/H/CME"));
    EXPECT_THAT(Query("SELECT COUNT(*) FROM Version"), ElementsAre("1"));
}

TEST_F(HolidayTest, ExchangesThatLookLikeASeparatorAreKeptAsTheyAre) {
    Fetch("20240101\tH\tCME,,;\r\n20240102\tH\tCME,,\r\n20240103\tH\t,,,\r\n20240104\t||;\tCME\r\n20240105\tH\t\r\n");
    EXPECT_THAT(QueryRows(), ElementsAre("20240101/H/CME||;", "20240102/H/CME||", "20240103/H/|||", "20240104/||;/CME",
                                         "20240105/H/"));
    EXPECT_EQ(GetWorking(u"20240103"), u"H,|||");
}

TEST_F(HolidayTest, WideTextWithItsMarkIsTheSameCalendar) {
    const Text strText = u"20240101\tH\tCME,CBOT\r\n20240102\tE\t交易所";
    Fetch(Narrow(strText));
    const auto arHash = Query("SELECT Hash FROM Version");
    m_host.Forget();
    Fetch("\xFF\xFE" + ToUtf16Bytes(strText));
    EXPECT_FALSE(m_host.HasLogged("GetHoliday Update:"));
    Fetch("\xEF\xBB\xBF" + Narrow(strText));
    EXPECT_EQ(Query("SELECT Hash FROM Version"), arHash);
    EXPECT_EQ(GetWorking(u"20240102"), u"E,交易所");
    EXPECT_THAT(QueryRows(), Contains("20240102/E/交易所"));
    EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("GetHoliday Update:"))));
}

TEST_F(HolidayTest, ATextEndsAtItsFirstNul) {
    using namespace std::string_literals;
    Fetch("20240101\tH\tCME\r\n20240102\tH\tC\0BOT\r\n20240103\tH\tCME"s);
    EXPECT_THAT(QueryRows(), ElementsAre("20240101/H/CME", "20240102/H/C"));
    Fetch("\xFF\xFE" + ToUtf16Bytes(u"20240104\tH\tCME\0\r\n20240105\tH\tCME"s) + "x");
    EXPECT_THAT(QueryRows(), ElementsAre("20240104/H/CME"));
}

TEST_F(HolidayTest, RandomBytesAreReadAsFarAsTheyHaveRows) {
    std::minstd_rand random(815);
    for (int nRound = 0; nRound < 50; ++nRound) {
        std::string strBytes(1 + random() % 3000, '\0');
        for (char& c : strBytes) c = random() % 5 == 0 ? "\r\n\t,|"[random() % 5] : static_cast<char>(random());
        m_host.Forget();
        Fetch(strBytes);
        EXPECT_EQ(m_host.GetLog().back(), "GetHoliday End");
        EXPECT_TRUE(m_eventHolidayReady.IsSet());
    }
    Fetch("20240101\tH\tCME");
    EXPECT_THAT(QueryRows(), ElementsAre("20240101/H/CME"));
}

TEST_F(HolidayTest, AMillionLinesAreTakenOverInTimeInProportion) {
    Start();
    const auto measure = [this](int nLines) {
        std::string strText;
        for (int i = 0; i < nLines; ++i) strText += std::to_string(10'000'000 + i) + "\tH\tCME,CBOT\r\n";
        const auto start = Clock::now();
        Fetch(strText);
        return Clock::now() - start;
    };
    const auto few = measure(A_MILLION / 10);
    const auto many = measure(A_MILLION);
    EXPECT_THAT(Query("SELECT COUNT(*) FROM Holiday"), ElementsAre(std::to_string(A_MILLION)));
    EXPECT_EQ(GetKept(Widen(std::to_string(10'000'000 + A_MILLION - 1))), u"H,CME|CBOT");
    EXPECT_LT(many, few * 25 + std::chrono::seconds(2));
}

TEST_F(HolidayTest, TheFirstUrlThatAnswersCountsAndNothingIsPosted) {
    Start().SetTradingDayURL(u"http://127.0.0.1:1/a|" + m_server.GetUrl() + u"b|" + m_server.GetUrl() + u"c");
    m_host.Forget();
    Fetch();
    EXPECT_THAT(m_server.GetTargets(), ElementsAre("/b"));
    EXPECT_THAT(m_host.GetLog(), ElementsAre("GetHoliday Begin", "http://127.0.0.1:1/a",
                                             "GetHoliday fail:", Narrow(m_server.GetUrl()) + "b",
                                             StartsWith("GetHoliday Update:"), "GetHoliday End"));
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(StartsWith("ReportError"))));
}

TEST_F(HolidayTest, WhenNoneAnswersTheLastErrorIsToldAndBothCopiesStand) {
    Fetch();
    m_server.SetAnswer("down", 503);
    m_calendar->SetTradingDayURL(m_server.GetUrl() + u"|http://127.0.0.1:1/");
    m_host.Forget();
    Fetch();
    EXPECT_THAT(m_host.GetLog(),
                ElementsAre("GetHoliday Begin", Narrow(m_server.GetUrl()), "GetHoliday fail:", "http://127.0.0.1:1/",
                            "GetHoliday fail:", "GetHoliday End", "PostErrorMsg:InternetOpenUrl Fail, Error : 12029"));
    EXPECT_THAT(m_host.GetSaid(), Contains(HasSubstr("\"MsgCode\" : -108")).Times(1));
    EXPECT_EQ(GetWorking(u"20240101"), u"H,CME|CBOT");
    EXPECT_THAT(QueryRows(), ElementsAre("20240101/H/CME|CBOT", "20240102/E/HKF"));
}

TEST_F(HolidayTest, WithoutAUrlTheDefaultSourceOfTheHostCounts) {
    const Text strUrl = m_server.GetUrl();
    Start().SetTradingDayURL(u"");
    m_calendar->SetDefaultHost(strUrl.substr(7, strUrl.size() - 8));
    Fetch();
    EXPECT_THAT(m_server.GetTargets(), ElementsAre("/hx-bin/File.cgi?ARG=/Velmora/Hexquote/bin/OBHoliday.txt"));
    EXPECT_EQ(GetWorking(u"20240102"), u"E,HKF");
}

TEST_F(HolidayTest, WithoutAUrlAndAHostNothingIsFetched) {
    for (const TextView strUrls : {u"", u"||"}) {
        Start().SetTradingDayURL(Text(strUrls));
        m_host.Forget();
        Fetch();
        EXPECT_THAT(m_host.GetLog(), ElementsAre("GetHoliday Begin", "GetHoliday End"));
    }
    EXPECT_THAT(m_server.GetTargets(), IsEmpty());
}

TEST_F(HolidayTest, AHostWithoutTheTableHasTheDatabaseAllTheSame) {
    m_host.DropTable(u"Holiday");
    Start();
    ASSERT_EQ(m_pHoliday, nullptr);
    Fetch();
    EXPECT_THAT(QueryRows(), ElementsAre("20240101/H/CME|CBOT", "20240102/E/HKF"));
}

TEST_F(HolidayTest, AHostWithoutStorageHasTheTable) {
    m_host.DropTable(u"STORAGE");
    Fetch();
    EXPECT_EQ(GetWorking(u"20240101"), u"H,CME|CBOT");
    m_host.MakeTable(u"STORAGE");
    m_storage.InitContractList(nullptr);
    EXPECT_EQ(GetKept(u"20240101"), u"H,CME|CBOT") << "the record is made once there is a place for it";
}

TEST_F(HolidayTest, TheEventIsUnsignalledWhileAFetchRuns) {
    m_server.Hang();
    Start();
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("holiday", [this] { Fetch(); }));
    m_server.WaitForQuery();
    EXPECT_FALSE(m_eventHolidayReady.IsSet());
    thread.RequestStop();
    EXPECT_EQ(m_eventHolidayReady.WaitFor(std::chrono::seconds(20)), platform::WaitResult::Signalled);
}

TEST_F(HolidayTest, AStopEndsASilentServersFetchAtOnceAndNobodyIsTold) {
    Fetch();
    m_server.Hang();
    platform::CThread thread;
    m_host.Forget();
    ASSERT_TRUE(thread.Start(
        "holiday", [this] { m_calendar->Run(m_pHoliday.get()); }, platform::Priority::Lowest));
    m_server.WaitForQueries(2);
    const auto start = Clock::now();
    thread.StopAndJoin();
    EXPECT_LT(Clock::now() - start, STOP_LIMIT);
    EXPECT_EQ(m_host.GetLog().back(), "GetHoliday End");
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(StartsWith("ReportError"))));
    EXPECT_EQ(GetWorking(u"20240101"), u"H,CME|CBOT");
}

TEST_F(HolidayTest, AStopInTheMiddleOfTheWritingLeavesBothCopiesAsTheyWere) {
    Fetch();
    std::string strText;
    for (int i = 0; i < 1'000'000; ++i) strText += std::to_string(10'000'000 + i) + "\tH\tCME,CBOT\r\n";
    m_server.SetAnswer(strText);
    m_host.Forget();
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("holiday", [this] { Fetch(); }));
    ASSERT_TRUE(m_host.WaitForLog("GetHoliday Update:"));
    const auto start = Clock::now();
    thread.StopAndJoin();
    EXPECT_LT(Clock::now() - start, STOP_LIMIT);
    EXPECT_EQ(GetWorking(u"20240101"), u"H,CME|CBOT");
    EXPECT_EQ(GetKept(u"20240102"), u"E,HKF");
    EXPECT_THAT(QueryRows(), ElementsAre("20240101/H/CME|CBOT", "20240102/E/HKF"));
    Fetch("20240103\tH\tCME");
    EXPECT_THAT(QueryRows(), ElementsAre("20240103/H/CME")) << "the batch that was given up is in nobody's way";
    EXPECT_EQ(GetKept(u"20240103"), u"H,CME");
}

/// A host that has no memory left for the log line that begins so.
class CExhaustedHost : public CTestHost {
public:
    void LogMessage(TextView strText) override {
        if (!m_strFails.empty() && strText.starts_with(m_strFails)) throw std::bad_alloc();
        CTestHost::LogMessage(strText);
    }
    Text m_strFails;
};

TEST_F(HolidayTest, AFailureInTheMiddleStillEndsTheFetchAndTheNextOneSucceeds) {
    CExhaustedHost host;
    CBaseData& working = host.MakeTable(u"Holiday");
    CErrorReport errors(host, m_clock);
    CHolidayCalendar calendar({host, m_receiver, m_session, errors, m_storage, m_clock, m_eventHolidayReady});
    ASSERT_EQ(calendar.OpenHolidayDb(m_folder / "home/", u"Sample"), 1);
    calendar.SetTradingDayURL(u"http://127.0.0.1:1/|" + m_server.GetUrl());
    for (const Text strFails : {u"GetHoliday Begin", u"http", u"GetHoliday fail:", u"GetHoliday Update:"}) {
        host.Forget();
        host.m_strFails = strFails;
        calendar.GetHoliday(&working);
        EXPECT_THAT(host.GetLog(), Contains("GetHoliday End")) << Narrow(strFails);
        EXPECT_TRUE(m_eventHolidayReady.IsSet());
        EXPECT_EQ(working.GetString(u"20240101"), u"");
        const bool bTold = strFails == u"GetHoliday fail:";
        EXPECT_EQ(host.HasLogged("PostErrorMsg:InternetOpenUrl Fail, Error : 12029"), bTold) << Narrow(strFails);
    }
    host.m_strFails = u"GetHoliday End";
    calendar.GetHoliday(&working);
    EXPECT_TRUE(m_eventHolidayReady.IsSet());
    EXPECT_EQ(working.GetString(u"20240101"), u"H,CME|CBOT");
}

TEST_F(HolidayTest, TheLoopFetchesEveryHundredMinutesUntilItIsToldToStop) {
    Start();
    platform::CThread thread;
    ASSERT_TRUE(thread.Start(
        "holiday", [this] { m_calendar->Run(m_pHoliday.get()); }, platform::Priority::Lowest));
    m_clock.WaitForSleepers(1);
    for (std::size_t nRound = 1; nRound <= 100; ++nRound) {
        m_clock.Advance(PAUSE - 1);
        EXPECT_EQ(m_server.GetTargets().size(), nRound);
        m_clock.Advance(1);
        EXPECT_EQ(m_server.GetTargets().size(), nRound + 1);
    }
    thread.StopAndJoin();
    EXPECT_EQ(m_server.GetTargets().size(), 101u);
}

TEST_F(HolidayTest, TheLoopOutlivesFetchesThatFail) {
    Start();
    m_server.SetAnswer("down", 500);
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("holiday", [this] { m_calendar->Run(m_pHoliday.get()); }));
    m_clock.WaitForSleepers(1);
    for (int nRound = 0; nRound < 3; ++nRound) m_clock.Advance(PAUSE);
    m_server.SetAnswer("20240101\tH\tCME");
    m_clock.Advance(PAUSE);
    EXPECT_EQ(GetWorking(u"20240101"), u"H,CME");
}

}  // namespace
}  // namespace qvant::test
