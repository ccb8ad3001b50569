#include <atomic>
#include <chrono>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "base/format.h"
#include "platform/thread.h"
#include "rolling_data_fixture.h"
#include "support/limits.h"
#include "support/sanitizers.h"
#include "support/stop_limit.h"
#include "support/threads.h"

namespace qvant::test {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

using namespace std::string_literals;

constexpr const char* WORKER = "RollingData";

class RequeryTest : public RollingDataTest {
protected:
    /// The symbols that were queried, in their order.
    std::vector<std::string> GetQueried(const std::string& strQuery = "QueryHotChange") const {
        const std::string strStart = strQuery + ". strSymbol=";
        std::vector<std::string> arSymbols;
        for (const std::string& strLine : m_host.GetLog()) {
            if (!strLine.starts_with(strStart)) continue;
            arSymbols.push_back(strLine.substr(strStart.size(), strLine.size() - strStart.size() - 1));
        }
        return arSymbols;
    }
    /// Runs a pass. @return the products that it fetched, both files of each
    std::vector<std::string> Process() {
        m_host.Forget();
        m_data.ProcessRequeryData();
        EXPECT_EQ(m_host.GetLog().front(), "ProcessRequeryData.");
        EXPECT_EQ(m_host.GetLog().back(), "ProcessRequeryData End.");
        std::vector<std::string> arHot = GetQueried();
        for (std::string& strSymbol : arHot) {
            EXPECT_TRUE(strSymbol.ends_with(".HOT"));
            strSymbol.resize(strSymbol.size() - 4);
        }
        EXPECT_EQ(GetQueried("QueryExpireDate"), arHot);
        return arHot;
    }
    void SetHotMonth(TextView strMonth, TextView strKey = u"QV.F.CME.ES") {
        m_arHotMonths.push_back({Format(u"%s.%s", strKey, strMonth), Format(u"%s.HOT", strKey)});
    }
};

TEST_F(RequeryTest, EitherTopicFetchesBothFilesAndTellsBothTopics) {
    UseServer();
    for (const auto* pszTopic : {u"HOTCHANGE.REQUEST", u"EXPIREDATE.REQUEST"}) {
        m_host.Forget();
        m_data.EnqueueRequery(pszTopic, u"QV.F.CME.ES.HOT");
        ASSERT_TRUE(WaitForServed(u"QV.F.CME.ES.HOT"));
        EXPECT_THAT(m_host.GetSaid(), Contains("SendTopic HOTCHANGE.REQUEST 1 1 QV.F.CME.ES.HOT"));
        EXPECT_THAT(m_host.GetSaid(), Contains("SendTopic EXPIREDATE.REQUEST 1 1 QV.F.CME.ES.HOT"));
    }
    EXPECT_EQ(ReadHotChange(), "210000\r\n20201211->202103\r\n");
    EXPECT_EQ(ReadExpireDate(), "210000\r\n20210319->202103\r\n");
}

TEST_F(RequeryTest, AStockIsNeverAskedFor) {
    Enqueue(u"QV.S.SSE.600000");
    Enqueue(u"QV.F.CME.ES^QV.S.SSE.600000");
    Enqueue(u"QV.F.CME.ES");
    ASSERT_TRUE(WaitForServed(u"QV.F.CME.ES"));
    EXPECT_THAT(GetQueried(), ElementsAre("QV.F.CME.ES"));
}

TEST_F(RequeryTest, ASymbolThatWaitsOrIsWorkedOnIsNotTakenAgain) {
    UseServer();
    m_server.Hang();
    Enqueue(u"QV.F.CME.ES");
    m_server.WaitForQuery();
    Enqueue(u"QV.F.CME.ES");
    Enqueue(u"QV.F.CME.NQ");
    Enqueue(u"QV.F.CME.NQ");
    m_server.Release();
    ASSERT_TRUE(WaitForServed(u"QV.F.CME.NQ"));
    EXPECT_THAT(GetQueried(), ElementsAre("QV.F.CME.ES", "QV.F.CME.NQ"));
    m_host.Forget();
    Enqueue(u"QV.F.CME.ES");
    EXPECT_TRUE(WaitForServed(u"QV.F.CME.ES")) << "once it was served it may be asked for again";
}

TEST_F(RequeryTest, TheHotSymbolAndItsProductAreTwoRequestsForTheSameFiles) {
    UseServer();
    m_server.Hang();
    Enqueue(u"QV.F.CME.ES.HOT");
    m_server.WaitForQuery();
    Enqueue(u"QV.F.CME.ES");
    m_server.Release();
    m_server.WaitForQueries(4);
    m_data.StopAndJoin();
    EXPECT_THAT(GetQueried(), ElementsAre("QV.F.CME.ES.HOT", "QV.F.CME.ES"));
    EXPECT_EQ(ListAll().size(), 5U) << "three folders and two files";
}

TEST_F(RequeryTest, AThousandRequestsAreServedInTheirOrderByOneWorkerAtATime) {
    // Counted by what they do: the system shows a worker that was joined beside the next one for a moment.
    int nMostWorkers = 0;
    std::atomic<int> nWorkers = 0;
    m_host.onLog = [&](TextView strLine) {
        if (strLine.starts_with(u"QueryHotChange. ")) nMostWorkers = std::max(nMostWorkers, ++nWorkers);
        if (strLine.starts_with(u"QueryExpireDate End. ")) --nWorkers;
    };
    std::vector<std::string> arSymbols;
    for (int i = 0; i < 1'000; ++i) {
        arSymbols.push_back("QV.F.CME.P" + std::to_string(i));
        Enqueue(Widen(arSymbols.back()));
    }
    ASSERT_TRUE(WaitForServed(Widen(arSymbols.back())));
    m_data.StopAndJoin();
    EXPECT_EQ(GetQueried(), arSymbols);
    EXPECT_EQ(nMostWorkers, 1);
}

TEST_F(RequeryTest, AWorkerAtItsLastSymbolServesWhatComesMeanwhile) {
    UseServer();
    m_server.Hang();
    Enqueue(u"QV.F.CME.ES");
    m_server.WaitForQuery();
    Enqueue(u"QV.F.CME.NQ");
    EXPECT_EQ(CountThreads(WORKER), 1);
    m_server.Release();
    EXPECT_TRUE(WaitForServed(u"QV.F.CME.NQ"));
}

TEST_F(RequeryTest, AStopEndsTheFetchAtOnceAndForgetsWhatWaits) {
    UseServer();
    WriteHotChange("old");
    m_server.Hang();
    Enqueue(u"QV.F.CME.ES");
    Enqueue(u"QV.F.CME.NQ");
    m_server.WaitForQuery();
    const auto start = std::chrono::steady_clock::now();
    m_data.StopAndJoin();
    EXPECT_LT(std::chrono::steady_clock::now() - start, STOP_LIMIT);
    EXPECT_THAT(m_host.GetLog(),
                ElementsAre("QueryHotChange. strSymbol=QV.F.CME.ES.", StartsWith("QueryHotChange URL="),
                            "QueryHotChange Fail. strMsg=InternetOpenUrl Fail, Error : 12017",
                            "QueryHotChange End. strSymbol=QV.F.CME.ES."));
    EXPECT_EQ(ReadHotChange(), "old");
    EXPECT_TRUE(WaitForThreads(WORKER, 0));
    m_server.Release();
    m_host.Forget();
    Enqueue(u"QV.F.CME.ES");
    Enqueue(u"QV.F.CME.NQ");
    ASSERT_TRUE(WaitForServed(u"QV.F.CME.NQ"));
    EXPECT_THAT(GetQueried(), ElementsAre("QV.F.CME.ES", "QV.F.CME.NQ"));
}

TEST_F(RequeryTest, AWorkerThatWasToldToStopEndsByItself) {
    UseServer();
    m_server.Hang();
    Enqueue(u"QV.F.CME.ES");
    m_server.WaitForQuery();
    m_data.RequestStop();
    ASSERT_TRUE(WaitForThreads(WORKER, 0));
    m_server.Release();
    m_host.Forget();
    Enqueue(u"QV.F.CME.ES");
    EXPECT_TRUE(WaitForServed(u"QV.F.CME.ES"));
}

TEST_F(RequeryTest, ASymbolWhoseFilesBothCannotBeCreatedStaysPending) {
    UseServer();
    std::filesystem::remove(m_folder.GetPath() / "Qvant/HotChange");
    std::filesystem::remove(m_folder.GetPath() / "Qvant/ExpireDate");
    Enqueue(u"QV.F.CME.ES");
    ASSERT_TRUE(WaitForServed(u"QV.F.CME.ES"));
    std::filesystem::create_directory(m_folder.GetPath() / "Qvant/HotChange");
    std::filesystem::create_directory(m_folder.GetPath() / "Qvant/ExpireDate");
    m_host.Forget();
    Enqueue(u"QV.F.CME.ES");
    Enqueue(u"QV.F.CME.NQ");
    ASSERT_TRUE(WaitForServed(u"QV.F.CME.NQ"));
    EXPECT_THAT(GetQueried(), ElementsAre("QV.F.CME.NQ"));
}

TEST_F(RequeryTest, TheTwinLetsGoOfASymbolWhoseHotMonthsCannotBeWritten) {
    UseServer();
    std::filesystem::remove(m_folder.GetPath() / "Qvant/HotChange");
    for (int i = 0; i < 2; ++i) {
        m_host.Forget();
        Enqueue(u"QV.F.CME.ES");
        ASSERT_TRUE(WaitForServed(u"QV.F.CME.ES"));
        EXPECT_THAT(m_host.GetLog(), Contains(HasSubstr("OpenFile fail")));
        EXPECT_THAT(m_host.GetSaid(), Contains("SendTopic EXPIREDATE.REQUEST 1 1 QV.F.CME.ES"));
    }
}

TEST_F(RequeryTest, ASymbolLeavesThePendingSetBeforeItsAnswerGoesOut) {
    UseServer();
    bool bAgain = false;
    m_host.onTopic = [&](TextView strTopic) {
        if (strTopic == u"EXPIREDATE.REQUEST" && !std::exchange(bAgain, true)) Enqueue(u"QV.F.CME.ES");
    };
    Enqueue(u"QV.F.CME.ES");
    m_server.WaitForQueries(4);
    m_data.StopAndJoin();
    EXPECT_THAT(GetQueried(), ElementsAre("QV.F.CME.ES", "QV.F.CME.ES"));
}

/// In a process of its own, which gives up its rights and with them every further thread.
TEST_F(RequeryTest, WithoutAThreadTheListIsStuckUntilAStop) {
    if constexpr (UNDER_THREAD_SANITIZER) GTEST_SKIP() << "the sanitizer ends a process that gets no thread";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto request = [this] {
        constexpr uid_t NOBODY = 65'534;
        if (geteuid() == 0 && setuid(NOBODY) != 0) _exit(2);
        {
            const CLimit noThreads(RLIMIT_NPROC, 0);
            m_data.EnqueueRequery(u"EXPIREDATE.REQUEST", u"QV.F.CME.ES");
        }
        Enqueue(u"QV.F.CME.NQ");
        const std::vector<std::string> arExpected{
            "EXPIREDATE.REQUEST CreateThread fail. strParam=QV.F.CME.ES. GetLastError()=11."};
        if (m_host.GetLog() != arExpected || CountThreads(WORKER) != 0) _exit(1);
        m_data.StopAndJoin();
        Enqueue(u"QV.F.CME.NQ");
        _exit(WaitForServed(u"QV.F.CME.NQ") ? 0 : 3);
    };
    EXPECT_EXIT(request(), ::testing::ExitedWithCode(0), "");
}

TEST_F(RequeryTest, AProductWhoseFileTellsTheSameIsNotFetched) {
    UseServer();
    SetHotMonth(u"202103");
    for (const std::string& strFile :
         {"210000\r\n20201211->202103\r\n20200911->202012\r\n"s, "210000\n1->202103"s, "1->202103\r\n"s,
          "210000\r\n210000\r\n1->202103\r\n2->202106\r\nfurther\r\n"s, "210000\r\n"s, "210000\r\n210000\r\n"s, ""s}) {
        WriteHotChange(strFile);
        EXPECT_THAT(Process(), IsEmpty()) << strFile;
    }
    EXPECT_THAT(m_server.GetTargets(), IsEmpty());
}

TEST_F(RequeryTest, AProductWhoseHotMonthOrResetTimeMovedIsFetched) {
    UseServer();
    SetHotMonth(u"202103");
    for (const std::string& strFile :
         {"210000\r\n20201211->202012\r\n20200911->202103\r\n"s, "210000\r\n1->\r\n"s, "210000\r\n1->2021->03\r\n"s,
          "1->202103 \r\n"s, "220000\r\n1->202103\r\n"s, "0\r\n1->202103\r\n"s, "\r\n210000\r\n1->202103\r\n"s,
          "210000\r\n210000 \r\n1->202103\r\n"s, "\xFF\xFE"s}) {
        WriteHotChange(strFile);
        EXPECT_THAT(Process(), ElementsAre("QV.F.CME.ES")) << strFile;
        EXPECT_EQ(ReadHotChange(), "210000\r\n20201211->202103\r\n");
    }
    EXPECT_EQ(ReadExpireDate(), "210000\r\n20210319->202103\r\n");
    EXPECT_THAT(m_host.GetSaid(), Contains("SendTopic HOTCHANGE.REQUEST 1 1 QV.F.CME.ES.HOT"));
    EXPECT_THAT(m_host.GetSaid(), Contains("SendTopic EXPIREDATE.REQUEST 1 1 QV.F.CME.ES"));
    EXPECT_THAT(Process(), IsEmpty()) << "what was fetched tells the same now";
}

TEST_F(RequeryTest, AProductWithoutAResetTimeCountsAsMovedEveryTime) {
    UseServer();
    SetHotMonth(u"202103", u"QV.F.CME.NQ");
    WriteHotChange("0\r\n20201211->202103\r\n", "QV.F.CME.NQ");
    EXPECT_THAT(Process(), ElementsAre("QV.F.CME.NQ"));
    EXPECT_THAT(Process(), ElementsAre("QV.F.CME.NQ"));
}

TEST_F(RequeryTest, AProductWithoutAFileOrWithASecondHotMonthIsLeftAlone) {
    UseServer();
    SetHotMonth(u"202103", u"QV.F.CME.NQ");
    m_arHotMonths.push_back({u"QV.F.CME.ES.202106", u"QV.F.CME.ES.HOT2"});
    WriteHotChange("210000\r\n20201211->202103\r\n");
    EXPECT_THAT(Process(), IsEmpty());
}

TEST_F(RequeryTest, EachProductIsFetchedOnceInTheOrderOfTheContracts) {
    UseServer();
    for (const char* pszKey : {"QV.O.CME.ES", "QV.F.CME.ES", "QV.F.CME.NQ"}) WriteHotChange("x", pszKey);
    for (const auto* pszContract : {u"QV.O.CME.ES.202103.C.2000", u"QV.O.CME.ES.202103.P.2000", u"QV.F.CME.NQ.202103",
                                    u"QV.F.CME.ES.202103", u"QV.O.CME.ES.202106.C.2000"}) {
        m_arHotMonths.push_back({pszContract, u"hot"});
    }
    EXPECT_THAT(Process(), ElementsAre("QV.O.CME.ES", "QV.F.CME.NQ", "QV.F.CME.ES"));
}

TEST_F(RequeryTest, OneContractOfAnotherMonthIsEnough) {
    UseServer();
    WriteHotChange("0\r\n", "QV.O.CME.ES");
    m_resetTimes.Set(u"QV.O.CME.ES", u"0");
    WriteHotChange("0\r\n1->202103\r\n", "QV.O.CME.ES");
    m_arHotMonths = {{u"QV.O.CME.ES.202103.C.2000", u"QV.O.CME.ES.HOT.C.2000"},
                     {u"QV.O.CME.ES.202106.C.2000", u"QV.O.CME.ES.HOT.C.2000"}};
    EXPECT_THAT(Process(), ElementsAre("QV.O.CME.ES"));
}

TEST_F(RequeryTest, ContractsThatNameNoFileInTheFolderAreLeftAlone) {
    UseServer();
    m_folder.Write("Qvant/HotChange/QV.F.CME./.HOT.txt", "x");
    m_folder.Write("Qvant/kept.x.y.HOT.txt", "x");
    m_arHotMonths = {{u"QV.F.CME./.202103", u"hot"}, {u"../kept.x.y", u"hot"}, {u"", u""}, {u"QV", u"hot"}};
    EXPECT_THAT(Process(), IsEmpty());
}

/// The writer's lock on a file, until the end.
class CWriterLock {
public:
    explicit CWriterLock(const Text& strPath) : m_nFile(open(Narrow(strPath).c_str(), O_WRONLY | O_CLOEXEC)) {
        EXPECT_EQ(flock(m_nFile, LOCK_EX), 0);
    }
    ~CWriterLock() { close(m_nFile); }
    CWriterLock(const CWriterLock&) = delete;
    CWriterLock& operator=(const CWriterLock&) = delete;

private:
    const int m_nFile;
};

/// Tells when somebody has opened and closed a file.
class CFileWatch {
public:
    explicit CFileWatch(const Text& strPath) : m_nWatch(inotify_init1(IN_CLOEXEC)) {
        EXPECT_GE(inotify_add_watch(m_nWatch, Narrow(strPath).c_str(), IN_CLOSE_NOWRITE), 0);
    }
    ~CFileWatch() { close(m_nWatch); }
    CFileWatch(const CFileWatch&) = delete;
    CFileWatch& operator=(const CFileWatch&) = delete;

    void WaitForReader() const {
        char arEvents[4'096];
        EXPECT_GT(read(m_nWatch, arEvents, sizeof arEvents), 0);
    }

private:
    const int m_nWatch;
};

class RequeryLockTest : public RequeryTest {
protected:
    RequeryLockTest() {
        SetHotMonth(u"202103");
        WriteHotChange("210000\r\n1->202012\r\n");
    }
    const Text m_strPath = m_folder / "Qvant/HotChange/QV.F.CME.ES.HOT.txt";
};

TEST_F(RequeryLockTest, AFileThatIsBeingWrittenIsTriedAgain) {
    const CFileWatch watch(m_strPath);
    auto pLock = std::make_unique<CWriterLock>(m_strPath);
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("Process", [this] { m_data.ProcessRequeryData(); }));
    watch.WaitForReader();
    pLock.reset();
    thread.Wait();
    EXPECT_THAT(GetQueried(), ElementsAre("QV.F.CME.ES.HOT"));
}

TEST_F(RequeryLockTest, AFileThatStaysLockedIsLeftAloneAfterFiveTries) {
    const CWriterLock lock(m_strPath);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THAT(Process(), IsEmpty());
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST_F(RequeryLockTest, AStopEndsTheTries) {
    for (int i = 0; i < 10; ++i) {
        const Text strKey = Format(u"QV.F.CME.P%d", i);
        SetHotMonth(u"202103", strKey);
        std::filesystem::create_directory(m_folder.GetPath() / ("Qvant/HotChange/" + Narrow(strKey) + ".HOT.txt"));
    }
    const CFileWatch watch(m_strPath);
    const CWriterLock lock(m_strPath);
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("Process", [this] { m_data.ProcessRequeryData(); }));
    watch.WaitForReader();
    const auto start = std::chrono::steady_clock::now();
    thread.StopAndJoin();
    EXPECT_LT(std::chrono::steady_clock::now() - start, STOP_LIMIT);
    EXPECT_THAT(m_host.GetLog(), ElementsAre("ProcessRequeryData.", "ProcessRequeryData End."));
}

TEST_F(RequeryTest, AStopEndsTheFetchesOfAPass) {
    UseServer();
    m_server.Hang();
    for (const auto* pszKey : {u"QV.F.CME.ES", u"QV.F.CME.NQ"}) {
        SetHotMonth(u"202103", pszKey);
        WriteHotChange("x", Narrow(pszKey));
    }
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("Process", [this] { m_data.ProcessRequeryData(); }));
    m_server.WaitForQuery();
    const auto start = std::chrono::steady_clock::now();
    thread.StopAndJoin();
    EXPECT_LT(std::chrono::steady_clock::now() - start, STOP_LIMIT);
    EXPECT_THAT(GetQueried(), ElementsAre("QV.F.CME.ES.HOT"));
    EXPECT_THAT(GetQueried("QueryExpireDate"), IsEmpty());
    EXPECT_EQ(ReadHotChange(), "x");
}

TEST_F(RequeryTest, APassBesideTheWorkerLeavesWholeFiles) {
    UseServer();
    SetHotMonth(u"202106");
    WriteHotChange("x");
    std::atomic<bool> bEnd = false;
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("Process", [&] {
        while (!bEnd) m_data.ProcessRequeryData();
    }));
    for (int i = 0; i < 50; ++i) {
        m_host.Forget();
        Enqueue(u"QV.F.CME.ES");
        ASSERT_TRUE(m_host.WaitForLog("QueryExpireDate End. strSymbol=QV.F.CME.ES."));
    }
    bEnd = true;
    thread.Wait();
    m_data.StopAndJoin();
    EXPECT_EQ(ReadHotChange(), "210000\r\n20201211->202103\r\n");
    EXPECT_EQ(ReadExpireDate(), "210000\r\n20210319->202103\r\n");
}

}  // namespace qvant::test
