#include "service/topics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/profile.h"
#include "service_fixture.h"
#include "store/variant.h"
#include "support/scratch_folder.h"
#include "support/test_host.h"
#include "support/threads.h"

namespace qvant::test {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

/// The dispatcher with real parts; the work that it hands on is written down.
class Topics : public ::testing::Test {
protected:
    Topics() {
        m_settings.SetHomeDir(m_folder / "");
        m_folder.Write("Configs/LUMIVale.ini",
                       "[LUMIVale]\r\nVersion=7\r\nContractVersion=FUT:1|\r\nLUMIValeURL=http://server/\r\n");
        m_host.MakeTable(u"LUMIVALE.REQUEST");
        m_host.MakeTable(u"STORAGE");
        m_stockInfo.m_mapStockLimits[u"QV.S.SSE.600000"] = {1'000'000, 900'000, 100, 1, 0};
    }

    void Send(TextView strTopic, std::int32_t nParameter, TextView strText, VARIANT* pData = nullptr) {
        m_topics.OnTopicCommand(strTopic, 5, nParameter, strText, pData);
    }
    /// What the thread was given, once it has come to the end of it.
    std::vector<std::string> GetHandedOver() {
        m_history.HandOver(WM_QUERY_CQYZ, u"end");
        std::unique_lock lock(m_mutex);
        const auto hasEnded = [this] { return !m_arDone.empty() && m_arDone.back() == "2261 end"; };
        EXPECT_TRUE(m_done.wait_for(lock, std::chrono::seconds(20), hasEnded));
        auto arDone = m_arDone;
        if (hasEnded()) arDone.pop_back();
        return arDone;
    }
    void Note(std::uint32_t nMessage, const Text& strText) {
        const std::lock_guard lock(m_mutex);
        m_arDone.push_back(std::to_string(nMessage).append(" ").append(Narrow(strText)));
        m_done.notify_all();
    }
    void Forget() {
        const std::lock_guard lock(m_mutex);
        m_arDone.clear();
    }
    Text ReadSetting(TextView strKey) {
        return platform::GetProfileText(u"LUMIVale", strKey, u"?", 256, m_folder / "Configs/LUMIVale.ini");
    }
    std::int32_t CountVersions() {
        return CRecordQuery(*m_databases.GetSearch(), m_databases.GetResults(), VERSION_TABLE).GetCount();
    }
    void OpenDatabase() {
        m_databases.OpenSearch(m_folder / "", u"Test");
        m_databases.GetSearch()->InsertRecord(VERSION_TABLE, VERSION_FIELDS, u"Security,7");
        m_databases.GetSearch()->InsertRecord(VERSION_TABLE, VERSION_FIELDS, u"Lang,ENG");
        ASSERT_EQ(CountVersions(), 2);
    }

    CScratchFolder m_folder;
    CEnvironment m_home{"LUMIVALE_HOME", m_folder.GetPath().string()};
    CTestHost m_host;
    RunState m_state;
    CSettings m_settings;
    CSession m_session{platform::MachineClock()};
    CServerList m_servers;
    CErrorReport m_errors{m_host, platform::MachineClock()};
    CStorageTables m_storage{m_host, m_state, {}};
    CStockInfo m_stockInfo{{m_host, m_session, m_servers, m_errors, m_state}};
    CDataBaseEventReceiver m_databaseLog;
    CRecordDatabases m_databases{m_host, m_databaseLog};
    std::mutex m_mutex;
    std::condition_variable m_done;
    std::vector<std::string> m_arDone{""};
    std::vector<std::string> m_arEnqueued;
    CHistoryThread m_history{m_host,
                             {[this](const Text& str) { Note(WM_QUERY_CQYZ, str); }, [] {},
                              [this](const Text& str) { Note(WM_QUERY_BA, str); }, [] {}},
                             [] { return std::stop_token(); }};
    CTopics m_topics{{m_host, m_settings, m_storage, m_databases, m_stockInfo, m_history},
                     [this](TextView strTopic, TextView strSymbol) {
                         m_arEnqueued.push_back(Narrow(strTopic).append(" ").append(Narrow(strSymbol)));
                     }};
};

TEST_F(Topics, LeaveALineInTheLogWhateverTheyAre) {
    Send(u"Somebody.Elses", 7, u"a text");
    Send(u"hotchange.request", 0, u"QV.F.CME.ES");
    Send(u"", 0, u"");
    EXPECT_THAT(m_host.GetLog(), ElementsAre("strTopic=Somebody.Elses, lMsgTYPE=5, lParam=7, strParam=a text.",
                                             "strTopic=hotchange.request, lMsgTYPE=5, lParam=0, strParam=QV.F.CME.ES.",
                                             "strTopic=, lMsgTYPE=5, lParam=0, strParam=."));
    EXPECT_THAT(m_arEnqueued, IsEmpty()) << "the case of a topic counts";
    EXPECT_EQ(m_history.GetThreadId(), 0u);
}

TEST_F(Topics, OfUsersHotMonthsAreHandedOverWithAParameterOf1Alone) {
    Send(u"UpdateUDHotMonth", 0, u"ALL");
    EXPECT_THAT(m_host.GetLog(), ElementsAre("strTopic=UpdateUDHotMonth, lMsgTYPE=5, lParam=0, strParam=ALL."));
    EXPECT_EQ(m_history.GetThreadId(), 0u);
    Forget();
    Send(u"UpdateUDHotMonth", 1, u"ALL");
    Send(u"API_UpdateUDHotMonth", 1, u"QV.F.CME.ES.HOT_MINE");
    Send(u"API_UpdateUDHotMonth", 2, u"the service's own answer");
    Send(u"UpdateUDHotMonth", -1, u"x");
    EXPECT_THAT(GetHandedOver(), ElementsAre("2263 ALL", "2263 QV.F.CME.ES.HOT_MINE"));
}

TEST_F(Topics, OfFactorsAreHandedOverWithAnyParameter) {
    Forget();
    Send(u"CQYZ.REQUEST", 0, u"a");
    Send(u"API_CQYZ.REQUEST", 1, u"b");
    Send(u"API_DBHFQ.REQUEST", -7, u"c");
    EXPECT_THAT(GetHandedOver(), ElementsAre("2261 a", "2261 b", "2261 c"));
}

TEST_F(Topics, OfRollsAreAskedForOnceAndNeverForStocks) {
    Send(u"HOTCHANGE.REQUEST", 0, u"QV.F.CME.ES.202612");
    Send(u"HOTCHANGE.REQUEST", 0, u"QV.F.CME.ES.202612");
    Send(u"EXPIREDATE.REQUEST", 0, u"QV.F.CME.ES.202612");
    Send(u"EXPIREDATE.REQUEST", 0, u"QV.F.CME.NQ.202612");
    Send(u"HOTCHANGE.REQUEST", 0, u"QV.S.SSE.600000");
    EXPECT_THAT(m_arEnqueued,
                ElementsAre("HOTCHANGE.REQUEST QV.F.CME.ES.202612", "EXPIREDATE.REQUEST QV.F.CME.NQ.202612"));
    m_topics.BeginRun();
    Send(u"EXPIREDATE.REQUEST", 0, u"QV.F.CME.ES.202612");
    EXPECT_EQ(m_arEnqueued.back(), "EXPIREDATE.REQUEST QV.F.CME.ES.202612") << "a new run asks anew";
}

TEST_F(Topics, OfRollsThatComeBackAsAnswersAreLoggedAndDropped) {
    Send(u"HOTCHANGE.REQUEST", 1, u"QV.F.CME.ES.202612");
    Send(u"EXPIREDATE.REQUEST", 1, u"QV.F.CME.ES.202612");
    EXPECT_THAT(m_arEnqueued, IsEmpty());
    EXPECT_THAT(m_host.GetLog(),
                ElementsAre("strTopic=HOTCHANGE.REQUEST, lMsgTYPE=5, lParam=1, strParam=QV.F.CME.ES.202612.",
                            "strTopic=EXPIREDATE.REQUEST, lMsgTYPE=5, lParam=1, strParam=QV.F.CME.ES.202612."));
    Send(u"HOTCHANGE.REQUEST", 0, u"QV.F.CME.ES.202612");
    EXPECT_EQ(m_arEnqueued.size(), 1u) << "an answer doesn't count as asked for";
}

TEST_F(Topics, TakeSymbolsOfAnyLengthAndAnySigns) {
    Forget();
    const Text strLong(10'000, u'x');
    for (const Text& strSymbol :
         {strLong, Text(u"no dots"), Text(u"../../x"), Text{char16_t{1}, u'\n', char16_t{0xDC00}}, Text()}) {
        Send(u"HOTCHANGE.REQUEST", 0, strSymbol);
        Send(u"CQYZ.REQUEST", 0, strSymbol);
        Send(u"UpdateUDHotMonth", 1, strSymbol);
        CVariant data(strSymbol);
        Send(u"LUMIVALE.REQUEST", 0, u"STKINFO", &data);
    }
    EXPECT_EQ(m_arEnqueued.size(), 5u);
    EXPECT_EQ(GetHandedOver().size(), 10u);
    EXPECT_TRUE(m_host.HasLogged(Narrow(u"STKINFO empty:" + strLong)));
}

TEST_F(Topics, WithAResetHaveTheNextStartFetchEverything) {
    m_storage.InitContractList(nullptr);
    OpenDatabase();
    m_state.m_strVersion = Text(u"7");
    m_host.Forget();
    Send(u"LUMIVALE.REQUEST", 0, u"RESET");
    EXPECT_THAT(m_host.GetLog(), ElementsAre("RESET")) << "this topic logs its text alone";
    EXPECT_EQ(ReadSetting(u"Version"), u"");
    EXPECT_EQ(ReadSetting(u"ContractVersion"), u"");
    EXPECT_EQ(ReadSetting(u"LUMIValeURL"), u"http://server/");
    EXPECT_EQ(CountVersions(), 0);
    EXPECT_EQ(m_state.m_strVersion, u"7") << "this run goes on with what it has";
}

TEST_F(Topics, WithAResetBeforeASignInDoNothing) {
    OpenDatabase();
    Send(u"LUMIVALE.REQUEST", 0, u"RESET");
    EXPECT_EQ(ReadSetting(u"Version"), u"7");
    EXPECT_EQ(CountVersions(), 2);
    m_storage.InitContractList(nullptr);
    m_storage.ReleaseLumivale();
    Send(u"LUMIVALE.REQUEST", 0, u"RESET");
    EXPECT_EQ(ReadSetting(u"Version"), u"7") << "nor behind the end";
}

TEST_F(Topics, WithAResetDoWithoutADatabase) {
    m_storage.InitContractList(nullptr);
    Send(u"LUMIVALE.REQUEST", 0, u"RESET");
    EXPECT_EQ(ReadSetting(u"Version"), u"");
}

TEST_F(Topics, OfStockInfoAnswerThroughTheTable) {
    CVariant data(TextView(u"QV.S.SSE.600000"));
    Send(u"LUMIVALE.REQUEST", 0, u"STKINFO", &data);
    EXPECT_EQ(m_host.Get(u"LUMIVALE.REQUEST", u"QV.S.SSE.600000"), u"1000000|100|900000|1");
    EXPECT_EQ(data.vt, VT_BSTR);
    EXPECT_EQ(data.GetText(), u"QV.S.SSE.600000") << "the answer doesn't go through the call";
}

TEST_F(Topics, OfAnUnknownStockLeaveTheTableAsItWas) {
    m_host.Set(u"LUMIVALE.REQUEST", {{u"QV.S.SSE.1", u"old"}});
    CVariant data(TextView(u"QV.S.SSE.1"));
    Send(u"LUMIVALE.REQUEST", 0, u"STKINFO", &data);
    EXPECT_EQ(m_host.Get(u"LUMIVALE.REQUEST", u"QV.S.SSE.1"), u"old");
    EXPECT_THAT(m_host.GetLog(), ElementsAre("STKINFO", "STKINFO empty:QV.S.SSE.1"));
}

TEST_F(Topics, OfStockInfoMakeAStringOfWhateverTheyGet) {
    CVariant number(7);
    Send(u"LUMIVALE.REQUEST", 0, u"STKINFO", &number);
    EXPECT_EQ(number.vt, VT_BSTR);
    EXPECT_EQ(number.GetText(), u"");
    CVariant empty;
    Send(u"LUMIVALE.REQUEST", 0, u"STKINFO", &empty);
    EXPECT_EQ(empty.vt, VT_BSTR);
    Send(u"LUMIVALE.REQUEST", 0, u"STKINFO", nullptr);
    EXPECT_THAT(m_host.GetLog(), ElementsAre("STKINFO", "STKINFO empty:", "STKINFO", "STKINFO empty:", "STKINFO"));
}

TEST_F(Topics, OfStockInfoDoNothingWithoutTheTable) {
    m_host.DropTable(u"LUMIVALE.REQUEST");
    CVariant data(TextView(u"QV.S.SSE.600000"));
    Send(u"LUMIVALE.REQUEST", 0, u"STKINFO", &data);
    EXPECT_THAT(m_host.GetLog(), ElementsAre("STKINFO"));
}

TEST_F(Topics, WithAnyOtherRequestOnlyTellTheLog) {
    Send(u"LUMIVALE.REQUEST", 0, u"reset");
    Send(u"LUMIVALE.REQUEST", 0, u"");
    EXPECT_THAT(m_host.GetLog(), ElementsAre("reset", ""));
    EXPECT_EQ(ReadSetting(u"Version"), u"7");
}

constexpr const char* THREAD = "CQYZ";

/// Topics and timers in the whole service.
class TopicService : public ServiceTest {
protected:
    HRESULT Send(TextView strTopic, LONG nParameter, TextView strText, VARIANT* pData = nullptr) {
        return m_service->OnTopicCommand(strTopic, 0, nParameter, strText, pData);
    }
};

TEST_F(TopicService, ASignInHasTheUsersOwnHotMonthsReadAsItsLastStep) {
    SignIn();
    EXPECT_TRUE(m_host.HasLogged("strTopic=UpdateUDHotMonth, lMsgTYPE=1, lParam=1, strParam=ALL."));
    EXPECT_TRUE(m_host.WaitForLog("WM_QUERY_BA. msg.wParam=ALL."));
    EXPECT_EQ(CountThreads(THREAD), 1);
    Leave();
    EXPECT_TRUE(WaitForThreads(THREAD, 0));
}

TEST_F(TopicService, AnotherSignInOnTheSameObjectBeginsTheThreadAnew) {
    SignIn();
    ASSERT_TRUE(m_host.WaitForLog("WM_QUERY_BA. msg.wParam=ALL."));
    Status(SYSTEM_STATUS_STOP);
    m_host.Forget();
    EXPECT_EQ(Send(u"CQYZ.REQUEST", 0, u"QV.S.SSE.600000"), S_OK);
    EXPECT_TRUE(m_host.HasLogged("PostThreadMessage Fail! (WM_QUERY_CQYZ) ErrorCode:3")) << "not behind a stop";
    m_host.Forget();
    EXPECT_EQ(Status(SYSTEM_STATUS_LOGIN), S_OK);
    EXPECT_TRUE(m_host.WaitForLog("WM_QUERY_BA. msg.wParam=ALL."));
    EXPECT_EQ(Status(SYSTEM_STATUS_LOGIN), S_OK);
    EXPECT_TRUE(WaitForThreads(THREAD, 1));
    Leave();
    EXPECT_TRUE(WaitForThreads(THREAD, 0));
}

TEST_F(TopicService, AServiceThatIsDestroyedLeavesNoThread) {
    SignIn();
    m_service.reset();
    EXPECT_TRUE(WaitForThreads(THREAD, 0));
}

TEST_F(TopicService, AResetBringsAFullDownloadAtTheNextStart) {
    SignIn();
    EXPECT_EQ(ReadSetting(u"Version"), u"7");
    EXPECT_EQ(Send(u"LUMIVALE.REQUEST", 0, u"RESET"), S_OK);
    EXPECT_EQ(ReadSetting(u"Version"), u"");
    Leave();
    Load();
    m_host.Forget();
    const auto nBefore = m_server.GetTargets().size();
    Status(SYSTEM_STATUS_INIT);
    ASSERT_TRUE(m_host.WaitForLog("LoadSecuritiesInfo-End"));
    ASSERT_GT(m_server.GetTargets().size(), nBefore);
    EXPECT_THAT(m_server.GetTargets()[nBefore], ::testing::HasSubstr("lastVersion=-1&"));
    Leave();
}

TEST_F(TopicService, ATopicBeforeTheStartAndBehindTheEndIsTakenWithoutHarm) {
    CVariant data(TextView(u"QV.S.SSE.600000"));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Send(u"LUMIVALE.REQUEST", 0, u"RESET"), S_OK);
        EXPECT_EQ(Send(u"LUMIVALE.REQUEST", 0, u"STKINFO", &data), S_OK);
        EXPECT_EQ(Send(u"CQYZ.REQUEST", 0, u"QV.S.SSE.600000"), S_OK);
        EXPECT_EQ(Send(u"HOTCHANGE.REQUEST", 0, u"QV.F.CME.ES"), S_OK);
        SignIn();
        Leave();
    }
    EXPECT_TRUE(WaitForThreads(THREAD, 0));
}

}  // namespace qvant::test
