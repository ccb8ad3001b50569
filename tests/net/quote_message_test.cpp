#include "net/quote_message.h"

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include "support/quote_line.h"

namespace qvant::test {
namespace {

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::int64_t NONE = CLum_QuoteMsg2U::NULL_INTEGER;

// The integer of field 0 whose bytes behind the field number are given; the line must be a right one.
std::int64_t ReadInteger(const std::string& strValue) {
    CLum_QuoteMsg2U message;
    EXPECT_TRUE(message.Parse(MakeQuoteLine(" " + strValue)));
    return message.GetInteger(0);
}

bool IsRight(const std::string& strFields) { return CLum_QuoteMsg2U().Parse(MakeQuoteLine(strFields)); }

std::vector<std::string> ReadTypes(std::string_view strReply) {
    std::vector<std::string> arTypes;
    ForEachQuoteMessage(strReply, [&](const CLum_QuoteMsg2U& message) {
        arTypes.emplace_back(1, static_cast<char>(message.GetType()));
    });
    return arTypes;
}

TEST(QuoteMessage, ReadsAHotMonthByItsBytes) {
    // Field 14 of 17 bytes; field 22 with the digits 0, 1, 178, 135, 219.
    const std::string strFields = "\xAE\x31LUM.CME.ES.202103\x36\x80\x21\xD2\xA7\xFB"s;
    CLum_QuoteMsg2U message;
    const std::string strLine = "R" + strFields + CheckQuoteFields(strFields);
    ASSERT_TRUE(message.Parse(strLine));
    EXPECT_EQ(message.GetType(), 'R');
    EXPECT_EQ(message.GetString(14), "LUM.CME.ES.202103");
    EXPECT_EQ(message.GetInteger(22), 20201211);
}

TEST(QuoteMessage, ReadsEveryFormOfAPositiveIntegerAtItsEnds) {
    EXPECT_EQ(ReadInteger("\x20"), 0);
    EXPECT_EQ(ReadInteger("\x5F"), 63);
    EXPECT_EQ(ReadInteger("\x60\x20"), 0);
    EXPECT_EQ(ReadInteger("\x60\xFF"), 223);
    EXPECT_EQ(ReadInteger("\x6F\xFF"), 15 * 224 + 223);
    EXPECT_EQ(ReadInteger("\x70\x20\x20"), 0);
    EXPECT_EQ(ReadInteger("\x7F\xFF\xFF"), 16 * 224 * 224 - 1);
    EXPECT_EQ(ReadInteger("\x80\x20\x20\x20\x21"), 1);
    EXPECT_EQ(ReadInteger("\x8F\xFF\xFF\xFF\xFF"), 16LL * 224 * 224 * 224 * 224 - 1);
    EXPECT_EQ(ReadInteger("\x90\x20\x20\x20\x20\x20\x20\x20\x21"), 1);
    EXPECT_EQ(ReadInteger("\x90\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"), 6'338'465'731'314'712'575);
}

TEST(QuoteMessage, ReadsEveryFormOfANegativeIntegerAtItsEnds) {
    EXPECT_EQ(ReadInteger("\xA0"), 0);
    EXPECT_EQ(ReadInteger("\xA1"), -1);
    EXPECT_EQ(ReadInteger("\xBF"), -31);
    EXPECT_EQ(ReadInteger("\xC0\x40"), -32);
    EXPECT_EQ(ReadInteger("\xCF\xFF"), -(15 * 224 + 223));
    EXPECT_EQ(ReadInteger("\xD0\x20\x21"), -1);
    EXPECT_EQ(ReadInteger("\xDF\xFF\xFF"), -(16 * 224 * 224 - 1));
    EXPECT_EQ(ReadInteger("\xE0\x20\x20\x20\x21"), -1);
    EXPECT_EQ(ReadInteger("\xEF\xFF\xFF\xFF\xFF"), -(16LL * 224 * 224 * 224 * 224 - 1));
    EXPECT_EQ(ReadInteger("\xF0\x20\x20\x20\x20\x20\x20\x20\x21"), -1);
    EXPECT_EQ(ReadInteger("\xF0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"), -6'338'465'731'314'712'575);
}

TEST(QuoteMessage, GivesBackEveryIntegerThatWasWritten) {
    std::mt19937_64 random(7);
    CLum_QuoteMsg2U message;
    for (int i = 0; i < 100'000; ++i) {
        const auto nValue = static_cast<std::int64_t>(random() >> (random() % 64));
        for (const std::int64_t nSigned : {nValue, -nValue}) {
            ASSERT_TRUE(message.Parse(CQuoteLine().Integer(22, nSigned).Get())) << nSigned;
            ASSERT_EQ(message.GetInteger(22), nSigned);
        }
    }
    for (const std::int64_t nEnd : {std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min(),
                                    std::numeric_limits<std::int64_t>::min() + 1}) {
        ASSERT_TRUE(message.Parse(CQuoteLine().Integer(22, nEnd).Get()));
        EXPECT_EQ(message.GetInteger(22), nEnd);
    }
}

TEST(QuoteMessage, TakesAnyByteBelowTheDigitsForANullInteger) {
    for (int nByte = 0; nByte < 32; ++nByte) {
        EXPECT_EQ(ReadInteger(std::string(1, static_cast<char>(nByte))), NONE) << nByte;
    }
    CLum_QuoteMsg2U message;
    ASSERT_TRUE(message.Parse(CQuoteLine().Integer(22, 5).Null(22).Integer(23, 6).Get()));
    EXPECT_EQ(message.GetInteger(22), NONE);
    EXPECT_EQ(message.GetInteger(23), 6);
}

TEST(QuoteMessage, DropsALineWithANumberThat64BitsCannotHold) {
    EXPECT_EQ(ReadInteger("\x91\x85\xF5\x55\xA7\xD2\x89\xD2\x5F"), std::numeric_limits<std::int64_t>::max());
    EXPECT_FALSE(IsRight(" \x91\x85\xF5\x55\xA7\xD2\x89\xD2\x60"));
    EXPECT_EQ(ReadInteger("\xF1\x85\xF5\x55\xA7\xD2\x89\xD2\x60"), NONE) << "the least number of all is the null";
    EXPECT_FALSE(IsRight(" \xF1\x85\xF5\x55\xA7\xD2\x89\xD2\x61"));
    EXPECT_FALSE(IsRight(" \x92\x20\x20\x20\x20\x20\x20\x20\x20"));
    EXPECT_FALSE(IsRight(" \x9F\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"));
    EXPECT_FALSE(IsRight(" \xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"));
}

TEST(QuoteMessage, ReadsEveryFormOfAString) {
    const std::string str223(223, 'x');
    const std::string str15(15, 'y');
    const std::string strLong(223 * 224 + 223, 'z');
    const struct {
        std::string strFields;
        std::size_t nField;
        std::string strText;
    } arForms[] = {
        {"\xC0", 0, ""},
        {"\xCF" + str15, 0, str15},
        {"\xFF" + str15, 3, str15},
        {"\xF1Q", 3, "Q"},
        {"\xA0\x20", 0, ""},
        {"\xBF\xFF" + str223, 31, str223},
        {"\xAE\x23"s + "LUM", 14, "LUM"},
        {"\x90\x20\x20\x20", 0, ""},
        {"\x90\x2E\x20\x23"s + "LUM", 14, "LUM"},
        {"\x90\xFF\xFF\xFF" + strLong, 223, strLong},
        {"\x9F\xFF\x20\x21L", 15 * 224 + 223, "L"},
    };
    CLum_QuoteMsg2U message;
    for (const auto& form : arForms) {
        const std::string strLine = MakeQuoteLine(form.strFields);
        ASSERT_TRUE(message.Parse(strLine)) << form.nField;
        EXPECT_EQ(message.GetString(form.nField), form.strText);
    }
}

TEST(QuoteMessage, StoresFieldNumbersAboveTheRoomOfANewMessage) {
    CLum_QuoteMsg2U message;
    const std::string strLine =
        CQuoteLine().Integer(95, 1).Integer(96, 2).Integer(104, 20201218).Integer(3583, -4).String(3583, "far").Get();
    ASSERT_TRUE(message.Parse(strLine));
    EXPECT_EQ(message.GetInteger(95), 1);
    EXPECT_EQ(message.GetInteger(96), 2);
    EXPECT_EQ(message.GetInteger(104), 20201218);
    EXPECT_EQ(message.GetInteger(3583), -4);
    EXPECT_EQ(message.GetString(3583), "far");
    EXPECT_EQ(message.GetInteger(105), NONE) << "between the old end and the new one";
    EXPECT_EQ(message.GetString(3582), std::nullopt);
}

TEST(QuoteMessage, GivesNullAndNothingForWhatIsNotThere) {
    CLum_QuoteMsg2U message;
    for (const std::size_t nField : {std::size_t{0}, std::size_t{14}, std::size_t{95}, std::size_t{96},
                                     std::size_t{100'000}, std::numeric_limits<std::size_t>::max()}) {
        EXPECT_EQ(message.GetInteger(nField), NONE);
        EXPECT_EQ(message.GetString(nField), std::nullopt);
    }
    ASSERT_TRUE(message.Parse(CQuoteLine().String(14, "").Get()));
    EXPECT_EQ(message.GetString(14), "");
}

TEST(QuoteMessage, ForgetsTheLineBefore) {
    CLum_QuoteMsg2U message;
    const std::string strFull = CQuoteLine().Integer(22, 5).Integer(104, 6).String(14, "LUM").Get();
    ASSERT_TRUE(message.Parse(strFull));
    ASSERT_TRUE(message.Parse(CQuoteLine().Get()));
    EXPECT_EQ(message.GetInteger(22), NONE);
    EXPECT_EQ(message.GetInteger(104), NONE);
    EXPECT_EQ(message.GetString(14), std::nullopt);
    // Wrong behind its first field.
    ASSERT_TRUE(message.Parse(strFull));
    EXPECT_FALSE(message.Parse(MakeQuoteLine("\x36\x21\x1F")));
    EXPECT_EQ(message.GetInteger(22), NONE);
    EXPECT_EQ(message.GetType(), 0);
}

TEST(QuoteMessage, TakesTheLastOfSeveralValues) {
    CLum_QuoteMsg2U message;
    const std::string strLine = CQuoteLine().Integer(22, 1).Integer(22, 2).String(14, "a").String(14, "b").Get();
    ASSERT_TRUE(message.Parse(strLine));
    EXPECT_EQ(message.GetInteger(22), 2);
    EXPECT_EQ(message.GetString(14), "b");
}

TEST(QuoteMessage, IsRightWithoutAnyField) {
    EXPECT_TRUE(CLum_QuoteMsg2U().Parse("Q0"));
    EXPECT_FALSE(CLum_QuoteMsg2U().Parse("Q1"));
    EXPECT_FALSE(CLum_QuoteMsg2U().Parse("0"));
    EXPECT_FALSE(CLum_QuoteMsg2U().Parse(""));
}

TEST(QuoteMessage, ChecksTheLowSevenBitsOfAllThatStandsBetweenTypeAndCheckCharacter) {
    // Texts whose sums are 63 and 64 with their length and number: "\xC1" counts as 0x41.
    EXPECT_TRUE(CLum_QuoteMsg2U().Parse("Q\xC1\x7E\x6F"));  // 65 + 126 = 191, 63 of it: 63 + 48
    EXPECT_TRUE(CLum_QuoteMsg2U().Parse("Q\xC1\x7F\xB0"));  // 64: 64 + 112
    EXPECT_FALSE(CLum_QuoteMsg2U().Parse("Q\xC1\x7F\x70"));
    EXPECT_TRUE(CLum_QuoteMsg2U().Parse("Q\xC1\xBE\xEF"));  // 65 + 62 = 127: 127 + 112
    EXPECT_TRUE(CLum_QuoteMsg2U().Parse("Q\xC1\x3F\x30"));  // 128, 0 of it: 48
}

TEST(QuoteMessage, DropsAFieldThatBeginsBelowTheNumbers) {
    for (int nByte = 0; nByte < 32; ++nByte) {
        EXPECT_FALSE(IsRight(std::string(1, static_cast<char>(nByte)) + "\x21")) << nByte;
        EXPECT_FALSE(IsRight("\x36\x21"s + std::string(1, static_cast<char>(nByte)))) << nByte;
    }
}

TEST(QuoteMessage, DropsDigitsBelowTheirStart) {
    EXPECT_FALSE(IsRight("\x80\x1F\x21")) << "of a long field number";
    EXPECT_FALSE(IsRight("\x81\x1F\x21")) << "of one that would not be negative";
    EXPECT_FALSE(IsRight("\x90\x1F\x20\x20")) << "of a long string's number";
    EXPECT_FALSE(IsRight("\x90\x20\x1F\x20")) << "of its length";
    EXPECT_FALSE(IsRight("\x90\x20\x21\x1F" + std::string(300, 'x'))) << "of its length";
    EXPECT_FALSE(IsRight("\xA0\x1F")) << "of a length";
    EXPECT_FALSE(IsRight(" \x60\x1F")) << "of a value";
}

TEST(QuoteMessage, DropsFieldsThatTheLineHasNoRoomFor) {
    for (const std::string& strFields :
         {"\x36"s, "\x80"s, "\x80\x80"s, "\x90"s, "\x90\x20"s, "\x90\x20\x20"s, "\x90\x20\x20\x21"s, "\xA0"s,
          "\xA0\x22x"s, "\xC1"s, "\xFFx"s, " \x60"s, " \x70\x20"s, " \x80\x20\x20\x20"s,
          " \x90\x20\x20\x20\x20\x20\x20\x20"s, " \xC0"s, " \xF0\x20\x20\x20\x20\x20\x20\x20"s}) {
        EXPECT_FALSE(IsRight(strFields)) << testing::PrintToString(strFields);
    }
}

TEST(QuoteMessage, DropsALineInWhichOneBitChanged) {
    const std::string strLine = CQuoteLine().String(14, "LUM.CME.ES.202103").Integer(22, 20201211).Get();
    ASSERT_TRUE(CLum_QuoteMsg2U().Parse(strLine));
    // Bit 7 of what is summed up isn't checked, nor is the type; those changes may make another right line.
    for (std::size_t i = 1; i < strLine.size(); ++i) {
        for (unsigned nBit = 0; nBit < (i + 1 == strLine.size() ? 8U : 7U); ++nBit) {
            std::string strDamaged = strLine;
            strDamaged[i] = static_cast<char>(static_cast<unsigned char>(strDamaged[i]) ^ (1U << nBit));
            EXPECT_FALSE(CLum_QuoteMsg2U().Parse(strDamaged)) << "bit " << nBit << " of byte " << i;
        }
    }
}

TEST(QuoteMessage, ReadsWhatCountsOfALineWhoseUncheckedBitsChanged) {
    const std::string strLine = CQuoteLine().String(14, "LUM.CME.ES.202103").Integer(22, 20201211).Get();
    CLum_QuoteMsg2U message;
    for (std::size_t i = 0; i + 1 < strLine.size(); ++i) {
        std::string strDamaged = strLine;
        strDamaged[i] = static_cast<char>(static_cast<unsigned char>(strDamaged[i]) ^ 0x80U);
        EXPECT_TRUE(message.Parse(strDamaged) || !message.GetString(14));
    }
    ASSERT_TRUE(message.Parse(strLine)) << "and is as good as new for the next line";
    EXPECT_EQ(message.GetInteger(22), 20201211);
}

TEST(QuoteMessage, SurvivesRandomBytesBehindARightCheckCharacter) {
    std::mt19937 random(11);
    CLum_QuoteMsg2U message;
    int nRight = 0;
    for (int i = 0; i < 200'000; ++i) {
        std::string strFields(random() % 24, '\0');
        for (char& ch : strFields) ch = static_cast<char>(random());
        const std::string strLine = MakeQuoteLine(strFields);  // which the texts are borrowed from
        if (!message.Parse(strLine)) continue;
        ++nRight;
        for (std::size_t nField = 0; nField < 3'584; nField += 7) {
            ASSERT_LE(message.GetString(nField).value_or("").size(), strFields.size());
        }
    }
    EXPECT_GT(nRight, 10'000);
}

TEST(QuoteReply, EndsItsLinesAtLfAndCutsOneCr) {
    EXPECT_THAT(ReadTypes("a0\nb0\r\nc0\r\r\nd0\n"), ElementsAre("a", "b", "d"))
        << "c's second CR is no check character";
}

TEST(QuoteReply, TakesWhatStandsBehindTheLastLfForALineWithItsCr) {
    EXPECT_THAT(ReadTypes("a0\nb0"), ElementsAre("a", "b"));
    EXPECT_THAT(ReadTypes("a0\nb0\r"), ElementsAre("a"));
    EXPECT_THAT(ReadTypes("a0"), ElementsAre("a"));
}

TEST(QuoteReply, DropsEmptyLinesAndThoseOfOneByte) {
    EXPECT_THAT(ReadTypes("a0\n\n\r\n0\n0\r\nb0\n\n"), ElementsAre("a", "b"));
    EXPECT_THAT(ReadTypes(""), IsEmpty());
    EXPECT_THAT(ReadTypes("0"), IsEmpty());
    EXPECT_THAT(ReadTypes("\n"), IsEmpty());
}

TEST(QuoteReply, LooksForLineEndsFromItsSecondByteOn) {
    EXPECT_THAT(ReadTypes("\n0\na0"), ElementsAre("\n", "a"));
    EXPECT_THAT(ReadTypes("a0\n\n0\nb0"), ElementsAre("a", "b")) << "which holds for the first line alone";
    EXPECT_THAT(ReadTypes("\n\na0"), ElementsAre("a"));
}

TEST(QuoteReply, DropsABadLineAlone) {
    const std::string strGood = CQuoteLine('g').String(14, "LUM").Get();
    std::string strBad = strGood;
    strBad.back() = '!';
    EXPECT_THAT(ReadTypes(strGood + "\n" + strBad + "\r\n" + MakeQuoteLine("\x1F") + "\n" + strGood),
                ElementsAre("g", "g"));
}

TEST(QuoteReply, SurvivesRandomBytes) {
    std::mt19937 random(13);
    std::string strReply(1'000'000, '\0');
    for (char& ch : strReply) ch = static_cast<char>(random());
    ForEachQuoteMessage(strReply, [&](const CLum_QuoteMsg2U& message) {
        for (std::size_t nField = 0; nField < 3'584; ++nField) {
            ASSERT_LE(message.GetString(nField).value_or("").size(), strReply.size());
        }
    });
}

TEST(QuoteReply, IsReadInOneGoHoweverLongItsLinesAre) {
    // Lines that grow the tables, a line that is the whole reply, and nothing but line ends.
    const std::string strFar = CQuoteLine().Integer(3583, 1).String(3583, "x").Get() + "\n";
    std::string strMany;
    while (strMany.size() < 8'000'000) strMany += strFar;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ReadTypes(strMany).size(), strMany.size() / strFar.size());
    EXPECT_THAT(ReadTypes(MakeQuoteLine(std::string(16'000'000, '!'))), ElementsAre("Q"));
    EXPECT_THAT(ReadTypes(std::string(16'000'000, '\n')), IsEmpty());
    EXPECT_THAT(ReadTypes(std::string(16'000'000, 'x')), IsEmpty());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

/// What is allocated by this process; nothing where another allocator stands in for the system's.
std::size_t CountAllocated() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

TEST(QuoteReply, IsReadInTheMemoryOfOneLine) {
    std::string strReply;
    while (strReply.size() < 8'000'000) {
        strReply += CQuoteLine().String(14, "LUM.CME.ES.202103").Integer(22, 20201211).Integer(3583, 1).Get() + "\n";
    }
    const std::size_t nBefore = CountAllocated();
    std::size_t nMost = nBefore;
    std::size_t nLines = 0;
    ForEachQuoteMessage(strReply, [&](const CLum_QuoteMsg2U&) {
        if (++nLines % 1'000 == 0) nMost = std::max(nMost, CountAllocated());
    });
    EXPECT_GT(nLines, 100'000U);
    EXPECT_LT(nMost - nBefore, 300'000U);
}

}  // namespace
}  // namespace qvant::test
