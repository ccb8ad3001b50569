#include <chrono>
#include <ctime>
#include <future>

#include "components/child_process.h"
#include "database_fixture.h"
#include "platform/thread.h"

namespace qvant::test {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Clock = std::chrono::steady_clock;

/// Another process that has a lock on the database until it goes.
class CLocker {
public:
    CLocker(const std::string& strFile, const std::string& strSql) : m_process({QV_DATABASE_LOCKER, strFile, strSql}) {
        EXPECT_EQ(m_process.ReadLine(), "locked\n");
    }
    void LetGo() { m_process.Kill(); }

private:
    CChildProcess m_process;
};

constexpr const char* TAKE_ALL = "BEGIN EXCLUSIVE";
constexpr const char* WRITE = "BEGIN IMMEDIATE";

TEST_F(DatabaseTest, ALockThatIsHeldIsWaitedForTwoSecondsWithoutLoad) {
    const auto pDatabase = OpenWords();
    CLocker locker(GetFile(), TAKE_ALL);
    const auto begin = Clock::now();
    const std::clock_t nLoad = std::clock();
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one"), 0);
    const auto passed = Clock::now() - begin;
    EXPECT_GE(passed, std::chrono::milliseconds(1900));
    EXPECT_LT(passed, std::chrono::milliseconds(6000));
    EXPECT_LT(std::clock() - nLoad, CLOCKS_PER_SEC / 2);
    EXPECT_THAT(m_log.GetLines(), ElementsAre("DataBaseAPI InsertRecord(Words): database is locked"));
    EXPECT_THAT(Words(*pDatabase), ElementsAre("failed"));
    locker.LetGo();
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one"), 1);
}

TEST_F(DatabaseTest, ABatchThatCantBeginWaitsOnceAndTakesNothing) {
    const auto pDatabase = OpenWords();
    CLocker locker(GetFile(), WRITE);
    const auto begin = Clock::now();
    pDatabase->BeginBatch();
    for (int i = 0; i < 1000; ++i) EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one"), 0);
    locker.LetGo();
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one"), 0) << "no row of a batch stands alone";
    EXPECT_EQ(pDatabase->EndBatch(), 0);
    EXPECT_LT(Clock::now() - begin, std::chrono::milliseconds(6000));
    EXPECT_THAT(m_log.GetLines(), ElementsAre("DataBaseAPI InsertRecord(Words): database is locked",
                                              "DataBaseAPI InsertRecord(Words): the batch has failed"));
    EXPECT_THAT(Words(*pDatabase), IsEmpty());
    pDatabase->BeginBatch();
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one"), 1);
    EXPECT_EQ(pDatabase->EndBatch(), 1);
}

TEST_F(DatabaseTest, AReaderIsHeldUpByNoWriter) {
    const auto pDatabase = OpenWords();
    pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one");
    const CLocker locker(GetFile(), WRITE);
    EXPECT_THAT(Words(*pDatabase), ElementsAre("1|one"));
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"Words", u"Key,Text"), 1) << "a table that is there needs no lock";
    EXPECT_THAT(m_log.GetLines(), IsEmpty());
}

TEST_F(DatabaseTest, ALockThatIsLetGoInTimeCostsNothingButTheWait) {
    const auto pDatabase = OpenWords();
    CLocker locker(GetFile(), TAKE_ALL);
    auto insert =
        std::async(std::launch::async, [&] { return pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one"); });
    locker.LetGo();
    EXPECT_EQ(insert.get(), 1);
    EXPECT_THAT(Words(*pDatabase), ElementsAre("1|one"));
}

TEST_F(DatabaseTest, AReaderOfAnotherProcessThatStaysFailsTheBatchAndNothingElse) {
    const auto pDatabase = OpenWords();
    pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one");
    CLocker locker(GetFile(), "BEGIN; SELECT * FROM Words");
    pDatabase->BeginBatch();
    EXPECT_EQ(pDatabase->DeleteRecord(u"Words"), 1);
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"2,two"), 1);
    EXPECT_EQ(pDatabase->EndBatch(), 0);
    EXPECT_THAT(m_log.GetLines(), ElementsAre("DataBaseAPI EndBatch(Test.db): database is locked"));
    EXPECT_THAT(Words(*pDatabase), ElementsAre("1|one"));
    locker.LetGo();
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"2,two"), 1);
    EXPECT_THAT(Words(*pDatabase), ElementsAre("1|one", "2|two"));
}

TEST_F(DatabaseTest, AStopEndsTheWaitForALock) {
    const auto pDatabase = OpenWords();
    const CLocker locker(GetFile(), TAKE_ALL);
    std::int32_t nResult = -1;
    platform::CThread thread;
    std::promise<void> running;
    const auto begin = Clock::now();
    thread.Start("insert", [&] {
        running.set_value();
        nResult = pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one");
    });
    running.get_future().wait();
    thread.StopAndJoin();
    EXPECT_LT(Clock::now() - begin, std::chrono::milliseconds(1500));
    EXPECT_EQ(nResult, 0);
}

TEST_F(DatabaseTest, AThreadToldToStopStillWritesWhatNobodyLocks) {
    const auto pDatabase = OpenWords();
    platform::CThread thread;
    std::int32_t nResult = -1;
    thread.Start("insert", [&] {
        platform::SleepFor(std::chrono::hours(1));
        nResult = pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one");
    });
    thread.StopAndJoin();
    EXPECT_EQ(nResult, 1);
    CLocker locker(GetFile(), TAKE_ALL);
    auto insert =
        std::async(std::launch::async, [&] { return pDatabase->InsertRecord(u"Words", u"Key,Text", u"2,two"); });
    locker.LetGo();
    EXPECT_EQ(insert.get(), 1) << "later calls wait again";
}

}  // namespace qvant::test
