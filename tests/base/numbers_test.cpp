#include "base/numbers.h"

#include <limits>

#include <gtest/gtest.h>

namespace qvant {
namespace {

TEST(ToInt, ReadsTheDigitsAtTheStart) {
    EXPECT_EQ(ToInt(u"42"), 42);
    EXPECT_EQ(ToInt(u" \t-7abc"), -7);
    EXPECT_EQ(ToInt(u"+5"), 5);
    EXPECT_EQ(ToInt(u"0930"), 930);
    EXPECT_EQ(ToInt(u"12 34"), 12);
}

TEST(ToInt, IsZeroWithoutDigits) {
    for (const TextView strText : {u"", u"abc", u"-", u"+-5", u"- 5", u".5"}) EXPECT_EQ(ToInt(strText), 0);
}

TEST(ToInt, StopsAtTheNearestValueOfItsRange) {
    EXPECT_EQ(ToInt(u"2147483647"), 2147483647);
    EXPECT_EQ(ToInt(u"2147483648"), 2147483647);
    EXPECT_EQ(ToInt(u"-2147483649"), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(ToInt(u"99999999999999999999999"), 2147483647);
}

TEST(ToInt, TakesNoDigitsOfOtherScripts) { EXPECT_EQ(ToInt(u"\uFF11"), 0); }

TEST(ToInt64, ReadsDateAndTimeNumbers) { EXPECT_EQ(ToInt64(u"20201218235959"), 20201218235959); }

TEST(ToInt64, StopsAtTheNearestValueOfItsRange) {
    constexpr auto nMost = std::numeric_limits<std::int64_t>::max();
    constexpr auto nLeast = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(ToInt64(u"9223372036854775807"), nMost);
    EXPECT_EQ(ToInt64(u"9223372036854775808"), nMost);
    EXPECT_EQ(ToInt64(u"92233720368547758070"), nMost);
    EXPECT_EQ(ToInt64(u"-9223372036854775808"), nLeast);
    EXPECT_EQ(ToInt64(u"-9223372036854775809"), nLeast);
}

TEST(ToDouble, ReadsSignFractionAndExponent) {
    EXPECT_DOUBLE_EQ(ToDouble(u"31.25"), 31.25);
    EXPECT_DOUBLE_EQ(ToDouble(u"  -0.5x"), -0.5);
    EXPECT_DOUBLE_EQ(ToDouble(u"+1.5e3"), 1500);
    EXPECT_DOUBLE_EQ(ToDouble(u"2E-2"), 0.02);
    EXPECT_DOUBLE_EQ(ToDouble(u"7e"), 7);
    EXPECT_DOUBLE_EQ(ToDouble(u"1.5.7"), 1.5);
}

TEST(ToDouble, IsZeroWithoutDigitsAndOutOfRange) {
    for (const TextView strText : {u"", u"abc", u"-", u"+-1", u"-+1", u"e5", u"nan", u"inf", u"1e999"}) {
        EXPECT_EQ(ToDouble(strText), 0.0);
    }
}

TEST(ToHex, ReadsDigitsWithAndWithoutAPrefix) {
    EXPECT_EQ(ToHex(u"ff"), 255U);
    EXPECT_EQ(ToHex(u"0xAb"), 0xABU);
    EXPECT_EQ(ToHex(u"0X10zz"), 16U);
    EXPECT_EQ(ToHex(u"FFFFFFFF"), 0xFFFFFFFFU);
}

TEST(ToHex, IsZeroWithoutDigits) {
    for (const TextView strText : {u"", u"0x", u"xyz", u"-1"}) EXPECT_EQ(ToHex(strText), 0U);
}

}  // namespace
}  // namespace qvant
