#include "rolls/hardware_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/format.h"
#include "platform/thread.h"
#include "support/scratch_folder.h"
#include "support/test_host.h"
#include "symbols/manual_clock.h"

namespace qvant::test {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

class HardwareReportTest : public ::testing::Test {
protected:
    HardwareReportTest() {
        m_host.MakeTable(u"PERMISSIONS.General");
        OpenChild(m_host.MakeTable(u"STORAGE"), u"Lumivale");
    }

    void Query() { m_report.QueryHardwareInformation(); }
    Text GetPublished(TextView strKey) { return m_host.Get(u"PERMISSIONS.General", strKey); }
    std::unique_ptr<CBaseData> OpenRecord() { return m_host.Open(u"STORAGE")->GetSubTable(u"Lumivale", nullptr); }
    Text GetKept(TextView strKey) { return OpenRecord()->GetString(strKey); }
    void Keep(TextView strKey, TextView strValue) {
        const auto pRecord = OpenRecord();
        CTransaction transaction(*pRecord);
        transaction.SetValue(strKey, strValue);
        transaction.Commit();
    }

    CEnvironment m_zone{"TZ", "Asia/Taipei"};
    CManualClock m_clock{2026, 11, 20, 15, 59, 59};
    CTestHost m_host;
    CSession m_session{m_clock};
    platform::MachineIdentity m_machine{{u"Northwind SSD", u"S1"}, u"BFEBFBFF000906EA"};
    int m_nCollected = 0;
    CHardwareReport m_report{{m_host, m_clock, m_session}, [this] {
                                 ++m_nCollected;
                                 return m_machine;
                             }};
};

TEST_F(HardwareReportTest, TheFirstRunOfADayCollectsKeepsAndPublishesTheThreeTexts) {
    Query();
    EXPECT_EQ(m_nCollected, 1);
    EXPECT_EQ(GetKept(u"CheckkDate"), u"20261120");
    for (const auto& [strKey, strValue] : std::map<Text, Text>{
             {u"HDModel", u"Northwind SSD"}, {u"HDSerialNo", u"S1"}, {u"CPUSerialNo", u"BFEBFBFF000906EA"}}) {
        EXPECT_EQ(GetKept(strKey), strValue);
        EXPECT_EQ(GetPublished(strKey), strValue);
    }
    EXPECT_EQ(GetPublished(u"CheckkDate"), u"");
    EXPECT_THAT(
        m_host.GetLog(),
        ElementsAre("GetHardwareInformation", "QueryHardwareInformation CPU_ProcessorID:BFEBFBFF000906EA",
                    "QueryHardwareInformation HD_Model:Northwind SSD", "QueryHardwareInformation HD_SerialNumber:S1"));
}

TEST_F(HardwareReportTest, TheProcessorIsTheMachinePartOfEveryRequestId) {
    EXPECT_EQ(m_session.BuildRequestId(u"Timer100"), u"Timer100__235959000A");
    Query();
    EXPECT_EQ(m_session.BuildRequestId(u"Timer100"), u"Timer100_BFEBFBFF000906EA_235959000B");
}

TEST_F(HardwareReportTest, ASecondRunOnTheSameDayCollectsNothingAndPublishesWhatWasKept) {
    Query();
    m_host.Forget();
    m_machine = {{u"other", u"other"}, u"other"};
    m_host.DropTable(u"PERMISSIONS.General");
    m_host.MakeTable(u"PERMISSIONS.General");
    m_session.SetMachineId(u"");
    Query();
    EXPECT_EQ(m_nCollected, 1);
    EXPECT_EQ(GetPublished(u"HDModel"), u"Northwind SSD");
    EXPECT_EQ(GetPublished(u"HDSerialNo"), u"S1");
    EXPECT_EQ(GetPublished(u"CPUSerialNo"), u"BFEBFBFF000906EA");
    EXPECT_THAT(Narrow(m_session.BuildRequestId(u"x")), HasSubstr("_BFEBFBFF000906EA_"));
    EXPECT_THAT(m_host.GetLog(), Not(Contains("GetHardwareInformation")));
    EXPECT_TRUE(m_host.HasLogged("QueryHardwareInformation HD_SerialNumber:S1"));
}

TEST_F(HardwareReportTest, TheDayEndsAtMidnightOfTheMachinesOwnZone) {
    Query();
    m_clock.Set(2026, 11, 20, 16, 0, 0);
    m_machine.disk.strSerial = u"S2";
    Query();
    EXPECT_EQ(m_nCollected, 2);
    EXPECT_EQ(GetKept(u"CheckkDate"), u"20261121");
    EXPECT_EQ(GetPublished(u"HDSerialNo"), u"S2");
}

TEST_F(HardwareReportTest, ATextThatIsMissingHasAllOfThemCollectedAgainOnTheSameDay) {
    for (const auto* pszKey : {u"HDModel", u"HDSerialNo", u"CPUSerialNo"}) {
        Query();
        const int nBefore = m_nCollected;
        Keep(pszKey, u"");
        Query();
        EXPECT_EQ(m_nCollected, nBefore + 1);
        EXPECT_NE(GetKept(pszKey), u"");
    }
}

TEST_F(HardwareReportTest, ASerialNumberThatIsAQuestionMarkIsNotAvailable) {
    m_machine.disk.strSerial = u"?";
    Query();
    EXPECT_EQ(GetKept(u"HDSerialNo"), u"NA");
    EXPECT_EQ(GetPublished(u"HDSerialNo"), u"NA");
    Query();
    EXPECT_EQ(m_nCollected, 1);
}

TEST_F(HardwareReportTest, WhatTheMachineDoesNotTellIsKeptAndPublishedAsItIs) {
    Keep(u"HDModel", u"of yesterday");
    m_machine = {};
    Query();
    EXPECT_EQ(GetKept(u"CheckkDate"), u"20261120");
    EXPECT_EQ(GetKept(u"HDModel"), u"");
    EXPECT_EQ(GetPublished(u"HDSerialNo"), u"");
    EXPECT_EQ(m_host.Open(u"PERMISSIONS.General")->GetVariant(u"HDSerialNo").vt, VT_BSTR);
    EXPECT_EQ(m_host.GetLog().back(), "QueryHardwareInformation HD_SerialNumber:");
    Query();
    EXPECT_EQ(m_nCollected, 2);
}

TEST_F(HardwareReportTest, AValueThatIsNoTextIsReadAsOne) {
    Query();
    const auto pRecord = OpenRecord();
    {
        CTransaction transaction(*pRecord);
        transaction.SetNumber(u"CheckkDate", 20261120);
        transaction.SetNumber(u"HDSerialNo", 7);
        transaction.Commit();
    }
    Query();
    EXPECT_EQ(m_nCollected, 1);
    EXPECT_EQ(GetPublished(u"HDSerialNo"), u"7");
}

TEST_F(HardwareReportTest, WithoutTheRecordTheTextsArePublishedAllTheSame) {
    m_host.DropTable(u"STORAGE");
    Query();
    EXPECT_EQ(GetPublished(u"HDModel"), u"Northwind SSD");
    m_host.MakeTable(u"STORAGE");
    Query();
    EXPECT_EQ(m_nCollected, 2);
    EXPECT_EQ(OpenRecord(), nullptr) << "making it is the sign-in's";
}

TEST_F(HardwareReportTest, WithoutTheTableOfTheUserTheTextsAreKeptAllTheSame) {
    m_host.DropTable(u"PERMISSIONS.General");
    Query();
    EXPECT_EQ(GetKept(u"HDModel"), u"Northwind SSD");
    EXPECT_THAT(m_host.GetLog().back(), EndsWith("HD_SerialNumber:S1"));
}

TEST_F(HardwareReportTest, OtherValuesOfBothTablesStay) {
    Keep(u"Version", u"7");
    m_host.Set(u"PERMISSIONS.General", {{u"Username", u"user1"}});
    Query();
    EXPECT_EQ(GetKept(u"Version"), u"7");
    EXPECT_EQ(GetPublished(u"Username"), u"user1");
}

TEST_F(HardwareReportTest, AStopDuringTheCollectionKeepsAndPublishesNothing) {
    platform::CEvent collecting(platform::CEvent::Reset::Manual, false);
    CHardwareReport slow({m_host, m_clock, m_session}, [&] {
        collecting.Set();
        platform::SleepFor(std::chrono::hours(1));
        return m_machine;
    });
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("HardwareReport", [&] { slow.QueryHardwareInformation(); }));
    collecting.Wait();
    thread.StopAndJoin();
    EXPECT_EQ(GetKept(u"CheckkDate"), u"");
    EXPECT_EQ(GetPublished(u"HDModel"), u"");
    EXPECT_THAT(m_host.GetLog(), ElementsAre("GetHardwareInformation"));
}

TEST_F(HardwareReportTest, ARecordThatIsClearedMeanwhileLosesNothingOfWhatComesAfterwards) {
    const auto pOther = OpenRecord();
    CHardwareReport report({m_host, m_clock, m_session}, [&] {
        CTransaction transaction(*pOther);
        transaction.Clear(store::MASK_VALUES);
        transaction.SetValue(u"Version", u"8");
        transaction.Commit();
        return m_machine;
    });
    report.QueryHardwareInformation();
    EXPECT_EQ(GetKept(u"Version"), u"8");
    EXPECT_EQ(GetKept(u"HDSerialNo"), u"S1");
}

}  // namespace qvant::test
