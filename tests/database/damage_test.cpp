#include <filesystem>
#include <fstream>

#include "database_fixture.h"

namespace qvant::test {

namespace fs = std::filesystem;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// Writes over bytes of a file that is there.
void Overwrite(const std::string& strFile, std::streamoff nOffset, const std::string& strBytes) {
    std::fstream file(strFile, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(nOffset);
    file << strBytes;
}

TEST_F(DatabaseTest, AFileThatWasDeletedIsMadeAnewByTheNextDeclaration) {
    const auto pDatabase = OpenWords();
    pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one");
    fs::remove(GetFile());
    EXPECT_THAT(Words(*pDatabase), ElementsAre("failed"));
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"2,two"), 0);
    EXPECT_FALSE(fs::exists(GetFile())) << "nothing but a declaration makes a file";
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"Words", u"Key,Text"), 1);
    EXPECT_THAT(Words(*pDatabase), IsEmpty());
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"3,three"), 1);
    EXPECT_THAT(Words(*Open()), ElementsAre("3|three"));
}

TEST_F(DatabaseTest, AFileThatWasReplacedIsReadAnew) {
    const auto pDatabase = OpenWords();
    pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one");
    fs::rename(GetFile(), GetFile("Old"));
    Execute("CREATE TABLE Words(Key, Text); INSERT INTO Words VALUES('2', 'two')");
    EXPECT_THAT(Words(*pDatabase), ElementsAre("2|two"));
}

TEST_F(DatabaseTest, AFileIsForItsUserAlone) {
    OpenWords();
    EXPECT_EQ(fs::status(GetFile()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(DatabaseTest, AWiderFileIsTakenFromTheOthersWhenItIsOpened) {
    OpenWords()->InsertRecord(u"Words", u"Key,Text", u"1,one");
    fs::permissions(GetFile(), fs::perms::group_read | fs::perms::others_read, fs::perm_options::add);
    EXPECT_THAT(Words(*Open()), ElementsAre("1|one"));
    EXPECT_EQ(fs::status(GetFile()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(DatabaseTest, JunkIsToldAndLeftAsItIs) {
    const std::string strJunk(5000, 'j');
    m_folder.Write("home/Data/API/Test.db", strJunk);
    const auto pDatabase = Open();
    EXPECT_THAT(m_log.GetLines(), ElementsAre("DataBaseAPI OpenSystem(Test): Test.db: file is not a database"));
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"Words", u"Key,Text"), 0);
    EXPECT_THAT(Words(*pDatabase), ElementsAre("failed"));
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one"), 0);
    EXPECT_EQ(pDatabase->DeleteRecord(u"Words"), 0);
    pDatabase->BeginBatch();
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one"), 0);
    pDatabase->EndBatch();
    EXPECT_EQ(m_folder.Read("home/Data/API/Test.db"), strJunk);
}

TEST_F(DatabaseTest, JunkGoesWhenItsDatabaseIsDropped) {
    m_folder.Write("home/Data/API/Test.db", std::string(5000, 'j'));
    const auto pDatabase = Open();
    EXPECT_EQ(pDatabase->DropDatabase(u"Test", u"Words"), 1);
    EXPECT_FALSE(fs::exists(GetFile()));
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"Words", u"Key,Text"), 1);
    EXPECT_THAT(Words(*pDatabase), IsEmpty());
}

TEST_F(DatabaseTest, PagesOverwrittenByAnotherProgramAreToldAndGoWithADrop) {
    {
        const auto pDatabase = OpenWords();
        pDatabase->BeginBatch();
        for (int i = 0; i < 5000; ++i) pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one and more of it");
        ASSERT_EQ(pDatabase->EndBatch(), 1);
    }
    Overwrite(GetFile(), 8192, std::string(100'000, '\xEE'));
    const auto pDatabase = Open();
    EXPECT_THAT(Words(*pDatabase), ElementsAre("failed"));
    EXPECT_THAT(m_log.GetLines(), ElementsAre(HasSubstr("malformed")));
    EXPECT_EQ(pDatabase->DropDatabase(u"Test", u"Words"), 1);
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"Words", u"Key,Text"), 1);
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one"), 1);
    EXPECT_THAT(Words(*pDatabase), ElementsAre("1|one"));
}

TEST_F(DatabaseTest, AFileCutUnderAnOpenClientIsToldAndNothingFalls) {
    const auto pDatabase = OpenWords();
    pDatabase->BeginBatch();
    for (int i = 0; i < 20'000; ++i) pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one and more of it");
    ASSERT_EQ(pDatabase->EndBatch(), 1);
    fs::resize_file(GetFile(), 20'000);
    EXPECT_THAT(Words(*pDatabase), ElementsAre("failed"));
    EXPECT_THAT(m_log.GetLines(), SizeIs(1));
    fs::resize_file(GetFile(), 0);
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one"), 0);
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"Words", u"Key,Text"), 1) << "an empty file is an empty database";
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one"), 1);
    EXPECT_THAT(Words(*pDatabase), ElementsAre("1|one"));
}

TEST_F(DatabaseTest, AFolderInPlaceOfTheFileIsTold) {
    fs::create_directories(GetFile() + "/inside");
    const auto pDatabase = Open();
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"Words", u"Key,Text"), 0);
    EXPECT_EQ(pDatabase->DropDatabase(u"Test", u"Words"), 0);
    EXPECT_THAT(Words(*pDatabase), ElementsAre("failed"));
    EXPECT_TRUE(fs::exists(GetFile() + "/inside"));
    EXPECT_THAT(m_log.GetLines(), ElementsAre("DataBaseAPI CreateTable(Words): unable to open database file"));
}

TEST_F(DatabaseTest, AFileInPlaceOfTheFolderIsTold) {
    m_folder.Write("home/Data", "in the way");
    const auto pDatabase = Open();
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"Words", u"Key,Text"), 0);
    EXPECT_THAT(m_log.GetLines(), SizeIs(1));
}

/// A file whose header names a later version of writing may be read and not be written, by anybody.
TEST_F(DatabaseTest, AFileThatCantBeWrittenIsRead) {
    OpenWords()->InsertRecord(u"Words", u"Key,Text", u"1,one");
    Overwrite(GetFile(), 18, "\x03");
    const auto pDatabase = OpenWords();
    EXPECT_THAT(Words(*pDatabase, u"Key", u"1"), ElementsAre("1|one"));
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"2,two"), 0);
    EXPECT_EQ(pDatabase->DeleteRecord(u"Words"), 0);
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"More", u"Key"), 0);
    EXPECT_THAT(m_log.GetLines(), ElementsAre(HasSubstr("readonly database")));
    pDatabase->BeginBatch();
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"2,two"), 0);
    EXPECT_EQ(pDatabase->EndBatch(), 0);
    EXPECT_THAT(Words(*pDatabase), ElementsAre("1|one"));
}

TEST_F(DatabaseTest, ATableWithOtherColumnsRefusesTheRowsOfThisOne) {
    fs::create_directories(fs::path(GetFile()).parent_path());
    Execute("CREATE TABLE Words(Other)");
    const auto pDatabase = OpenWords();
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one"), 0);
    EXPECT_THAT(m_log.GetLines(), ElementsAre(HasSubstr("has no column named Key")));
}

}  // namespace qvant::test
