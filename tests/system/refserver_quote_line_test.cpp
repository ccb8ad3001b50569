// The writer of binary quote lines: every form that a number and a text can take.
#include <limits>
#include <stdexcept>

#include <gtest/gtest.h>

#include "quote_line.h"
#include "system/quote_line_reader.h"

namespace qvant::test {
namespace {

using refserver::CQuoteLine;

constexpr std::int64_t Most = std::numeric_limits<std::int64_t>::max();

/// The line without the end that it must have.
std::string Finish(CQuoteLine& line) {
    std::string strLine = line.Finish();
    EXPECT_EQ(strLine.find_first_of("\r\n"), strLine.size() - 1);
    strLine.pop_back();
    return strLine;
}

std::string WriteInteger(unsigned nField, std::optional<std::int64_t> nValue) {
    CQuoteLine line;
    line.AddInteger(nField, nValue);
    return Finish(line);
}

std::string WriteString(unsigned nField, const std::string& strText) {
    CQuoteLine line;
    line.AddString(nField, strText);
    return Finish(line);
}

// Beside the number: the message's type, the field and the check character.
std::size_t CountNumberBytes(std::int64_t nValue) { return WriteInteger(0, nValue).size() - 3; }

TEST(RefserverQuoteLine, WritesKnownBytes) {
    CQuoteLine line;
    line.AddString(14, "LUM.CME.ES.202612");
    line.AddInteger(22, 20260911);
    // 20260911 is 1 * 224^3 + 179 * 224^2 + 178 * 224 + 111, with a digit 0 in front.
    const std::string strFields = "\xAE\x31LUM.CME.ES.202612\x36\x80\x21\xD3\xD2\x8F";
    EXPECT_EQ(Finish(line).substr(1, strFields.size()), strFields);
}

TEST(RefserverQuoteLine, TakesTheShortestFormOfANumber) {
    for (const auto& [nValue, nBytes] : {std::pair(std::int64_t{0}, 1U),
                                         {63, 1U},
                                         {64, 2U},
                                         {16 * 224 - 1, 2U},
                                         {16 * 224, 3U},
                                         {16 * 224 * 224 - 1, 3U},
                                         {16 * 224 * 224, 5U},
                                         {40282095615, 5U},
                                         {40282095616, 9U},
                                         {Most, 9U},
                                         {-1, 1U},
                                         {-31, 1U},
                                         {-32, 2U},
                                         {-(16 * 224 - 1), 2U},
                                         {-16 * 224, 3U},
                                         {-(16 * 224 * 224 - 1), 3U},
                                         {-16 * 224 * 224, 5U},
                                         {-40282095615, 5U},
                                         {-40282095616, 9U},
                                         {-Most, 9U}}) {
        EXPECT_EQ(CountNumberBytes(nValue), nBytes) << nValue;
        const auto line = ReadQuoteLine(WriteInteger(7, nValue));
        ASSERT_TRUE(line) << nValue;
        EXPECT_EQ(line->mapIntegers.at(7), nValue);
    }
}

TEST(RefserverQuoteLine, WritesNumbersOfEverySizeThatReadBackAsTheyWere) {
    for (std::int64_t nValue = 1; nValue > 0 && nValue < Most / 3; nValue = nValue * 3 + 1) {
        for (const auto nSigned : {nValue, -nValue}) {
            const auto line = ReadQuoteLine(WriteInteger(104, nSigned));
            ASSERT_TRUE(line) << nSigned;
            EXPECT_EQ(line->mapIntegers.at(104), nSigned);
        }
    }
}

TEST(RefserverQuoteLine, HasANullForWhatHasNoValue) {
    for (const auto& nValue :
         {std::optional<std::int64_t>(), std::optional(std::numeric_limits<std::int64_t>::min())}) {
        const auto line = ReadQuoteLine(WriteInteger(5, nValue));
        ASSERT_TRUE(line);
        EXPECT_EQ(line->mapIntegers.at(5), std::nullopt);
    }
}

TEST(RefserverQuoteLine, TellsShortAndLongFieldNumbersApart) {
    for (const unsigned nField : {0U, 95U, 96U, 104U, 223U, 224U, 3583U}) {
        const auto integer = ReadQuoteLine(WriteInteger(nField, 1));
        const auto text = ReadQuoteLine(WriteString(nField, "x"));
        ASSERT_TRUE(integer && text) << nField;
        EXPECT_EQ(integer->mapIntegers.at(static_cast<int>(nField)), 1);
        EXPECT_EQ(text->mapStrings.at(static_cast<int>(nField)), "x");
    }
    EXPECT_EQ(WriteInteger(95, 1).size() + 1, WriteInteger(96, 1).size());
    EXPECT_THROW(WriteInteger(3584, 1), std::invalid_argument);
    EXPECT_THROW(WriteString(3584, "x"), std::invalid_argument);
}

TEST(RefserverQuoteLine, TakesTheShortestFormOfAText) {
    // Bytes beside the text, the type and the check character.
    for (const auto& [nField, nLength, nBytes] : {std::tuple(0U, 0U, 1U),
                                                  {3U, 15U, 1U},
                                                  {3U, 16U, 2U},
                                                  {4U, 1U, 2U},
                                                  {31U, 223U, 2U},
                                                  {31U, 224U, 4U},
                                                  {32U, 1U, 4U},
                                                  {0U, 50175U, 4U}}) {
        const std::string strText(nLength, 'a');
        const std::string strLine = WriteString(nField, strText);
        EXPECT_EQ(strLine.size() - nLength - 2, nBytes) << nField << " " << nLength;
        const auto line = ReadQuoteLine(strLine);
        ASSERT_TRUE(line) << nField << " " << nLength;
        EXPECT_EQ(line->mapStrings.at(static_cast<int>(nField)), strText);
    }
}

TEST(RefserverQuoteLine, CountsTheBytesOfATextThatIsntAscii) {
    const auto line = ReadQuoteLine(WriteString(14, "螺纹钢"));
    ASSERT_TRUE(line);
    EXPECT_EQ(line->mapStrings.at(14), "螺纹钢");
}

TEST(RefserverQuoteLine, RefusesATextThatCannotStandInALine) {
    EXPECT_THROW(WriteString(14, "a\nb"), std::invalid_argument);
    EXPECT_THROW(WriteString(14, "a\rb"), std::invalid_argument);
    EXPECT_THROW(WriteString(14, std::string(50176, 'a')), std::invalid_argument);
}

TEST(RefserverQuoteLine, HasCheckCharactersOfBothKinds) {
    // The sums are 0, 63, 64 and 127.
    for (const auto& [nField, nValue, nCheck] : {std::tuple(64U, 0, 48), {64U, 63, 111}, {0U, 0, 176}, {0U, 63, 239}}) {
        EXPECT_EQ(static_cast<unsigned char>(WriteInteger(nField, nValue).back()), nCheck);
    }
}

TEST(RefserverQuoteLine, StartsAnewBehindEachLine) {
    CQuoteLine line;
    line.AddInteger(1, 2);
    line.AddString(2, "b");
    const std::string strFirst = line.Finish();
    line.AddInteger(1, 2);
    line.AddString(2, "b");
    EXPECT_EQ(line.Finish(), strFirst);
}

}  // namespace
}  // namespace qvant::test
