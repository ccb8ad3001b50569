#include "model/storage_tables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/format.h"
#include "model/test_host.h"

namespace qvant {
namespace {

class StorageTables : public testing::Test {
protected:
    /// The record "Lumivale" as every other reader sees it; null when it isn't there.
    std::unique_ptr<CBaseData> OpenRecord() {
        const auto pStorage = m_host.OpenTable(u"STORAGE", nullptr);
        return pStorage ? pStorage->GetSubTable(u"Lumivale", nullptr) : nullptr;
    }
    /// What a run before this one left in the record.
    static void AddTable(CBaseData& record) {
        ASSERT_NE(OpenChild(record, u"left"), nullptr);
        ASSERT_NE(record.GetSubTable(u"left", nullptr), nullptr);
    }

    CTestHost m_host;
    RunState m_state;
    CStorageTables m_storage{m_host, m_state, {}};
};

TEST_F(StorageTables, StoreTheMarginsOfLongListsAsThoseOfShortOnes) {
    for (const int nCount : {3, 20'000}) {
        CSymbolTable symbols;
        CSymbolColumn mapLong(symbols, 0);
        CSymbolColumn mapShort(symbols, 1);
        for (int i = 0; i < nCount; ++i) {
            mapLong.insert_or_assign(Format(u"QV.F.CME.P%d", i), Format(u"0.%d", i));
            mapShort.insert_or_assign(Format(u"QV.F.CME.P%d", i), Format(u"1.%d", i));
        }
        m_host[u"LongMarginRate"];
        m_host[u"ShortMarginRate"];
        m_storage.StoreMarginRates(mapLong, mapShort);
        for (const int i : {0, nCount / 2, nCount - 1}) {
            EXPECT_EQ(m_host[u"LongMarginRate"].GetString(Format(u"QV.F.CME.P%d", i)), Format(u"0.%d", i));
            EXPECT_EQ(m_host[u"ShortMarginRate"].GetString(Format(u"QV.F.CME.P%d", i)), Format(u"1.%d", i));
        }
    }
}

TEST_F(StorageTables, StoreTheLongMarginsOfALongListWithoutATableForTheShortOnes) {
    CSymbolTable symbols;
    CSymbolColumn mapMargins(symbols, 0);
    for (int i = 0; i < 20'000; ++i) mapMargins.insert_or_assign(Format(u"QV.F.CME.P%d", i), u"0.1");
    m_host[u"LongMarginRate"];
    m_storage.StoreMarginRates(mapMargins, mapMargins);
    EXPECT_EQ(m_host[u"LongMarginRate"].GetString(u"QV.F.CME.P19999"), u"0.1");
}

TEST_F(StorageTables, TellOfAVersionBeforeReadersSeeIt) {
    m_host[u"STORAGE"];
    m_storage.InitContractList(nullptr);
    m_state.m_strVersion = u"4";
    ASSERT_TRUE(m_storage.StoreVersion(false));
    std::vector<Text> arSeen;
    m_host.m_onLog = [&](TextView strLine) {
        arSeen.push_back(Text(strLine) + u" " + OpenRecord()->GetString(u"Version"));
    };
    m_state.m_strVersion = u"5";
    ASSERT_TRUE(m_storage.StoreVersion(true));
    EXPECT_THAT(arSeen, testing::ElementsAre(u"QuerySecuritiesInfo-SaveVer:5 4"));
    EXPECT_EQ(OpenRecord()->GetString(u"Version"), u"5");
}

TEST_F(StorageTables, TellOfAMissingRecordBeforeTheyMakeIt) {
    m_host[u"STORAGE"];
    std::vector<Text> arSeen;
    m_host.m_onLog = [&](TextView strLine) { arSeen.push_back(Text(strLine) + (OpenRecord() ? u" made" : u"")); };
    m_storage.InitContractList(nullptr);
    EXPECT_THAT(arSeen, testing::ElementsAre(u"No STORAGE-Lumivale"));
    EXPECT_NE(OpenRecord(), nullptr);
}

TEST_F(StorageTables, EmptyTheTablesOfARecordThatWasThereBefore) {
    AddTable(*OpenChild(m_host[u"STORAGE"], u"Lumivale"));
    m_storage.InitContractList(nullptr);
    EXPECT_EQ(OpenRecord()->GetSubTable(u"left", nullptr), nullptr);
}

TEST_F(StorageTables, AttachTheHolidaysFilledWithWhatTheDatabaseHas) {
    const auto fill = [this](CBaseData& child) {
        EXPECT_EQ(m_host[u"STORAGE"].GetSubTable(u"Holiday", nullptr), nullptr);
        CTransaction transaction(child);
        transaction.SetValue(u"20240101", u"H,CME");
        transaction.Commit();
    };
    CStorageTables storage(m_host, m_state, {.fillHolidays = fill});
    m_host[u"STORAGE"];
    m_host[u"Holiday"];
    storage.InitContractList(nullptr);
    const auto pChild = m_host[u"STORAGE"].GetSubTable(u"Holiday", nullptr);
    ASSERT_NE(pChild, nullptr);
    EXPECT_EQ(pChild->GetString(u"20240101"), u"H,CME");
    EXPECT_EQ(m_host[u"Holiday"].GetString(u"20240101"), u"H,CME");
}

TEST_F(StorageTables, TakeTheHolidaysOfTheRecordThatIsThereAndAskNobody) {
    CStorageTables storage(m_host, m_state, {.fillHolidays = [](CBaseData&) { FAIL() << "the record is there"; }});
    const auto pChild = OpenChild(m_host[u"STORAGE"], u"Holiday");
    {
        CTransaction transaction(m_host[u"Holiday"]);
        transaction.SetValue(u"20200101", u"old");
        transaction.Commit();
        CTransaction kept(*pChild);
        kept.SetValue(u"20240101", u"H,CME");
        kept.Commit();
    }
    storage.InitContractList(nullptr);
    EXPECT_EQ(m_host[u"Holiday"].GetString(u"20240101"), u"H,CME");
    EXPECT_EQ(m_host[u"Holiday"].GetString(u"20200101"), u"");
    storage.ReleaseHoliday();
    m_host.Drop(u"Holiday");
    storage.InitContractList(nullptr);
}

TEST_F(StorageTables, LeaveTheRecordOfTheLastSignInAsItIsWithoutStorage) {
    OpenChild(m_host[u"STORAGE"], u"Lumivale");
    m_storage.InitContractList(nullptr);
    const auto pRecord = OpenRecord();
    AddTable(*pRecord);
    m_host.Drop(u"STORAGE");
    m_storage.InitContractList(nullptr);
    ASSERT_NE(m_storage.GetLumivale(), nullptr);
    EXPECT_NE(pRecord->GetSubTable(u"left", nullptr), nullptr);
}

TEST_F(StorageTables, StartTheMachineReportOnceTheRecordIsThereAndBeforeItsTablesGo) {
    AddTable(*OpenChild(m_host[u"STORAGE"], u"Lumivale"));
    std::vector<bool> arTablesLeft;
    const auto report = [&] {
        const auto pRecord = OpenRecord();
        arTablesLeft.push_back(pRecord && pRecord->GetSubTable(u"left", nullptr));
    };
    CStorageTables storage(m_host, m_state, {.startHardwareReport = report});
    storage.InitContractList(nullptr);
    EXPECT_THAT(arTablesLeft, testing::ElementsAre(true));
    m_host.Drop(u"STORAGE");
    storage.InitContractList(nullptr);
    EXPECT_THAT(arTablesLeft, testing::ElementsAre(true, false)) << "without the storage it runs all the same";
}

}  // namespace
}  // namespace qvant
