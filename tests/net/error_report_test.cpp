#include "net/error_report.h"

#include <gtest/gtest.h>

#include "base/format.h"
#include "net/net_doubles.h"
#include "platform/internet.h"
#include "platform/messages.h"

namespace qvant::test {
namespace {

class ErrorReport : public ::testing::Test {
protected:
    static Text Message(std::int32_t nCode, TextView strText) {
        return Format(
            u"{\"Date\" : 20260105, \"MsgCode\" : %d, \"MsgText\" : \"%s\", \"MsgType\" : 4, \"Time\" : 93007}", nCode,
            strText);
    }

    CStillClock m_clock{
        {.nYear = 2026, .nMonth = 1, .nDay = 5, .nHour = 9, .nMinute = 30, .nSecond = 7, .nMilliseconds = 999}};
    CRememberingHost m_host;
    CErrorReport m_report{m_host, m_clock};
};

TEST_F(ErrorReport, SendsACodeWithItsTextAndTheUtcTime) {
    m_report.PostMsg(-2, u"a file");
    ASSERT_EQ(m_host.m_arReports.size(), 1u);
    EXPECT_EQ(m_host.m_arReports[0].nCode, 13);
    EXPECT_EQ(m_host.m_arReports[0].nParameter, 0);
    EXPECT_EQ(m_host.m_arReports[0].strText, Message(-2, u"a file"));
    EXPECT_TRUE(m_host.m_arLines.empty());
}

TEST_F(ErrorReport, LeavesAnEmptyTextOut) {
    m_report.PostMsg(CErrorReport::NO_SECURITIES_FILE, u"");
    EXPECT_EQ(m_host.m_arReports.at(0).strText,
              u"{\"Date\" : 20260105, \"MsgCode\" : -1, \"MsgType\" : 4, \"Time\" : 93007}");
}

TEST_F(ErrorReport, SendsTheStacksTextOfANetworkFailure) {
    m_report.PostErrorMsg(u"InternetOpenUrl Fail, Error : 12029");
    EXPECT_EQ(m_host.m_arLines.at(0), u"PostErrorMsg:InternetOpenUrl Fail, Error : 12029");
    const Text strText = Format(u"Lumivale:%s (12029)", platform::DescribeInternetError(12029));
    EXPECT_EQ(m_host.m_arReports.at(0).strText, Message(-108, strText));
}

TEST_F(ErrorReport, ReadsTheNumberInsideAReadFailure) {
    m_report.PostErrorMsg(
        u"DoGetHttpQuery Fail, Info : SSL InternetReadFile Fail, Error : 12031, pData=0, nDataLen=12, bSuccessed=0, "
        u"strURL=https://a/.");
    const Text strText = Format(u"Lumivale:%s (12031)", platform::DescribeInternetError(12031));
    EXPECT_EQ(m_host.m_arReports.at(0).strText, Message(-108, strText));
}

TEST_F(ErrorReport, SendsTheSystemsTextOfAnyOtherNumber) {
    m_report.PostErrorMsg(u"Memory Errror, Error : 12");
    EXPECT_FALSE(platform::DescribeSystemError(12).empty());
    EXPECT_EQ(m_host.m_arReports.at(0).strText,
              Message(-108, Format(u"Lumivale:%s (12)", platform::DescribeSystemError(12))));
}

TEST_F(ErrorReport, SendsNoTextForNumbersWithoutATable) {
    for (const std::int32_t nError : {2100, 2999, 0xE0000, 0xE1234, 12001, 12175}) {
        m_host.m_arReports.clear();
        m_report.PostErrorMsg(Format(u"InternetOpen Fail, Error : %d", nError));
        EXPECT_EQ(m_host.m_arReports.at(0).strText, Message(-108, Format(u"Lumivale: (%d)", nError)));
    }
}

TEST_F(ErrorReport, ShowsNobodyAFailureWithoutASystemNumber) {
    m_report.PostErrorMsg(u"Http STATUS_CODE Fail(503)");
    EXPECT_EQ(m_host.m_arLines.at(0), u"PostErrorMsg:Http STATUS_CODE Fail(503)");
    EXPECT_TRUE(m_host.m_arReports.empty());
}

TEST_F(ErrorReport, ShowsNobodyTheNumberZero) {
    m_report.PostErrorMsg(u"InternetOpen Fail, Error : 0");
    EXPECT_EQ(m_host.m_arLines.size(), 1u);
    EXPECT_TRUE(m_host.m_arReports.empty());
}

TEST_F(ErrorReport, SaysNothingToAnEmptyText) {
    m_report.PostErrorMsg(u"");
    EXPECT_TRUE(m_host.m_arLines.empty());
}

TEST_F(ErrorReport, HidesNetworkFailuresButNotTheirLogLine) {
    m_report.SetHideErrorMsg(1);
    m_report.PostErrorMsg(u"InternetOpenUrl Fail, Error : 12029");
    EXPECT_EQ(m_host.m_arLines.size(), 1u);
    EXPECT_TRUE(m_host.m_arReports.empty());
}

TEST_F(ErrorReport, NeverHidesTheOtherCodes) {
    m_report.SetHideErrorMsg(1);
    m_report.PostMsg(-1, u"");
    EXPECT_EQ(m_host.m_arReports.size(), 1u);
}

TEST_F(ErrorReport, DoesNotFailItsCallerWhenTheHostDoes) {
    m_host.m_bFails = true;
    EXPECT_NO_THROW(m_report.PostErrorMsg(u"InternetOpenUrl Fail, Error : 12029"));
    EXPECT_EQ(m_host.m_arLines.size(), 1u);
}

}  // namespace
}  // namespace qvant::test
