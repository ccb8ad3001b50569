#include "database_fixture.h"

namespace qvant::test {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

TEST_F(DatabaseTest, ATableIsMadeWithATextColumnForEachField) {
    const auto pDatabase = Open();
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"Holiday", u"Date,Type,ExchangeList"), 1);
    EXPECT_EQ(Count("SELECT COUNT(*) FROM pragma_table_info('Holiday') WHERE type = 'TEXT'"), 3);
    EXPECT_EQ(Count("SELECT name = 'Date' FROM pragma_table_info('Holiday') WHERE cid = 0"), 1);
    EXPECT_EQ(Count("SELECT name = 'ExchangeList' FROM pragma_table_info('Holiday') WHERE cid = 2"), 1);
}

TEST_F(DatabaseTest, ATableThatIsThereStaysAsItIs) {
    const auto pDatabase = OpenWords();
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one"), 1);
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"Words", u"Key,Text,More"), 1);
    EXPECT_THAT(Words(*pDatabase), ElementsAre("1|one"));
    EXPECT_EQ(Count("SELECT COUNT(*) FROM pragma_table_info('Words')"), 2);
}

TEST_F(DatabaseTest, ARowComesBackByTheFieldsOfItsInsert) {
    const auto pDatabase = OpenWords();
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Text,Key", u"one,1"), 1);
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Text,Key", u"小型 😀,2"), 1);
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key", u"3"), 1);
    EXPECT_THAT(Words(*pDatabase), ElementsAre("1|one", "2|小型 😀", "3|"));
    EXPECT_THAT(Words(*pDatabase, u"Key", u"2"), ElementsAre("2|小型 😀"));
    EXPECT_THAT(Words(*pDatabase, u"Text", u"one"), ElementsAre("1|one"));
    EXPECT_THAT(Words(*pDatabase, u"Text", u"ONE"), IsEmpty()) << "text is equal to itself alone";
    EXPECT_THAT(m_log.GetLines(), IsEmpty());
}

TEST_F(DatabaseTest, ARowHasNothingOfTheRowBeforeIt) {
    const auto pDatabase = OpenWords();
    Execute("CREATE TRIGGER refuse BEFORE INSERT ON Words WHEN NEW.Text = 'no' BEGIN SELECT RAISE(ABORT, 'no'); END");
    const Text strLong(5'000, u'x');
    for (const Text& strValues : {Text(u"1,same"), Text(u"2,same"), Text(u"3"), u"4," + strLong, u"5," + strLong,
                                  Text(u"6,same"), Text(u"7,"), Text(u"7,")}) {
        EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", strValues), 1);
        EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"8,no"), 0);
        EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Text,Key", u"other,9"), 1);
        EXPECT_EQ(pDatabase->DeleteRecord(u"Words", u"Key", u"9"), 1);
    }
    const std::string strBytes(5'000, 'x');
    EXPECT_THAT(Words(*pDatabase),
                ElementsAre("1|same", "2|same", "3|", "4|" + strBytes, "5|" + strBytes, "6|same", "7|", "7|"));
}

TEST_F(DatabaseTest, RowsOfContractListKeepTheirCommas) {
    const auto pDatabase = Open();
    const TextView strFields = u"Name,Symbol,Path,Lang,Status,TimeStamp";
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"ContractList", strFields), 1);
    EXPECT_EQ(pDatabase->InsertRecord(
                  u"ContractList", strFields,
                  u"FUT|QV.F.CME.ES.202012#@QV.F.CME.ES.202012#@FUT.US, all#@期货.美国#@1#@1700000000||#@"),
              1);
    EXPECT_THAT(Query(*pDatabase, u"ContractList", {u"Name", u"Symbol", u"Path", u"Lang", u"Status", u"TimeStamp"}),
                ElementsAre("FUT|QV.F.CME.ES.202012|QV.F.CME.ES.202012|FUT.US, all|期货.美国|1|1700000000"));
}

TEST_F(DatabaseTest, ValuesThatAreMissingAreEmptyAndThoseTooManyFallAwayAndAreTold) {
    const auto pDatabase = OpenWords();
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"1"), 1);
    EXPECT_THAT(m_log.GetLines(), IsEmpty());
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"2,Gold, refined,x"), 1);
    EXPECT_THAT(Words(*pDatabase), ElementsAre("1|", "2|Gold"));
    EXPECT_THAT(m_log.GetLines(),
                ElementsAre("DataBaseAPI InsertRecord(Words): more values than fields: 2,Gold, refined,x"));
}

TEST_F(DatabaseTest, ANameIsOpaqueText) {
    const auto pDatabase = Open();
    for (const TextView strTable : {u"CQYZ|0|0", u"a\"b'c; DROP TABLE x", u"select", u"期货"}) {
        EXPECT_EQ(pDatabase->CreateTable(u"Test", strTable, u"Symbol,order,\"x\""), 1);
        EXPECT_EQ(pDatabase->InsertRecord(strTable, u"Symbol,order,\"x\"", u"s,o,x"), 1);
        EXPECT_THAT(Query(*pDatabase, strTable, {u"Symbol", u"order", u"\"x\""}, u"order", u"o"), ElementsAre("s|o|x"));
    }
    EXPECT_EQ(pDatabase->CreateTable(u"Test", TextView(u"a\0b", 3), u"Key"), 0);
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"", u"Key"), 0);
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"NoFields", u""), 0);
    EXPECT_EQ(pDatabase->CreateTable(u"Test", u"Twice", u"Key,Key"), 0);
}

TEST_F(DatabaseTest, ADeleteTakesTheRowsOfAValueOrAll) {
    const auto pDatabase = OpenWords();
    for (const TextView strRow : {u"1,one", u"2,two", u"3,two", u"4,"}) {
        EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", strRow), 1);
    }
    EXPECT_EQ(pDatabase->DeleteRecord(u"Words", u"Text", u"two"), 1);
    EXPECT_THAT(Words(*pDatabase), ElementsAre("1|one", "4|"));
    EXPECT_EQ(pDatabase->DeleteRecord(u"Words", u"Text", u""), 1);
    EXPECT_THAT(Words(*pDatabase), ElementsAre("1|one"));
    EXPECT_EQ(pDatabase->DeleteRecord(u"Words", u"", u"one"), 0) << "a value without a field deletes nothing";
    EXPECT_THAT(Words(*pDatabase), ElementsAre("1|one"));
    EXPECT_EQ(pDatabase->DeleteRecord(u"Words"), 1);
    EXPECT_THAT(Words(*pDatabase), IsEmpty());
    EXPECT_EQ(pDatabase->DeleteRecord(u"Words"), 1) << "also when there is nothing to delete";
}

TEST_F(DatabaseTest, AQueryOfATableThatIsntThereFailsWithoutALine) {
    const auto pDatabase = Open();
    EXPECT_THAT(Query(*pDatabase, u"Version", {}, u"Name", u"Main"), ElementsAre("failed"));
    EXPECT_THAT(m_log.GetLines(), IsEmpty());
    EXPECT_EQ(pDatabase->InsertRecord(u"Version", u"Name", u"Main"), 0);
    EXPECT_THAT(m_log.GetLines(), ElementsAre("DataBaseAPI InsertRecord(Version): no such table"));
}

TEST_F(DatabaseTest, AFailedQueryLeavesTheRecordSetAsItWas) {
    const auto pDatabase = OpenWords();
    pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one");
    const auto pSet = CRecordSet::Create();
    const auto pItem = CRecordItem::Create();
    ASSERT_TRUE(pDatabase->QueryRecords(u"Words", u"", u"", *pSet));
    EXPECT_FALSE(pDatabase->QueryRecords(u"Nothing", u"", u"", *pSet));
    EXPECT_FALSE(pDatabase->QueryRecords(u"Words", u"NoField", u"x", *pSet));
    EXPECT_FALSE(pDatabase->QueryRecords(u"Words", u"", u"x", *pSet));
    EXPECT_EQ(pSet->GetCount(), 1);
    ASSERT_TRUE(pSet->Fetch(0, *pItem));
    EXPECT_EQ(pItem->GetField(u"Text"), u"one");
    EXPECT_THAT(m_log.GetLines(), ElementsAre("DataBaseAPI QueryRecords(Words): no such column: NoField",
                                              "DataBaseAPI QueryRecords(Words): a value without a field"));
}

TEST_F(DatabaseTest, AFetchOutsideOfTheResultLeavesTheItemAsItWas) {
    const auto pDatabase = OpenWords();
    pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one");
    const auto pSet = CRecordSet::Create();
    const auto pItem = CRecordItem::Create();
    EXPECT_EQ(pSet->GetCount(), 0);
    EXPECT_FALSE(pSet->Fetch(0, *pItem));
    EXPECT_EQ(pItem->GetField(u"Text"), u"");
    ASSERT_TRUE(pDatabase->QueryRecords(u"Words", u"", u"", *pSet));
    ASSERT_TRUE(pSet->Fetch(0, *pItem));
    EXPECT_FALSE(pSet->Fetch(1, *pItem));
    EXPECT_FALSE(pSet->Fetch(-1, *pItem));
    EXPECT_EQ(pItem->GetField(u"Text"), u"one");
    EXPECT_EQ(pItem->GetField(u"NoField"), u"");
}

TEST_F(DatabaseTest, AResultStandsWhenItsRowsAndItsDatabaseAreGone) {
    const auto pSet = CRecordSet::Create();
    const auto pItem = CRecordItem::Create();
    {
        const auto pDatabase = OpenWords();
        pDatabase->InsertRecord(u"Words", u"Key,Text", u"1,one");
        ASSERT_TRUE(pDatabase->QueryRecords(u"Words", u"", u"", *pSet));
        pDatabase->DeleteRecord(u"Words");
    }
    ASSERT_TRUE(pSet->Fetch(0, *pItem));
    EXPECT_EQ(pItem->GetField(u"Text"), u"one");
}

TEST_F(DatabaseTest, ALargeResultIsReadAsFarAsItsRowsAreThere) {
    const auto pDatabase = OpenWords();
    const Text strLong(1000, u'x');
    pDatabase->BeginBatch();
    for (int i = 0; i < 5000; ++i) {
        pDatabase->InsertRecord(u"Words", u"Key,Text", Widen(std::to_string(i)) + u"," + strLong);
    }
    ASSERT_EQ(pDatabase->EndBatch(), 1);
    const auto pSet = CRecordSet::Create();
    const auto pItem = CRecordItem::Create();
    const auto expectAll = [&] {
        ASSERT_EQ(pSet->GetCount(), 5000);
        for (const int i : {0, 4999, 1100, 1, 3000, 2999, 2998}) {
            ASSERT_TRUE(pSet->Fetch(i, *pItem)) << i;
            EXPECT_EQ(pItem->GetField(u"Key"), Widen(std::to_string(i)));
        }
    };
    ASSERT_TRUE(pDatabase->QueryRecords(u"Words", u"Text", strLong, *pSet));
    expectAll();
    ASSERT_TRUE(pDatabase->QueryRecords(u"Words", {}, {}, *pSet));
    expectAll();
    pDatabase->DeleteRecord(u"Words");
    EXPECT_TRUE(pSet->Fetch(0, *pItem)) << "held";
    EXPECT_FALSE(pSet->Fetch(4500, *pItem)) << "not held, and gone";
    EXPECT_EQ(pItem->GetField(u"Key"), u"0");
}

TEST_F(DatabaseTest, WhatAnotherToolWroteComesAsText) {
    const auto pDatabase = OpenWords();
    Execute("INSERT INTO Words VALUES(7, NULL); INSERT INTO Words VALUES('8', x'61ff62'); ALTER TABLE Words ADD z");
    EXPECT_THAT(Query(*pDatabase, u"Words", {u"Key", u"Text", u"z"}), ElementsAre("7||",
                                                                                  "8|a\xEF\xBF\xBD"
                                                                                  "b|"));
}

TEST_F(DatabaseTest, ColumnsThatAnotherToolRenamedOrAddedAreThereByTheirNewNames) {
    const auto pDatabase = OpenWords();
    ASSERT_EQ(pDatabase->InsertRecord(u"Words", u"Key,Text", u"a,Apfel"), 1);
    ASSERT_EQ(Words(*pDatabase, u"Key", u"a"), Rows({"a|Apfel"}));
    Execute("ALTER TABLE Words RENAME COLUMN Text TO Word; ALTER TABLE Words ADD COLUMN Plural TEXT DEFAULT 'Äpfel'");
    const std::vector<Text> arFields{u"Key", u"Text", u"Word", u"Plural"};
    EXPECT_EQ(Query(*pDatabase, u"Words", arFields, u"Key", u"a"), Rows({"a||Apfel|Äpfel"}));
    EXPECT_EQ(Query(*pDatabase, u"Words", arFields), Rows({"a||Apfel|Äpfel"}));
}

TEST_F(DatabaseTest, TheFirstFieldOfATableIsIndexed) {
    const auto pDatabase = OpenWords();
    EXPECT_EQ(Count("SELECT COUNT(*) FROM pragma_index_list('Words')"), 1);
    EXPECT_EQ(Count("SELECT name = 'Key' FROM pragma_index_info('key of Words')"), 1);
}

TEST_F(DatabaseTest, AClientWithoutADatabaseObjectDoesNothing) {
    DbAPIObj database;
    const auto pSet = CRecordSet::Create();
    EXPECT_EQ(database.OpenSystem(u".", u"x"), 0);
    EXPECT_EQ(database.CreateTable(u"Test", u"T", u"A"), 0);
    EXPECT_EQ(database.InsertRecord(u"T", u"A", u"1"), 0);
    EXPECT_EQ(database.DeleteRecord(u"T"), 0);
    EXPECT_FALSE(database.QueryRecords(u"T", u"", u"", *pSet));
    EXPECT_EQ(database.DropDatabase(u"Test", u""), 0);
    database.BeginBatch();
    EXPECT_EQ(database.EndBatch(), 0);
}

TEST_F(DatabaseTest, AFaultThatComesAgainAndAgainIsToldOnce) {
    const auto pDatabase = OpenWords();
    for (int i = 0; i < 5; ++i) EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"NoField", u"1"), 0);
    EXPECT_THAT(m_log.GetLines(), SizeIs(1));
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"Key", u"1"), 1);
    EXPECT_EQ(pDatabase->InsertRecord(u"Words", u"NoField", u"1"), 0);
    EXPECT_THAT(m_log.GetLines(), SizeIs(2));
    EXPECT_THAT(m_log.GetLines(), Each(HasSubstr("NoField")));
}

}  // namespace qvant::test
