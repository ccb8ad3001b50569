#include <filesystem>

#include "database_fixture.h"

namespace qvant::test {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(DatabaseTest, DatabasesThatAreThereAreKnownBeforeTheyAreDeclared) {
    OpenWords()->InsertRecord(u"Words", u"Key,Text", u"1,one");
    const auto pDatabase = Open();
    EXPECT_THAT(Words(*pDatabase), ElementsAre("1|one"));
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"2,two"), 1);
    EXPECT_THAT(Words(*Open()), ElementsAre("1|one", "2|two"));
}

TEST_F(DatabaseTest, ATableThatAnotherClientMadeMeanwhileIsFound) {
    const auto pEarlier = Open();
    EXPECT_THAT(Words(*pEarlier), ElementsAre("failed"));
    OpenWords()->InsertRecord(u"Words", u"Key,Text", u"1,one");
    EXPECT_THAT(Words(*pEarlier), ElementsAre("1|one"));
}

TEST_F(DatabaseTest, OfTablesOfOneNameTheDeclaredOneCountsThenTheSystemsOwn) {
    {
        const auto pDatabase = Open();
        for (const TextView strName : {u"Lumivale_A", u"Lumivale_B", u"Lumivale_C"}) {
            pDatabase->CreateTable(strName, u"Words", u"Key,Text");
            pDatabase->InsertRecord(u"Words", u"Key,Text", Text(u"1,").append(strName));
        }
    }
    EXPECT_THAT(Words(*Open(u"B")), ElementsAre("1|Lumivale_B"));
    EXPECT_THAT(Words(*Open(u"Other")), ElementsAre("1|Lumivale_A"));
    const auto pDatabase = Open(u"B");
    pDatabase->CreateTable(u"Lumivale_C", u"Words", u"Key,Text");
    EXPECT_THAT(Words(*pDatabase), ElementsAre("1|Lumivale_C"));
}

TEST_F(DatabaseTest, ANameBehindAStarIsAPathOfItsOwn) {
    const auto pDatabase = Open();
    const Text strPath = Text(u"*").append(m_folder / "else where/My.sqlite");
    EXPECT_EQ(pDatabase->CreateTable(strPath, u"Words", u"Key,Text"), 1);
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one"), 1);
    EXPECT_TRUE(fs::exists(m_folder.GetPath() / "else where/My.sqlite"));
    EXPECT_EQ(pDatabase->CreateTable(u"*C:\\ProgramData\\Qvant\\API\\DataBase\\CQYZ.db", u"CQYZ|0|0", u"Symbol,Date"),
              1);
    EXPECT_TRUE(fs::exists(m_folder.GetPath() / "common/Qvant/API/DataBase/CQYZ.db"));
}

TEST_F(DatabaseTest, ANameThatCantBeADatabasesIsTold) {
    const auto pDatabase = Open();
    for (const TextView strName :
         {TextView(u""), TextView(u"../up"), TextView(u"a\\b"), TextView(u"a\0b", 3), TextView(u"*"),
          TextView(u"*relative.db"), TextView(u"*D:\\data.db"), TextView(u"*C:\\ProgramDatabase\\x.db")}) {
        EXPECT_EQ(pDatabase->CreateTable(strName, u"Words", u"Key"), 0) << Narrow(strName);
        EXPECT_EQ(pDatabase->DropDatabase(strName, u""), 0) << Narrow(strName);
    }
    EXPECT_THAT(m_log.GetLines(), ElementsAre("DataBaseAPI CreateTable(Words): a name that can't be a database's"));
}

TEST_F(DatabaseTest, AnotherFolderTakesThePlaceOfTheHomeFolder) {
    DbAPIObj database;
    ASSERT_TRUE(database.Create(&m_log, u""));
    EXPECT_EQ(database.OpenSystem(m_folder / "elsewhere", u""), 1);
    EXPECT_EQ(database.CreateTable(u"Test", u"Words", u"Key"), 1);
    EXPECT_TRUE(fs::exists(m_folder.GetPath() / "elsewhere/Data/API/Test.db"));
    EXPECT_EQ(database.OpenSystem(u"below", u""), 1);
    EXPECT_EQ(database.CreateTable(u"Test", u"Words", u"Key"), 1);
    EXPECT_TRUE(fs::exists(m_folder.GetPath() / "home/below/Data/API/Test.db"));
}

TEST_F(DatabaseTest, ADropTakesOneTableOrAll) {
    const auto pDatabase = OpenWords();
    pDatabase->CreateTable(u"Test", u"Version", u"Name,Version");
    pDatabase->InsertRecord(u"Version", u"Name,Version", u"Main,1");
    EXPECT_EQ(pDatabase->DropDatabase(u"Test", u"Words"), 1);
    EXPECT_THAT(Words(*pDatabase), ElementsAre("failed"));
    EXPECT_THAT(Query(*pDatabase, u"Version", {u"Version"}), ElementsAre("1"));
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"Words", u"Key,Text"), 1);
    EXPECT_EQ(pDatabase->DropDatabase(u"Test", u""), 1);
    EXPECT_EQ(Count("SELECT COUNT(*) FROM sqlite_master"), 0);
    EXPECT_THAT(Query(*pDatabase, u"Version", {u"Version"}), ElementsAre("failed"));
    EXPECT_EQ(pDatabase->DropDatabase(u"Test", u"Nothing"), 1);
    EXPECT_EQ(pDatabase->DropDatabase(u"Nowhere", u""), 1) << "where there is nothing, nothing is left";
    EXPECT_FALSE(fs::exists(GetFile("Nowhere")));
    EXPECT_THAT(m_log.GetLines(), IsEmpty());
}

}  // namespace qvant::test
