#include "store/record_databases.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "components/child_process.h"
#include "store/base_data.h"
#include "store/db_api_sink.h"
#include "store/string_argument.h"
#include "support/scratch_folder.h"

namespace qvant::test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A host of which only the log is of interest here.
class CLogHost : public IHost {
public:
    void RegisterTable(TextView) override {}
    void RegisterTopic(TextView) override {}
    void SendTopic(TextView, std::int32_t, std::int32_t, TextView, VARIANT*) override {}
    void ReportError(std::int32_t, std::int32_t, TextView) override {}
    void LogMessage(TextView strText) override { m_arLog.push_back(Narrow(strText)); }
    std::unique_ptr<CBaseData> OpenTable(TextView, CBaseDataEventReceiver*) override { return nullptr; }

    std::vector<std::string> m_arLog;
};

class CReceiver : public CDataBaseEventReceiver {
public:
    void OnCommandMsg(std::int32_t nFirst, std::int32_t nSecond, const Text& strText) override {
        m_arEvents.push_back(std::to_string(nFirst) + " " + std::to_string(nSecond) + " " + Narrow(strText));
    }
    void OnWriteLog(const Text& strLine) override { m_arEvents.push_back(Narrow(strLine)); }

    std::vector<std::string> m_arEvents;
};

class RecordDatabasesTest : public ::testing::Test {
protected:
    /// A start of the service: opens both databases.
    CRecordDatabases& Start(const Text& strSystem = u"Sample") {
        m_host.m_arLog.clear();
        m_databases.emplace(m_host, m_receiver);
        m_databases->OpenSearch(m_folder / "home/", strSystem);
        m_databases->OpenCqyz(m_folder / "home/");
        return *m_databases;
    }
    /// What a build leaves behind: a symbol and a version.
    void Build(TextView strVersion) {
        DbAPIObj& search = *m_databases->GetSearch();
        EXPECT_EQ(search.InsertRecord(SEARCH_TABLE, u"Symbol,Name", u"QV.F.CME.ES.202012,E-mini"), 1);
        EXPECT_EQ(search.InsertRecord(VERSION_TABLE, VERSION_FIELDS, Text(u"Lumivale_Db,").append(strVersion)), 1);
    }
    std::int32_t CountSymbols() {
        CRecordQuery query(*m_databases->GetSearch(), m_databases->GetResults(), SEARCH_TABLE);
        return query.Succeeded() ? query.GetCount() : -1;
    }
    fs::path GetFile(const char* pszName) const { return m_folder.GetPath() / "home/Data/API" / pszName; }

    CScratchFolder m_folder;
    CEnvironment m_home{"LUMIVALE_HOME", (m_folder.GetPath() / "home").string()};
    CEnvironment m_common{"LUMIVALE_COMMON_DATA", (m_folder.GetPath() / "common").string()};
    CLogHost m_host;
    CReceiver m_receiver;
    std::optional<CRecordDatabases> m_databases;
};

TEST_F(RecordDatabasesTest, TheFirstStartMakesAllTablesAndTellsThatNothingWasThere) {
    Start();
    EXPECT_THAT(m_host.m_arLog, ElementsAre("SymbolSearch Db isDrop"));
    EXPECT_TRUE(fs::exists(GetFile("Lumivale_Sample.db")));
    EXPECT_EQ(m_databases->GetSearchVersion(), u"");
    EXPECT_EQ(CountSymbols(), 0);
    for (const TextView strTable : {VERSION_TABLE, CONTRACT_TABLE, TextView(u"CQYZ|0|0"), TextView(u"TimeStamp")}) {
        DbAPIObj& search = *m_databases->GetSearch();
        const bool bFactors = strTable == u"CQYZ|0|0" || strTable == u"TimeStamp";
        EXPECT_EQ(CRecordQuery(search, m_databases->GetResults(), strTable).Succeeded(), !bFactors);
    }
    EXPECT_TRUE(fs::exists(m_folder.GetPath() / "common/Qvant/API/DataBase/CQYZ.db"));
    EXPECT_THAT(m_receiver.m_arEvents, IsEmpty());
}

TEST_F(RecordDatabasesTest, ADatabaseOfThisVersionIsKept) {
    Start();
    Build(SEARCH_DATABASE_VERSION);
    Start();
    EXPECT_THAT(m_host.m_arLog, IsEmpty());
    EXPECT_EQ(m_databases->GetSearchVersion(), u"1.0.2.51");
    EXPECT_EQ(CountSymbols(), 1);
}

TEST_F(RecordDatabasesTest, ADatabaseOfAnotherVersionIsMadeAnew) {
    Start();
    Build(u"1.0.2.50");
    Start();
    EXPECT_THAT(m_host.m_arLog, ElementsAre("SymbolSearch Db isDrop"));
    EXPECT_EQ(m_databases->GetSearchVersion(), u"1.0.2.50");
    EXPECT_EQ(CountSymbols(), 0);
    EXPECT_EQ(m_databases->GetSearch()->DeleteRecord(SEARCH_TABLE), 1);
}

TEST_F(RecordDatabasesTest, ADatabaseWithoutAVersionIsMadeAnew) {
    Start();
    Build(SEARCH_DATABASE_VERSION);
    EXPECT_EQ(m_databases->GetSearch()->DeleteRecord(VERSION_TABLE), 1);
    Start();
    EXPECT_THAT(m_host.m_arLog, ElementsAre("SymbolSearch Db isDrop"));
    EXPECT_EQ(CountSymbols(), 0);
}

TEST_F(RecordDatabasesTest, AVersionThatCantBeFetchedKeepsTheDatabase) {
    fs::create_directories(m_folder.GetPath() / "home/Components/x64");
    fs::copy_file(QV_UNFETCHABLE, m_folder.GetPath() / "home/Components/x64/QVDataBaseAPI64.so");
    m_folder.Write("home/Data/API/Lumivale_Sample.db", "kept");
    Start();
    EXPECT_THAT(m_host.m_arLog, IsEmpty());
    EXPECT_EQ(m_databases->GetSearchVersion(), u"");
    EXPECT_EQ(m_folder.Read("home/Data/API/Lumivale_Sample.db"), "kept");
}

TEST_F(RecordDatabasesTest, AnEmptySystemNameGivesANameThatEndsInItsUnderscore) {
    Start(u"");
    EXPECT_TRUE(fs::exists(GetFile("Lumivale_.db")));
    Build(SEARCH_DATABASE_VERSION);
    Start(u"");
    EXPECT_EQ(CountSymbols(), 1);
}

TEST_F(RecordDatabasesTest, JunkIsToldAndMadeAnew) {
    m_folder.Write("home/Data/API/Lumivale_Sample.db", std::string(3000, 'j'));
    Start();
    EXPECT_THAT(m_host.m_arLog, ElementsAre("SymbolSearch Db isDrop"));
    EXPECT_THAT(m_receiver.m_arEvents,
                ElementsAre("DataBaseAPI OpenSystem(Sample): Lumivale_Sample.db: file is not a database",
                            "DataBaseAPI CreateTable(Lumivale): file is not a database"));
    EXPECT_EQ(CountSymbols(), 0);
}

TEST_F(RecordDatabasesTest, AFolderInPlaceOfTheFileIsToldAndEndsNothing) {
    fs::create_directories(GetFile("Lumivale_Sample.db"));
    Start();
    EXPECT_EQ(m_receiver.m_arEvents.size(), 1u);
    EXPECT_EQ(CountSymbols(), -1);
    EXPECT_TRUE(fs::exists(m_folder.GetPath() / "common/Qvant/API/DataBase/CQYZ.db"));
}

TEST_F(RecordDatabasesTest, TheBuildsWayOutOfABadFileWorks) {
    Start();
    Build(SEARCH_DATABASE_VERSION);
    m_databases->GetSearch()->BeginBatch();
    m_databases->GetSearch()->DeleteRecord(SEARCH_TABLE);
    m_databases->DeleteSearchFile();
    m_databases->CreateSearchTables();
    m_databases->GetSearch()->BeginBatch();
    Build(SEARCH_DATABASE_VERSION);
    EXPECT_EQ(m_databases->GetSearch()->EndBatch(), 1);
    EXPECT_EQ(CountSymbols(), 1);
    EXPECT_THAT(m_receiver.m_arEvents, IsEmpty());
}

TEST_F(RecordDatabasesTest, WhatWasReleasedIsReleasedOnce) {
    Start().Release();
    EXPECT_EQ(m_databases->GetSearch(), nullptr);
    EXPECT_FALSE(m_databases->GetResults().IsCreated());
    m_databases->Release();
    m_databases->CreateSearchTables();
}

/// Without the component a program of its own: this one has it beside its libraries.
TEST_F(RecordDatabasesTest, WithoutTheComponentTwoBoxesAreShownAndTheStartGoesOn) {
    const fs::path root = m_folder.GetPath() / "alone";
    fs::create_directories(root / "bin");
    fs::create_directories(root / "lib");
    fs::copy_file(QV_DATABASE_ALONE, root / "bin/alone");
    const fs::path libraries = fs::path(QV_DATABASE_LIBRARY).parent_path();
    fs::copy_file(libraries / "libqvautomation.so", root / "lib/libqvautomation.so");
    {
        CChildProcess process({(root / "bin/alone").string()});
        EXPECT_EQ(process.ReadLine(), "Error: DbApi error\n");
        EXPECT_EQ(process.ReadLine(), "Error: CQYZ error\n");
        EXPECT_EQ(process.ReadLine(), "no database\n");
        EXPECT_EQ(process.Wait(), 0);
    }
    fs::create_directories(m_folder.GetPath() / "home/Components/x64");
    fs::copy_file(QV_DATABASE_LIBRARY, m_folder.GetPath() / "home/Components/x64/QVDataBaseAPI64.so");
    CChildProcess process({(root / "bin/alone").string()});
    EXPECT_EQ(process.ReadLine(), "database\n") << "the component below the home folder needs no name";
}

TEST(DataBaseSink, HandsItsEventsOnUntilItIsClosed) {
    CReceiver receiver;
    auto* const pSink = new CDataBaseSink(receiver);
    const CKeyArgument text(u"text");
    VARIANT arArguments[] = {text.GetVariant(), NumberArgument(2), NumberArgument(1)};
    const auto fire = [&](DISPID nEvent, UINT nCount) {
        DISPPARAMS parameters{arArguments, nullptr, nCount, 0};
        return pSink->Invoke(nEvent, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr);
    };
    EXPECT_EQ(fire(database::EVENT_COMMAND_MSG, 3), S_OK);
    EXPECT_EQ(fire(database::EVENT_WRITE_LOG, 1), S_OK);
    EXPECT_EQ(fire(database::EVENT_WRITE_LOG, 2), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(fire(3, 1), DISP_E_MEMBERNOTFOUND);
    pSink->Close();
    EXPECT_EQ(fire(database::EVENT_WRITE_LOG, 1), S_OK);
    EXPECT_THAT(receiver.m_arEvents, ElementsAre("1 2 text", "text"));
    pSink->Release();
}

}  // namespace
}  // namespace qvant::test
