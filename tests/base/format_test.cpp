#include "base/format.h"

#include <limits>

#include <gtest/gtest.h>

namespace qvant {
namespace {

TEST(Format, FillsTextsInTheirOrder) {
    const Text strHome = u"/home/";
    EXPECT_EQ(Format(u"%sConfigs/%s.ini", strHome, u"LUMIVale"), u"/home/Configs/LUMIVale.ini");
    EXPECT_EQ(Format(u"<%s>", TextView(u"view")), u"<view>");
}

TEST(Format, TakesANullTextAsEmpty) { EXPECT_EQ(Format(u"[%s]", static_cast<const char16_t*>(nullptr)), u"[]"); }

TEST(Format, WritesIntegersOfEverySize) {
    EXPECT_EQ(Format(u"%d %i", -5, 7), u"-5 7");
    EXPECT_EQ(Format(u"%lld", std::numeric_limits<std::int64_t>::min()), u"-9223372036854775808");
    EXPECT_EQ(Format(u"%I64d", std::int64_t{20201218000000}), u"20201218000000");
    EXPECT_EQ(Format(u"%llu", std::numeric_limits<std::uint64_t>::max()), u"18446744073709551615");
    EXPECT_EQ(Format(u"%hd", static_cast<short>(-1)), u"-1");
}

TEST(Format, TakesTheUnsignedFormsFromTheArgumentsOwnSize) {
    EXPECT_EQ(Format(u"%u", -1), u"4294967295");
    EXPECT_EQ(Format(u"%x %X", -1, 0xABCD), u"ffffffff ABCD");
    EXPECT_EQ(Format(u"%x", std::int64_t{-1}), u"ffffffffffffffff");
}

TEST(Format, PadsToAWidth) {
    EXPECT_EQ(Format(u"[%5d][%-5d][%05d]", 42, 42, 42), u"[   42][42   ][00042]");
    EXPECT_EQ(Format(u"[%05d]", -42), u"[-0042]");
    EXPECT_EQ(Format(u"[%4s][%-4s]", u"ab", u"ab"), u"[  ab][ab  ]");
    EXPECT_EQ(Format(u"%02d:%02d", 9, 5), u"09:05");
    EXPECT_EQ(Format(u"%02d", 123), u"123");
}

TEST(Format, TakesAPrecisionAsTheLeastDigitsOfAnInteger) {
    EXPECT_EQ(Format(u"%.2d:%.2d", 1, 23), u"01:23");
    EXPECT_EQ(Format(u"[%5.3d]", -7), u"[ -007]");
    EXPECT_EQ(Format(u"%.6d", 83000), u"083000");
}

TEST(Format, TakesAPrecisionAsTheMostUnitsOfAText) {
    EXPECT_EQ(Format(u"[%.3s]", u"abcdef"), u"[abc]");
    EXPECT_EQ(Format(u"[%5.2s]", u"abcdef"), u"[   ab]");
    EXPECT_EQ(Format(u"[%.0s]", u"abc"), u"[]");
}

TEST(Format, WritesDoublesWithSixDigitsUnlessTold) {
    EXPECT_EQ(Format(u"%f", 1.5), u"1.500000");
    EXPECT_EQ(Format(u"%.2f", -0.126), u"-0.13");
    EXPECT_EQ(Format(u"%.0f", 2.5), u"2");
    EXPECT_EQ(Format(u"[%8.1f][%-8.1f]", 3.14, 3.14), u"[     3.1][3.1     ]");
}

TEST(Format, HasRoomForTheLargestDouble) {
    const Text strNumber = Format(u"%.40f", -std::numeric_limits<double>::max());
    EXPECT_EQ(strNumber.size(), 1U + 309U + 1U + 40U);
}

TEST(Format, WritesSingleUnitsAndPercents) { EXPECT_EQ(Format(u"100%% %c%c", u'Q', 86), u"100% QV"); }

TEST(Format, LeavesOutWhatIsMissingOrOfTheWrongKind) {
    EXPECT_EQ(Format(u"[%s][%s]", u"a"), u"[a][]");
    EXPECT_EQ(Format(u"[%d]"), u"[]");
    EXPECT_EQ(Format(u"[%s]", 5), u"[]");
    EXPECT_EQ(Format(u"[%d][%f][%c]", u"a", 1, u"b"), u"[][][]");
}

TEST(Format, IgnoresArgumentsTooMany) { EXPECT_EQ(Format(u"a", 1, u"b"), u"a"); }

TEST(Format, SurvivesBrokenFormats) {
    EXPECT_EQ(Format(u"50%", 1), u"50");
    EXPECT_EQ(Format(u"%", 1), u"");
    EXPECT_EQ(Format(u"%-0", 1), u"");
    EXPECT_EQ(Format(u"%5.", 1), u"");
    EXPECT_EQ(Format(u"%q|%s", 1, u"b"), u"|b");
    EXPECT_EQ(Format(u"%99999999999999999999d", 1).size(), 4096U);
}

TEST(Format, NeverReadsAnArgumentAsAFormat) { EXPECT_EQ(Format(u"%s", u"%s%n%d"), u"%s%n%d"); }

}  // namespace
}  // namespace qvant
