#include <atomic>
#include <filesystem>
#include <thread>

#include "database_fixture.h"

namespace qvant::test {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

void InsertWords(DbAPIObj& database, int nCount, const Text& strText) {
    for (int i = 0; i < nCount; ++i) {
        EXPECT_EQ(database.InsertRecord(u"Words", u"Key,Text", Widen(std::to_string(i)) + u"," + strText), 1);
    }
}

TEST_F(DatabaseTest, ABatchIsSeenByOthersAtItsEnd) {
    const auto pWriter = OpenWords();
    const auto pReader = OpenWords();
    InsertWords(*pWriter, 1, u"old");
    pWriter->BeginBatch();
    EXPECT_EQ(pWriter->DeleteRecord(u"Words"), 1);
    InsertWords(*pWriter, 2, u"new");
    EXPECT_THAT(Words(*pWriter), ElementsAre("0|new", "1|new"));
    EXPECT_THAT(Words(*pReader), ElementsAre("0|old"));
    EXPECT_EQ(pWriter->EndBatch(), 1);
    EXPECT_THAT(Words(*pReader), ElementsAre("0|new", "1|new"));
    EXPECT_EQ(pWriter->EndBatch(), 1) << "without a batch there is nothing to end";
}

TEST_F(DatabaseTest, ABatchThatIsNeverEndedLeavesNothing) {
    {
        const auto pWriter = OpenWords();
        pWriter->BeginBatch();
        InsertWords(*pWriter, 3, u"lost");
    }
    EXPECT_THAT(Words(*OpenWords()), IsEmpty());
}

TEST_F(DatabaseTest, ABatchOverTwoFilesEndsBoth) {
    const auto pDatabase = OpenWords();
    pDatabase->CreateTable(u"Other", u"Numbers", u"Key");
    pDatabase->BeginBatch();
    InsertWords(*pDatabase, 1, u"one");
    EXPECT_EQ(pDatabase->InsertRecord(u"Numbers", u"Key", u"1"), 1);
    EXPECT_EQ(pDatabase->EndBatch(), 1);
    EXPECT_THAT(Words(*Open()), ElementsAre("0|one"));
    EXPECT_THAT(Query(*Open(), u"Numbers", {u"Key"}), ElementsAre("1"));
}

TEST_F(DatabaseTest, ABatchLeavesTheIndexAsItWas) {
    const auto pDatabase = OpenWords();
    const char* const INDEXED = "SELECT COUNT(*) FROM pragma_index_info('key of Words') WHERE name = 'Key'";
    for (const auto* pszText : {u"first", u"second"}) {
        pDatabase->BeginBatch();
        pDatabase->DeleteRecord(u"Words");
        InsertWords(*pDatabase, 300, pszText);
        EXPECT_EQ(pDatabase->EndBatch(), 1);
        EXPECT_EQ(Count(INDEXED), 1);
        EXPECT_EQ(Count("SELECT COUNT(*) FROM Words INDEXED BY 'key of Words' WHERE Key = '299'"), 1);
    }
    Execute("DROP INDEX 'key of Words'; DELETE FROM Words");
    pDatabase->BeginBatch();
    InsertWords(*pDatabase, 2, u"third");
    EXPECT_EQ(pDatabase->EndBatch(), 1);
    EXPECT_EQ(Count(INDEXED), 0) << "a table without one gets none";
}

TEST_F(DatabaseTest, ARowThatIsRefusedLeavesTheRestOfTheBatch) {
    const auto pDatabase = OpenWords();
    pDatabase->BeginBatch();
    InsertWords(*pDatabase, 1, u"one");
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"NoField", u"x"), 0);
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"2,two"), 1);
    EXPECT_EQ(pDatabase->EndBatch(), 1);
    EXPECT_THAT(Words(*pDatabase), ElementsAre("0|one", "2|two"));
}

TEST_F(DatabaseTest, ValuesTooManyAreToldOnceABatch) {
    const auto pDatabase = OpenWords();
    for (int i = 0; i < 2; ++i) {
        pDatabase->BeginBatch();
        for (int j = 0; j < 10; ++j) EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,2,3"), 1);
        EXPECT_EQ(pDatabase->EndBatch(), 1);
    }
    EXPECT_THAT(m_log.GetLines(), SizeIs(2));
}

TEST_F(DatabaseTest, TablesAreMadeAndDroppedWithinABatch) {
    const auto pDatabase = OpenWords();
    pDatabase->BeginBatch();
    InsertWords(*pDatabase, 1, u"one");
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"More", u"Key"), 1);
    EXPECT_EQ(pDatabase->InsertRecord(u"More", u"Key", u"1"), 1);
    EXPECT_EQ(pDatabase->DropDatabase(u"Test", u"Words"), 1);
    EXPECT_EQ(pDatabase->EndBatch(), 1);
    EXPECT_THAT(Query(*pDatabase, u"More", {u"Key"}), ElementsAre("1"));
    EXPECT_THAT(Words(*pDatabase), ElementsAre("failed"));
}

TEST_F(DatabaseTest, AFileDeletedInTheMiddleOfABatchIsMadeAnewByTheNextDeclaration) {
    const auto pDatabase = OpenWords();
    pDatabase->BeginBatch();
    InsertWords(*pDatabase, 100, u"lost");
    std::filesystem::remove(GetFile());
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"Words", u"Key,Text"), 1);
    pDatabase->BeginBatch();
    InsertWords(*pDatabase, 2, u"kept");
    EXPECT_EQ(pDatabase->EndBatch(), 1);
    EXPECT_THAT(Words(*Open()), ElementsAre("0|kept", "1|kept"));
}

TEST_F(DatabaseTest, ABatchWhoseFileIsDeletedUnderItFailsAtItsEnd) {
    const auto pDatabase = OpenWords();
    pDatabase->BeginBatch();
    InsertWords(*pDatabase, 2, u"lost");
    std::filesystem::remove(GetFile());
    EXPECT_EQ(pDatabase->EndBatch(), 0);
    EXPECT_THAT(m_log.GetLines(), ElementsAre("DataBaseAPI EndBatch(Test.db): the file is another one"));
    EXPECT_FALSE(std::filesystem::exists(GetFile()));
}

/// Readers on clients of their own see the rows of one build or of the next, and never some of each.
TEST_F(DatabaseTest, ReadersBesideAWriterSeeWholeBatches) {
    constexpr int ROWS = 200;
    const auto pWriter = OpenWords();
    const auto build = [&](int nBuild) {
        pWriter->BeginBatch();
        pWriter->DeleteRecord(u"Words");
        InsertWords(*pWriter, ROWS, u"build" + Widen(std::to_string(nBuild)));
        EXPECT_EQ(pWriter->EndBatch(), 1);
    };
    build(0);
    std::atomic<int> nReads{0};
    std::atomic<bool> bDone{false};
    std::vector<std::jthread> arReaders;
    for (int i = 0; i < 3; ++i) {
        arReaders.emplace_back([&] {
            const auto pReader = Open();
            CRecordResults results;
            results.Create();
            while (!bDone) {
                CRecordQuery query(*pReader, results, u"Words");
                if (!query.Succeeded()) continue;  // the writer had the file
                ASSERT_EQ(query.GetCount(), ROWS);
                ASSERT_TRUE(query.Fetch(0));
                const Text strBuild = query.GetField(u"Text");
                ASSERT_TRUE(query.Fetch(ROWS - 1));
                ASSERT_EQ(query.GetField(u"Text"), strBuild);
                ++nReads;
            }
        });
    }
    for (int nBuild = 1; nBuild <= 20 || nReads < 20; ++nBuild) build(nBuild);
    bDone = true;
}

}  // namespace qvant::test
