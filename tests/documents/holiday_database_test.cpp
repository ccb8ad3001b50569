#include "documents/holiday_database.h"

#include <fstream>

#include "documents/holiday_fixture.h"

namespace qvant::test {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

constexpr const char* TABLES = "SELECT name FROM sqlite_master WHERE type = 'table'";

/// The file, locked by another program.
class CLocker {
public:
    CLocker(const fs::path& file, const char* pszLock) {
        EXPECT_EQ(sqlite3_open(file.c_str(), &m_pConnection), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(m_pConnection, pszLock, nullptr, nullptr, nullptr), SQLITE_OK);
    }
    ~CLocker() { sqlite3_close(m_pConnection); }
    CLocker(const CLocker&) = delete;
    CLocker& operator=(const CLocker&) = delete;

private:
    sqlite3* m_pConnection = nullptr;
};

TEST_F(HolidayTest, TheFirstStartFindsNoTableAndMakesBoth) {
    Start();
    EXPECT_TRUE(m_host.HasLogged("Holiday isDrop 3"));
    EXPECT_THAT(Query(TABLES), UnorderedElementsAre("Holiday", "Version"));
    EXPECT_THAT(Query("SELECT name FROM pragma_table_info('Version')"), ElementsAre("Name", "Version", "Date", "Hash"));
    EXPECT_THAT(Query("SELECT name FROM pragma_table_info('Holiday')"), ElementsAre("Date", "Type", "ExchangeList"));
    EXPECT_THAT(m_receiver.m_arLines, IsEmpty());
}

TEST_F(HolidayTest, RowsOfThisLayoutAreKept) {
    Fetch();
    m_host.Forget();
    Start();
    EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("Holiday isDrop"))));
    EXPECT_EQ(QueryRows().size(), 2u);
}

TEST_F(HolidayTest, RowsWithoutAVersionAreDropped) {
    Fetch();
    Query("DELETE FROM Version");
    Start();
    EXPECT_TRUE(m_host.HasLogged("Holiday isDrop 2"));
    EXPECT_THAT(QueryRows(), IsEmpty());
}

TEST_F(HolidayTest, RowsOfAnotherLayoutAreDroppedAndTheirVersionGoesWithTheNextUpdate) {
    Fetch();
    Query("UPDATE Version SET Version = '1.0.1.25'");
    Query("ALTER TABLE Holiday RENAME COLUMN Type TO Kind");
    Start();
    EXPECT_TRUE(m_host.HasLogged("Holiday isDrop 1"));
    EXPECT_THAT(QueryRows(), IsEmpty());
    EXPECT_THAT(Query("SELECT Version FROM Version"), ElementsAre("1.0.1.25"));
    Fetch();
    EXPECT_THAT(Query("SELECT Version FROM Version"), ElementsAre("1.0.1.26")) << "the text is the same one";
    EXPECT_THAT(QueryRows(), ElementsAre("20240101/H/CME|CBOT", "20240102/E/HKF"));
}

TEST_F(HolidayTest, ATableOfTheSameNameInAnotherDatabaseIsLeftAlone) {
    Fetch();
    fs::copy_file(GetFile(), m_folder.GetPath() / "home/Data/API/Other.db");
    Start();
    Fetch("20240103\tH\tCME");
    EXPECT_THAT(QueryRows(), ElementsAre("20240103/H/CME"));
    fs::rename(m_folder.GetPath() / "home/Data/API/Other.db", GetFile());
    EXPECT_EQ(QueryRows().size(), 2u);
}

TEST_F(HolidayTest, ADamagedFileIsMadeAnewAndFilledByTheNextFetch) {
    Fetch();
    m_calendar.reset();
    m_folder.Write("home/Data/API/OBHoliday.db", std::string(5000, 'j'));
    Start();
    EXPECT_TRUE(m_host.HasLogged("Holiday isDrop 3"));
    EXPECT_EQ(GetWorking(u"20240101"), u"H,CME|CBOT") << "the store has its own copy";
    Fetch();
    EXPECT_THAT(QueryRows(), ElementsAre("20240101/H/CME|CBOT", "20240102/E/HKF"));
}

TEST_F(HolidayTest, AFileThatIsLockedForTheWholeStartLosesNothing) {
    Fetch();
    {
        const CLocker locker(GetFile(), "BEGIN EXCLUSIVE");
        Start();
        EXPECT_TRUE(m_host.HasLogged("Holiday isDrop 3"));
        Fetch("20240103\tH\tCME");
        EXPECT_EQ(GetWorking(u"20240101"), u"H,CME|CBOT") << "the hash can't be read";
    }
    EXPECT_EQ(QueryRows().size(), 2u);
    Fetch();
    EXPECT_THAT(QueryRows(), ElementsAre("20240103/H/CME"));
}

TEST_F(HolidayTest, AnUpdateThatALockRefusesReachesTheTablesAndTheNextOneTheFileAsWell) {
    Fetch();
    {
        const CLocker locker(GetFile(), "BEGIN IMMEDIATE");
        m_host.Forget();
        Fetch("20240103\tH\tCME");
        EXPECT_THAT(m_host.GetLog(), Contains(StartsWith("GetHoliday Update:")));
        EXPECT_EQ(m_host.GetLog().back(), "GetHoliday End");
        EXPECT_THAT(m_receiver.m_arLines, Contains(HasSubstr("database is locked")));
        EXPECT_EQ(GetWorking(u"20240103"), u"H,CME");
        EXPECT_EQ(GetWorking(u"20240101"), u"");
        EXPECT_EQ(GetKept(u"20240103"), u"H,CME");
        EXPECT_EQ(QueryRows().size(), 2u);
    }
    Fetch();
    EXPECT_EQ(GetWorking(u"20240103"), u"H,CME");
    EXPECT_EQ(GetKept(u"20240101"), u"");
    EXPECT_THAT(QueryRows(), ElementsAre("20240103/H/CME"));
}

TEST_F(HolidayTest, ACommitThatAReaderRefusesLeavesTheFileAsItWasAndReachesTheTables) {
    Fetch();
    {
        const CLocker reader(GetFile(), "BEGIN; SELECT * FROM Holiday");
        Fetch("20240103\tH\tCME");
        EXPECT_EQ(GetWorking(u"20240103"), u"H,CME");
        EXPECT_EQ(QueryRows().size(), 2u);
    }
    Fetch();
    EXPECT_EQ(GetWorking(u"20240103"), u"H,CME");
    EXPECT_THAT(QueryRows(), ElementsAre("20240103/H/CME"));
}

TEST_F(HolidayTest, ATableThatRefusesARowKeepsAllOfItsOwn) {
    Fetch();
    Query("CREATE TRIGGER no BEFORE INSERT ON Holiday WHEN new.Date = '20240104' BEGIN SELECT RAISE(ABORT, 'no'); END");
    Fetch("20240103\tH\tCME\r\n20240104\tH\tCME\r\n20240105\tH\tCME");
    EXPECT_THAT(QueryRows(), ElementsAre("20240101/H/CME|CBOT", "20240102/E/HKF"));
    EXPECT_THAT(GetDates(), UnorderedElementsAre(u"20240103", u"20240104", u"20240105"));
    Query("DROP TRIGGER no");
    Fetch();
    EXPECT_EQ(QueryRows().size(), 3u);
    EXPECT_EQ(GetDates().size(), 3u);
}

/// A file whose header names a later version of writing may be read and not be written, by anybody.
void SetWriteVersion(const fs::path& file, char chVersion) {
    std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
    stream.seekp(18);
    stream.put(chVersion);
}

TEST_F(HolidayTest, AFileThatCantBeWrittenKeepsWhatItHasAndHoldsUpNobody) {
    Fetch();
    m_calendar.reset();
    SetWriteVersion(GetFile(), 3);
    m_host.Forget();
    Start();
    EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("Holiday isDrop"))));
    Fetch("20240103\tH\tCME");
    EXPECT_THAT(m_receiver.m_arLines, Contains(HasSubstr("readonly database")));
    EXPECT_EQ(GetWorking(u"20240103"), u"H,CME");
    EXPECT_EQ(QueryRows().size(), 2u);
    m_calendar.reset();
    SetWriteVersion(GetFile(), 1);
    Start();
    Fetch();
    EXPECT_EQ(GetWorking(u"20240103"), u"H,CME");
}

TEST_F(HolidayTest, AFileThatIsDamagedInsideIsMadeAnewByTheNextUpdate) {
    constexpr std::size_t PAGE = 8192;  // each table begins on a page of its own, behind the first
    for (std::size_t nPage = 1; nPage <= 2; ++nPage) {
        Fetch("20240101\tH\tCME");
        m_calendar.reset();
        std::string strBytes = m_folder.Read("home/Data/API/OBHoliday.db");
        ASSERT_GE(strBytes.size(), (nPage + 1) * PAGE);
        strBytes.replace(nPage * PAGE, PAGE, PAGE, 'j');
        m_folder.Write("home/Data/API/OBHoliday.db", strBytes);
        Start();
        Fetch("20240103\tH\tCME");
        EXPECT_EQ(GetWorking(u"20240103"), u"H,CME") << nPage;
        EXPECT_THAT(QueryRows(), ElementsAre("20240103/H/CME")) << nPage;
    }
}

TEST_F(HolidayTest, AFileThatWasDeletedMeanwhileIsMadeByTheNextStart) {
    Fetch();
    fs::remove(GetFile());
    Fetch("20240103\tH\tCME");
    EXPECT_EQ(GetWorking(u"20240101"), u"H,CME|CBOT");
    Start();
    Fetch();
    EXPECT_EQ(GetWorking(u"20240103"), u"H,CME");
    EXPECT_THAT(QueryRows(), ElementsAre("20240103/H/CME"));
}

TEST_F(HolidayTest, TheNextStartWithoutAServerHasTheCalendarOfTheStorage) {
    Fetch();
    m_calendar.reset();
    fs::remove(GetFile());
    m_host.DropTable(u"Holiday");
    m_host.MakeTable(u"Holiday");
    Start();
    EXPECT_EQ(GetWorking(u"20240101"), u"H,CME|CBOT");
    EXPECT_THAT(GetDates(), UnorderedElementsAre(u"20240101", u"20240102"));
}

TEST_F(HolidayTest, TheNextStartWithoutAServerAndAStorageHasTheCalendarOfTheDatabase) {
    Fetch();
    for (const auto* pszTable : {u"STORAGE", u"Holiday"}) {
        m_host.DropTable(pszTable);
        m_host.MakeTable(pszTable);
    }
    Start();
    EXPECT_EQ(GetKept(u"20240101"), u"H,CME|CBOT");
    EXPECT_EQ(GetWorking(u"20240102"), u"E,HKF");
    EXPECT_THAT(GetDates(), UnorderedElementsAre(u"20240101", u"20240102"));
}

TEST_F(HolidayTest, AnEmptyDatabaseAttachesAnEmptyRecord) {
    Start();
    const auto pChild = m_host.Open(u"STORAGE")->GetSubTable(u"Holiday", nullptr);
    ASSERT_NE(pChild, nullptr);
    EXPECT_THAT(GetDates(*pChild), IsEmpty());
    m_server.SetAnswer("down", 500);
    Fetch();
    EXPECT_THAT(GetDates(), IsEmpty());
}

TEST_F(HolidayTest, SigningInAgainWhileATextIsTakenOverLosesNothing) {
    Start();
    for (int nRound = 0; nRound < 20; ++nRound) {
        const std::string strDate = std::to_string(20240101 + nRound);
        m_server.SetAnswer(strDate + "\tH\tCME");
        m_host.Forget();
        platform::CThread thread;
        ASSERT_TRUE(thread.Start("holiday", [this] { Fetch(); }));
        while (!m_host.HasLogged("GetHoliday End")) m_storage.InitContractList(nullptr);
        thread.StopAndJoin();
        EXPECT_EQ(GetWorking(Widen(strDate)), u"H,CME");
        EXPECT_EQ(GetKept(Widen(strDate)), u"H,CME");
    }
}

}  // namespace
}  // namespace qvant::test
