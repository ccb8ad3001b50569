/// The holidays on the whole road: server, host and service as processes of their own.

#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "support/scratch_folder.h"
#include "system/host_process.h"
#include "system/server_process.h"

namespace qvant::test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

class HolidayRoadTest : public ::testing::Test {
protected:
    HolidayRoadTest() {
        m_folder.Write("terminal/ComShared/cities.txt", "Taipei,Taipei Standard Time\n");
        m_folder.Write("world/world.json", R"({"version":"test"})");
        m_folder.Write("world/securities/TWF.json", R"({"QV.F.TWF.TXF":{"TimeZone":"Asia/Taipei"}})");
        m_folder.Write("world/OBHoliday.txt", "# holidays\n20260101\tH\tCME,CBOT\n20260102\tH\tOSE\n");
        m_server = CServerProcess::Serve(m_folder.GetPath() / "world");
        m_strServer = m_server->GetUrl();
    }

    /// A start of the terminal up to the end of the first fetch.
    void SignIn() {
        m_host.reset();
        m_host.emplace(std::vector<std::string>{"--home", (m_folder.GetPath() / "terminal").string(), "--common-data",
                                                (m_folder.GetPath() / "common").string()});
        m_host->Ask(R"({"do":"set","table":"PERMISSIONS.LUMIVale","values":{"InfoListType":"ALL","LUMIValeURL":")" +
                    m_strServer + R"(","TradingDayURL":")" + m_strServer +
                    R"(hx-bin/File.cgi?ARG=/Velmora/Hexquote/bin/OBHoliday.txt"}})");
        for (const char* pszSub : {"1", "2", "9"}) {
            EXPECT_EQ(m_host->AskFor(std::string(R"({"do":"status","status":1,"sub":)") + pszSub + "}", "result"), "0");
        }
        m_host->Ask(
            R"({"do":"wait","event":"WriteLog","match":{"line":"GetHoliday End"},"after":0,"timeout_ms":30000})");
    }
    std::string Holiday(const std::string& strDate) {
        return m_host->AskFor(R"({"do":"get","table":"Holiday","key":")" + strDate + "\"}", "value");
    }
    std::string Kept(const std::string& strDate) {
        return m_host->AskFor(R"({"do":"get","table":"STORAGE","path":["Holiday"],"key":")" + strDate + "\"}", "value");
    }
    /// One value of the database, as another program reads it.
    std::string Query(const char* pszSql) const {
        sqlite3* pConnection = nullptr;
        const auto file = m_folder.GetPath() / "terminal/Data/API/OBHoliday.db";
        EXPECT_EQ(sqlite3_open(file.c_str(), &pConnection), SQLITE_OK);
        sqlite3_stmt* pStatement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(pConnection, pszSql, -1, &pStatement, nullptr), SQLITE_OK);
        std::string strValue;
        if (sqlite3_step(pStatement) == SQLITE_ROW) {
            strValue = reinterpret_cast<const char*>(sqlite3_column_text(pStatement, 0));
        }
        sqlite3_finalize(pStatement);
        sqlite3_close(pConnection);
        return strValue;
    }

    CScratchFolder m_folder;
    std::unique_ptr<CServerProcess> m_server;
    std::string m_strServer;
    std::optional<CHostProcess> m_host;
};

TEST_F(HolidayRoadTest, SignInBringsThemToTheTableAndToTheDisk) {
    SignIn();
    EXPECT_EQ(Holiday("20260101"), "\"H,CME|CBOT\"");
    EXPECT_EQ(Kept("20260102"), "\"H,OSE\"");
    EXPECT_EQ(m_host->Finish(), 0);
    EXPECT_EQ(Query("SELECT COUNT(*) FROM Holiday"), "2");
    EXPECT_EQ(Query("SELECT ExchangeList FROM Holiday WHERE Date = '20260101'"), "CME|CBOT");
    EXPECT_EQ(Query("SELECT Version FROM Version WHERE Name = 'Main'"), "1.0.1.26");
}

TEST_F(HolidayRoadTest, AStartWithoutAServerHasThoseOfTheLastOne) {
    SignIn();
    EXPECT_EQ(m_host->Finish(), 0);
    m_server->Stop();
    SignIn();
    EXPECT_THAT(m_host->GetEvents("WriteLog"), Contains(HasSubstr("GetHoliday fail:")));
    EXPECT_EQ(Holiday("20260101"), "\"H,CME|CBOT\"");
    EXPECT_EQ(m_host->Finish(), 0);

    std::filesystem::remove(m_folder.GetPath() / "terminal/Data/STORAGE.db");
    SignIn();
    EXPECT_EQ(Holiday("20260102"), "\"H,OSE\"") << "from the database";
    EXPECT_EQ(Kept("20260101"), "\"H,CME|CBOT\"");
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(HolidayRoadTest, AnEditedFileArrivesAndAnUnchangedOneWritesNothing) {
    SignIn();
    EXPECT_EQ(m_host->Finish(), 0);
    SignIn();
    EXPECT_THAT(m_host->GetEvents("WriteLog"), Not(Contains(HasSubstr("GetHoliday Update:"))));
    EXPECT_EQ(m_host->Finish(), 0);
    m_folder.Write("world/OBHoliday.txt", "20260101\tH\tCME\n");
    SignIn();
    EXPECT_EQ(Holiday("20260101"), "\"H,CME\"");
    EXPECT_EQ(Kept("20260102"), "null");
    EXPECT_EQ(m_host->Finish(), 0);
    EXPECT_EQ(Query("SELECT COUNT(*) FROM Holiday"), "1");
}

}  // namespace
}  // namespace qvant::test
