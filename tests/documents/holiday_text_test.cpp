#include "documents/holiday_text.h"

#include <chrono>
#include <random>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qvant::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// The rows of a text, their fields joined by "/".
std::vector<std::string> Read(TextView strText) {
    std::vector<std::string> arRows;
    EXPECT_TRUE(ForEachHoliday(strText, [&](const HolidayRow& row) {
        arRows.push_back(Narrow(row.strDate) + "/" + Narrow(row.strType) + "/" + Narrow(row.strExchanges));
        return true;
    }));
    return arRows;
}

TEST(HolidayText, HasARowForEachLineOfThreeFields) {
    EXPECT_THAT(Read(u"20240101\tH\tCME,CBOT\r\n20240102\tE\tHKF\r\n"),
                ElementsAre("20240101/H/CME|CBOT", "20240102/E/HKF"));
}

TEST(HolidayText, CountsALastLineWithoutAnEnd) {
    EXPECT_THAT(Read(u"20240101\tH\tCME\r\n20240102\tH\tCBOT"), ElementsAre("20240101/H/CME", "20240102/H/CBOT"));
}

TEST(HolidayText, DropsALineWithAHashAnywhereInIt) {
    EXPECT_THAT(Read(u"# 2024\r\n20240101\tH\tCME#1\r\n#20240102\tH\tCME\r\n20240103\tH\t#\r\n20240104\tH\tCME"),
                ElementsAre("20240104/H/CME"));
}

TEST(HolidayText, DropsALineOfFewerThanThreeFields) {
    EXPECT_THAT(Read(u"20240101\tH\r\n20240102\r\n\r\n\r\n20240103\tH\tCME\r\n"), ElementsAre("20240103/H/CME"));
}

TEST(HolidayText, IgnoresAFourthField) {
    EXPECT_THAT(Read(u"20240101\tH\tCME,CBOT\tsaid, so\tx"), ElementsAre("20240101/H/CME|CBOT"));
}

TEST(HolidayText, KeepsFieldsAsTheyAreAndEmptyOnesToo) {
    EXPECT_THAT(Read(u" 2024-01-01 \tno trade\tCME, CBOT,,\r\n\t\t\r\n节日\tH\t交易所"),
                ElementsAre(" 2024-01-01 /no trade/CME| CBOT||", "//", "节日/H/交易所"));
}

TEST(HolidayText, PartsLinesAtCrLfAlone) {
    EXPECT_THAT(Read(u"20240101\tH\tCME\r20240102\tH\tCBOT\r\n\r\r\n20240103\tH\tCME\r"),
                ElementsAre("20240101/H/CME\r20240102", "20240103/H/CME\r"));
    EXPECT_THAT(Read(u"\n20240101\tH\tCME\n20240102\tH\tCBOT\n"), ElementsAre("\n20240101/H/CME\n20240102"));
}

TEST(HolidayText, OfNothingHasNoRows) {
    for (const TextView strText : {u"", u"\r\n", u"\r\n\r\n", u"\r", u"<html>no such file</html>"}) {
        EXPECT_THAT(Read(strText), IsEmpty());
    }
}

TEST(HolidayText, EndsWhereTheVisitSaysSo) {
    int nVisits = 0;
    EXPECT_FALSE(ForEachHoliday(u"1\tH\tA\r\n2\tH\tA\r\n3\tH\tA", [&](const HolidayRow&) { return ++nVisits < 2; }));
    EXPECT_EQ(nVisits, 2);
}

TEST(HolidayText, OfRandomUnitsIsWalkedToItsEnd) {
    std::minstd_rand random(4711);
    for (int nRound = 0; nRound < 2000; ++nRound) {
        Text strText;
        for (std::size_t n = random() % 200; n > 0; --n) {
            strText += (random() % 3 == 0) ? u"\r\n\t#,"[random() % 5] : static_cast<char16_t>(random());
        }
        for (const std::string& strRow : Read(strText)) EXPECT_EQ(strRow.find('#'), std::string::npos);
    }
}

/// Seconds for a text of this many copies of a piece.
double Measure(std::size_t nCopies, TextView strPiece) {
    Text strText;
    for (std::size_t n = 0; n < nCopies; ++n) strText.append(strPiece);
    const auto start = std::chrono::steady_clock::now();
    std::size_t nRows = 0;
    ForEachHoliday(strText, [&](const HolidayRow&) { return ++nRows > 0; });
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(HolidayText, OfAMillionLinesOrOneVeryLongLineTakesTimeInProportion) {
    for (const TextView strPiece : {u"20240101\tH\tCME,CBOT\r\n", u"20240101\tH\tCME,CBOT\t", u"\r", u"\r\n", u"\t"}) {
        EXPECT_LT(Measure(1'000'000, strPiece), 3.0);
    }
}

}  // namespace
}  // namespace qvant::test
