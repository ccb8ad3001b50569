#include <filesystem>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/sqlite.h"
#include "components/child_process.h"
#include "components/event_log.h"
#include "components/store_client.h"
#include "support/scratch_folder.h"

namespace qvant {
namespace {

using namespace test;
using common::CSqlite;

using Values = std::map<Text, Text>;

class Persistence : public testing::Test {
protected:
    TablePtr Open() {
        auto pTable = NewTable();
        EXPECT_EQ(Persist(*pTable, m_folder / "STORAGE.db"), S_OK);
        return pTable;
    }
    std::string GetFile() const { return (m_folder.GetPath() / "STORAGE.db").string(); }
    std::int64_t Query(const char* pszSql) const { return CSqlite(GetFile()).QueryInteger(pszSql); }

    CScratchFolder m_folder;
};

TEST_F(Persistence, BringsEverySectionBack) {
    {
        const auto pTable = Open();
        const auto pChild = NewTable();
        Write(*pChild, {{u"Version", u"7"}});
        const std::int32_t nTransaction = pTable->Begin();
        pTable->SetRow(nTransaction, 0, u"a");
        pTable->SetRow(nTransaction, 2, u"c");
        pTable->SetValue(nTransaction, u"text", u"22:00 \xD55C\x0001");
        pTable->Operate(nTransaction, store::OPERATION_VALUE, CVariant(u"number"), NumberArgument(-5));
        pTable->Operate(nTransaction, store::OPERATION_VALUE, CVariant(u"empty"), VARIANT{});
        pTable->SetTable(nTransaction, u"Lumivale", *pChild);
        pTable->Commit(nTransaction);
    }
    const auto pContent = Content::Of(*Open());
    EXPECT_EQ(pContent->arRows, (std::vector<Text>{u"a", u"<empty>", u"c"}));
    EXPECT_EQ(pContent->mapValues,
              (Values{{u"text", u"22:00 \xD55C\x0001"}, {u"number", u"<number>-5"}, {u"empty", u"<empty>"}}));
    ASSERT_TRUE(pContent->mapTables.contains(u"Lumivale"));
    EXPECT_EQ(pContent->mapTables.at(u"Lumivale")->mapValues, (Values{{u"Version", u"7"}}));
}

TEST_F(Persistence, KeepsEveryUnitOfAText) {
    const Text strOdd(u"\xD800|a\0b|\xDC00", 8);
    {
        const auto pTable = Open();
        Write(*pTable, {{strOdd, strOdd}});
    }
    EXPECT_EQ(Open()->GetString(strOdd), strOdd);
}

TEST_F(Persistence, WritesTheCommitsOfSubTables) {
    {
        const auto pTable = Open();
        const auto pChild = OpenChild(*pTable, u"child");
        const auto pGrandchild = OpenChild(*pChild, u"grandchild");
        Write(*pChild, {{u"k", u"1"}});
        Write(*pGrandchild, {{u"k", u"2"}});
        Write(*pChild, {{u"k", u"3"}});
    }
    const auto pContent = Content::Of(*Open());
    const auto& child = *pContent->mapTables.at(u"child");
    EXPECT_EQ(child.mapValues, (Values{{u"k", u"3"}}));
    EXPECT_EQ(child.mapTables.at(u"grandchild")->mapValues, (Values{{u"k", u"2"}}));
}

TEST_F(Persistence, TakesWholeTreesInAndLetsThemGo) {
    const auto pTable = Open();
    const auto pChild = NewTable();
    const auto pGrandchild = OpenChild(*pChild, u"grandchild");
    Write(*pGrandchild, {{u"k", u"v"}});
    Attach(*pTable, u"child", *pChild);
    EXPECT_EQ(Query("SELECT COUNT(*) FROM content WHERE path = '/child/grandchild' AND key = 'k' AND value = 'v'"), 1);

    Clear(*pTable, store::MASK_TABLES);
    EXPECT_EQ(Query("SELECT COUNT(*) FROM items"), 0) << "what has left the tree leaves the file";
    EXPECT_EQ(Query("SELECT COUNT(*) FROM links"), 0);
    Write(*pGrandchild, {{u"k", u"alone"}});
    EXPECT_EQ(Query("SELECT COUNT(*) FROM items"), 0);

    Attach(*pTable, u"back", *pChild);
    EXPECT_EQ(Query("SELECT COUNT(*) FROM content WHERE path = '/back/grandchild' AND value = 'alone'"), 1);
}

TEST_F(Persistence, KeepsATableThatHasAnotherNameLeft) {
    const auto pTable = Open();
    const auto pOther = OpenChild(*pTable, u"other");
    const auto pChild = OpenChild(*pTable, u"child");
    Write(*pChild, {{u"k", u"v"}});
    Attach(*pOther, u"again", *pChild);
    {
        CTransaction transaction(*pTable);
        transaction.Clear(store::MASK_TABLES);
        transaction.SetTable(u"other", *pOther);
        transaction.Commit();
    }
    EXPECT_EQ(Query("SELECT COUNT(*) FROM content WHERE section = 'item'"), 1);
    Clear(*pOther, store::MASK_TABLES);
    EXPECT_EQ(Query("SELECT COUNT(*) FROM items"), 0);
}

TEST_F(Persistence, ReplacesATableUnderItsName) {
    const auto pTable = Open();
    Write(*OpenChild(*pTable, u"child"), {{u"old", u"1"}});
    const auto pNew = NewTable();
    Write(*pNew, {{u"new", u"2"}});
    Attach(*pTable, u"child", *pNew);
    EXPECT_EQ(Query("SELECT COUNT(*) FROM items"), 1);
    EXPECT_EQ(Query("SELECT COUNT(*) FROM items WHERE key = 'new'"), 1);
}

TEST_F(Persistence, WritesClearedSectionsAndBlobs) {
    {
        const auto pTable = Open();
        CTransaction first(*pTable);
        first.SetValue(u"old", u"1");
        first.SetRow(5, u"row");
        first.Commit();
        const auto pSource = NewTable();
        Write(*pSource, {{u"new", u"2"}});
        CTransaction second(*pTable);
        second.Clear(store::MASK_ROWS);
        second.LoadBlob(pSource->GetBlob());
        second.SetRow(0, u"row");
        second.Commit();
    }
    const auto pContent = Content::Of(*Open());
    EXPECT_EQ(pContent->mapValues, (Values{{u"new", u"2"}}));
    EXPECT_EQ(pContent->arRows, (std::vector<Text>{u"row"}));
}

TEST_F(Persistence, AddsWhatTheTableHadToWhatTheFileHolds) {
    Write(*Open(), {{u"both", u"file"}, {u"file", u"1"}});
    {
        const auto pTable = NewTable();
        Write(*pTable, {{u"both", u"memory"}, {u"memory", u"2"}});
        Write(*OpenChild(*pTable, u"child"), {{u"k", u"v"}});
        ASSERT_EQ(Persist(*pTable, m_folder / "STORAGE.db"), S_OK);
    }
    const auto pContent = Content::Of(*Open());
    EXPECT_EQ(pContent->mapValues, (Values{{u"both", u"file"}, {u"file", u"1"}, {u"memory", u"2"}}));
    EXPECT_EQ(pContent->mapTables.at(u"child")->mapValues, (Values{{u"k", u"v"}}));
}

TEST_F(Persistence, TellsTheSinksWhatItLoaded) {
    Write(*Open(), {{u"k", u"v"}});
    const auto pTable = NewTable();
    CEventLog log;
    const auto pListener = OpenAgain(*pTable, &log);
    ASSERT_EQ(Persist(*pTable, m_folder / "STORAGE.db"), S_OK);
    EXPECT_THAT(log.WaitFor(2), testing::ElementsAre("<replace>", "k"));
}

TEST_F(Persistence, MakesAFileForThisUserAlone) {
    const auto pTable = NewTable();
    ASSERT_EQ(Persist(*pTable, m_folder / "new/folder/STORAGE.db"), S_OK);
    const auto status = std::filesystem::status(m_folder.GetPath() / "new/folder/STORAGE.db");
    EXPECT_EQ(status.permissions(), std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(Persistence, TakesAWiderFileAndItsJournalsFromTheOthers) {
    namespace fs = std::filesystem;
    const auto pTable = Open();  // keeps the journals there
    Write(*pTable, {{u"k", u"v"}});
    for (const char* pszEnding : {"", "-wal", "-shm"})
        fs::permissions(GetFile() + pszEnding, fs::perms::others_read, fs::perm_options::add);

    const auto pAgain = NewTable();
    EXPECT_EQ(Persist(*pAgain, m_folder / "STORAGE.db"), S_OK);

    for (const char* pszEnding : {"", "-wal", "-shm"})
        EXPECT_EQ(fs::status(GetFile() + pszEnding).permissions(), fs::perms::owner_read | fs::perms::owner_write)
            << pszEnding;
    EXPECT_EQ(pAgain->GetString(u"k"), u"v");
}

TEST_F(Persistence, LeavesAFileAloneThatIsNoDatabase) {
    m_folder.Write("STORAGE.db",
                   "this is a letter to my aunt, and longer than the head of a database would be ........");
    const std::string strBefore = m_folder.Read("STORAGE.db");
    const auto pTable = NewTable();

    EXPECT_EQ(Persist(*pTable, m_folder / "STORAGE.db"), E_FAIL);

    Write(*pTable, {{u"k", u"v"}});
    EXPECT_EQ(pTable->GetString(u"k"), u"v") << "the table works in memory";
    EXPECT_EQ(m_folder.Read("STORAGE.db"), strBefore);
}

TEST_F(Persistence, LeavesADatabaseOfSomebodyElseAlone) {
    CSqlite(GetFile()).Execute("CREATE TABLE letters(text); INSERT INTO letters VALUES('dear aunt')");
    std::filesystem::permissions(GetFile(), std::filesystem::perms(0644));
    const std::string strBefore = m_folder.Read("STORAGE.db");
    EXPECT_EQ(Persist(*NewTable(), m_folder / "STORAGE.db"), E_FAIL);
    EXPECT_EQ(m_folder.Read("STORAGE.db"), strBefore);
    EXPECT_EQ(std::filesystem::status(GetFile()).permissions(), std::filesystem::perms(0644));
}

TEST_F(Persistence, RefusesWhatCannotBeAFile) {
    const auto pTable = NewTable();
    EXPECT_EQ(Persist(*pTable, Widen(m_folder.GetPath().string())), E_FAIL);
    m_folder.Write("plain", "");
    EXPECT_EQ(Persist(*pTable, m_folder / "plain/STORAGE.db"), E_FAIL);
    auto* const pObject = GetObject<IQvantTable>(*pTable, IID_IQvantTable);
    EXPECT_EQ(pObject->Persist(nullptr), E_INVALIDARG);
    pObject->Release();
}

TEST_F(Persistence, RefusesAFileWhoseTablesGoInACircle) {
    {
        const auto pTable = Open();
        OpenChild(*OpenChild(*pTable, u"a"), u"b");
    }
    CSqlite(GetFile()).Execute("INSERT INTO links VALUES(3, 'back', 2)");
    EXPECT_EQ(Persist(*NewTable(), m_folder / "STORAGE.db"), E_FAIL);
}

TEST_F(Persistence, GivesUpWhatNoTableRefersTo) {
    Write(*Open(), {{u"k", u"v"}});
    CSqlite(GetFile()).Execute("INSERT INTO items VALUES(77, 'lost', 'x')");
    const auto pTable = Open();
    Write(*pTable, {{u"k", u"w"}});
    EXPECT_EQ(Query("SELECT COUNT(*) FROM items"), 1);
}

TEST_F(Persistence, BindsATableToOneFile) {
    const auto pTable = Open();
    EXPECT_EQ(Persist(*pTable, m_folder / "other.db"), E_INVALIDARG);
    const auto pOther = NewTable();
    ASSERT_EQ(Persist(*pOther, m_folder / "third.db"), S_OK);
    EXPECT_EQ(CodeOf([&] { Attach(*pTable, u"x", *pOther); }), E_INVALIDARG);
    EXPECT_FALSE(pTable->GetSubTable(u"x", nullptr));
    Write(*pOther, {{u"k", u"v"}});
    EXPECT_EQ(pOther->GetString(u"k"), u"v");
}

TEST_F(Persistence, TakesTheCommitsOfManyThreads) {
    {
        const auto pTable = Open();
        std::vector<std::jthread> arThreads;
        for (const TextView strName : {u"a", u"b", u"c"}) {
            arThreads.emplace_back([&, strName] {
                const auto pWriter = OpenAgain(*pTable);
                const auto pChild = OpenChild(*pWriter, strName);
                for (int i = 0; i < 20; ++i) {
                    Write(*pChild, {{Widen(std::to_string(i)), u"x"}});
                    Write(*pWriter, {{Text(strName) + Widen(std::to_string(i)), u"x"}});
                }
            });
        }
    }
    const auto pContent = Content::Of(*Open());
    EXPECT_EQ(pContent->mapValues.size(), 60u);
    for (const TextView strName : {u"a", u"b", u"c"}) {
        EXPECT_EQ(pContent->mapTables.at(Text(strName))->mapValues.size(), 20u);
    }
}

/// The commits of a killed process: all that it reported, and none by half.
TEST_F(Persistence, LosesNothingToAKill) {
    std::int32_t nReported = 0;
    {
        CChildProcess writer({QV_STORE_WRITER, "commits", GetFile()});
        for (int i = 0; i < 60; ++i) nReported = std::atoi(writer.ReadLine().c_str());
        writer.Kill();
    }
    ASSERT_EQ(nReported, 60);

    const auto pContent = Content::Of(*Open());

    const auto& values = pContent->mapValues;
    const int nLast = std::stoi(Narrow(values.at(u"first")));
    EXPECT_GE(nLast, nReported);
    EXPECT_EQ(values.at(u"second"), values.at(u"first"));
    EXPECT_EQ(values.size(), static_cast<std::size_t>(nLast) + 2) << "every commit up to the last one";
    for (int i = 1; i <= nLast; ++i) EXPECT_TRUE(values.contains(u"key" + Widen(std::to_string(i))));
    // Each third commit puts the child there, each fifth takes it away.
    int nChild = nLast;
    while (nChild % 3 != 0 && nChild % 5 != 0) --nChild;
    if (nChild % 5 == 0) nChild = 0;
    ASSERT_EQ(pContent->mapTables.contains(u"child"), nChild != 0);
    if (nChild != 0) {
        EXPECT_EQ(pContent->mapTables.at(u"child")->mapValues, (Values{{u"made", Widen(std::to_string(nChild))}}));
    }
}

TEST_F(Persistence, CatchesUpWhenTheDiskHasRoomAgain) {
    CChildProcess writer({QV_STORE_WRITER, "full", GetFile(), "100000"});
    ASSERT_EQ(writer.Wait(), 0) << "the table in memory goes on without the disk";

    const auto pContent = Content::Of(*Open());

    EXPECT_EQ(pContent->mapValues.size(), 101u);
    EXPECT_EQ(pContent->mapValues.at(u"key200"), u"200" + Text(1000, u'x'));
    EXPECT_EQ(pContent->mapTables.at(u"child")->mapValues.size(), 100u);
    EXPECT_EQ(pContent->mapTables.at(u"late")->mapValues, (Values{{u"k", u"v"}}));
}

}  // namespace
}  // namespace qvant
