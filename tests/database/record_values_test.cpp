#include "record_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qvant::database {
namespace {

using ::testing::ElementsAre;

TEST(RecordValues, AreSplitAtCommas) {
    CRecordValues values;
    EXPECT_THAT(values.Split(u"QV.F.CME.ES,E-mini,"), ElementsAre("QV.F.CME.ES", "E-mini", ""));
    EXPECT_THAT(values.Split(u""), ElementsAre(""));
    EXPECT_THAT(values.Split(u","), ElementsAre("", ""));
}

TEST(RecordValues, AreSplitAtTheSeparatorThatTheirEndingNames) {
    CRecordValues values;
    EXPECT_THAT(values.Split(u"FUT|A#@A, B#@x,y#@1#@1700000000||#@"),
                ElementsAre("FUT|A", "A, B", "x,y", "1", "1700000000"));
    EXPECT_THAT(values.Split(u"a;b||;"), ElementsAre("a", "b"));
    EXPECT_THAT(values.Split(u"a,b||,"), ElementsAre("a", "b"));
    EXPECT_THAT(values.Split(u"a#@||#@"), ElementsAre("a", ""));
    EXPECT_THAT(values.Split(u"||#@"), ElementsAre(""));
}

TEST(RecordValues, TakeTwoBarsForTextWhenNoSeparatorStandsBehindThem) {
    CRecordValues values;
    EXPECT_THAT(values.Split(u"20240101,H,CME||CBOT"), ElementsAre("20240101", "H", "CME||CBOT"));
    EXPECT_THAT(values.Split(u"20240101,H,CME||"), ElementsAre("20240101", "H", "CME||"));
    EXPECT_THAT(values.Split(u"a||;,b"), ElementsAre("a||;", "b"));
    EXPECT_THAT(values.Split(u"a||期"), ElementsAre("a||期"));
    EXPECT_THAT(values.Split(u"a,b||#########"), ElementsAre("a", "b||#########")) << "nine units are no separator";
}

TEST(RecordValues, ComeInUtf8WhateverTheyHold) {
    CRecordValues values;
    EXPECT_THAT(values.Split(u"小型,\xD83D\xDE00,é"), ElementsAre("小型", "😀", "é"));
    EXPECT_THAT(values.Split(Text(u"\xD800,a\0b", 5)), ElementsAre("\xEF\xBF\xBD", std::string("a\0b", 3)));
    EXPECT_THAT(values.Split(u"x,y"), ElementsAre("x", "y")) << "the memory is used again";
}

}  // namespace
}  // namespace qvant::database
