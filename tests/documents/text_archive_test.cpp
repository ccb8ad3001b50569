#include "documents/text_archive.h"

#include <gtest/gtest.h>

#include "archive_of_map.h"

namespace qvant::test {

using namespace std::string_literals;

/// What stands in front of the units of a value of that length, in a map of one pair.
std::string HeadOf(std::size_t nLength) {
    CTextMap map;
    map.insert_or_assign(u"", Text(nLength, u'x'));
    const std::string strArchive = ArchiveMap(map);
    const std::string strEmptyKey = "\x01\x00\xFF\xFE\xFF\x00"s;
    EXPECT_TRUE(strArchive.starts_with(strEmptyKey));
    EXPECT_TRUE(strArchive.ends_with(ToUtf16Bytes(Text(nLength, u'x'))));
    return strArchive.substr(strEmptyKey.size(), strArchive.size() - strEmptyKey.size() - 2 * nLength);
}

TEST(ArchiveMap, OfNothingIsACountAlone) { EXPECT_EQ(ArchiveMap({}), "\0\0"s); }

TEST(ArchiveMap, HasEachKeyBeforeItsValueInTheOrderOfTheMap) {
    EXPECT_EQ(ArchiveMap({{u"b", u"\u53F0"}, {u"a", u""}}),
              "\x02\x00"
              "\xFF\xFE\xFF\x01"
              "b\x00"
              "\xFF\xFE\xFF\x01"
              "\xF0\x53"
              "\xFF\xFE\xFF\x01"
              "a\x00"
              "\xFF\xFE\xFF\x00"s);
}

TEST(ArchiveMap, WritesLengthsInTheFewestBytes) {
    EXPECT_EQ(HeadOf(0xFE), "\xFF\xFE\xFF\xFE"s);
    EXPECT_EQ(HeadOf(0xFF), "\xFF\xFE\xFF\xFF\xFF\x00"s);
    EXPECT_EQ(HeadOf(0x100), "\xFF\xFE\xFF\xFF\x00\x01"s);
    EXPECT_EQ(HeadOf(0xFFFD), "\xFF\xFE\xFF\xFF\xFD\xFF"s);
    EXPECT_EQ(HeadOf(0xFFFE), "\xFF\xFE\xFF\xFF\xFF\xFF\xFE\xFF\x00\x00"s);
    EXPECT_EQ(HeadOf(0xFFFF), "\xFF\xFE\xFF\xFF\xFF\xFF\xFF\xFF\x00\x00"s);
    EXPECT_EQ(HeadOf(0x12345), "\xFF\xFE\xFF\xFF\xFF\xFF\x45\x23\x01\x00"s);
}

TEST(ArchiveMap, WritesALargeCountIn32Bits) {
    CTextMap map;
    for (std::size_t i = 0; i < 0xFFFE; ++i) map.insert_or_assign(Widen(std::to_string(i)), u"");
    EXPECT_TRUE(ArchiveMap(map).starts_with("\xFE\xFF\xFF\xFE\xFF\x01"s));
    map.insert_or_assign(u"one more", u"");
    EXPECT_TRUE(ArchiveMap(map).starts_with("\xFF\xFF\xFF\xFF\x00\x00\xFF\xFE\xFF\x01"s));
    map.insert_or_assign(u"and another", u"");
    EXPECT_TRUE(ArchiveMap(map).starts_with("\xFF\xFF\x00\x00\x01\x00\xFF\xFE\xFF\x01"s));
}

}  // namespace qvant::test
