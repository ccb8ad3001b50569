#include "net/wide_json.h"

#include <chrono>
#include <optional>

#include <gtest/gtest.h>

namespace qvant::test {
namespace {

std::int32_t Parse(CJsonValue& value, TextView strText) {
    return ParseValue(value, strText.data(), static_cast<std::int32_t>(strText.size()));
}

// The value written again, or nothing when it can't be read.
std::optional<Text> Rewrite(TextView strText) {
    CJsonValue value;
    if (Parse(value, strText) <= 0) return std::nullopt;
    return ValueToText(value);
}

std::optional<Text> ReadString(TextView strText) {
    CJsonValue value;
    if (Parse(value, strText) <= 0 || !value.Get<Text>()) return std::nullopt;
    return *value.Get<Text>();
}

void ExpectInt64(TextView strText, std::int64_t nExpected) {
    CJsonValue value;
    ASSERT_GT(Parse(value, strText), 0) << Narrow(strText);
    ASSERT_EQ(value.GetType(), CJsonValue::TYPE_INT64) << Narrow(strText);
    EXPECT_EQ(*value.Get<std::int64_t>(), nExpected) << Narrow(strText);
}

void ExpectInt32(TextView strText, std::int32_t nExpected) {
    CJsonValue value;
    ASSERT_GT(Parse(value, strText), 0) << Narrow(strText);
    ASSERT_EQ(value.GetType(), CJsonValue::TYPE_INT32) << Narrow(strText);
    EXPECT_EQ(*value.Get<std::int32_t>(), nExpected) << Narrow(strText);
}

TEST(ParseValue, RefusesNoTextAtAll) {
    CJsonValue value;
    EXPECT_EQ(ParseValue(value, nullptr, 5), -1);
    EXPECT_EQ(ParseValue(value, u"1 ", 0), -1);
    EXPECT_EQ(ParseValue(value, u"1 ", -3), -1);
    EXPECT_LE(Parse(value, u"   "), 0);
    EXPECT_LE(Parse(value, u"?"), 0);
}

TEST(ParseValue, CountsLeadingBlanksAndStopsBehindTheFirstValue) {
    CJsonValue value;
    EXPECT_EQ(Parse(value, u" \t\x01\r\ntrue rest"), 9);
    EXPECT_EQ(*value.Get<bool>(), true);
    EXPECT_EQ(Parse(value, u"{}]]]"), 2);
}

TEST(ParseValue, TakesNoNulForABlank) {
    CJsonValue value;
    EXPECT_LE(Parse(value, TextView(u" \0true ", 7)), 0);
}

TEST(ParseValue, GivesTheNegativeOfThePositionOfAFailure) {
    CJsonValue value;
    EXPECT_EQ(Parse(value, u"  {\"a\" 1}"), -7);
    EXPECT_EQ(value.GetType(), CJsonValue::TYPE_NULL);
}

TEST(ParseValue, ReadsKeywordsInAnyCase) {
    EXPECT_EQ(Rewrite(u"TRUE"), u"true");
    EXPECT_EQ(Rewrite(u"True"), u"true");
    EXPECT_EQ(Rewrite(u"fAlSe"), u"false");
    EXPECT_EQ(Rewrite(u"nUlL"), u"null");
}

TEST(ParseValue, RefusesWordsThatAreNone) {
    for (const TextView strText : {u"Tr", u"nul", u"fals", u"truth", u"nope", u"faults"}) {
        EXPECT_FALSE(Rewrite(strText)) << Narrow(strText);
    }
}

TEST(ParseValue, TakesUpToNineDigitsForA32BitInteger) {
    ExpectInt32(u"123456789,", 123456789);
    ExpectInt32(u"-123456789,", -123456789);
    ExpectInt32(u"+7 ", 7);
    ExpectInt64(u"12345678901 ", 12345678901);
    ExpectInt64(u"-1234567890,", -1234567890);
    ExpectInt64(u"0000000001 ", 1);
}

TEST(ParseValue, HoldsAnIntegerThatIsTooLargeAtTheNearest) {
    ExpectInt64(u"99999999999999999999 ", 9223372036854775807);
}

TEST(ParseValue, RefusesANumberAtTheVeryEnd) {
    EXPECT_FALSE(Rewrite(u"1.5"));
    EXPECT_FALSE(Rewrite(u"12"));
    EXPECT_FALSE(Rewrite(u"-"));
    EXPECT_EQ(Rewrite(u"1.5 "), u"1.5000");
}

TEST(ParseValue, ReadsASignWithoutDigitsAsNothing) { ExpectInt32(u"-,", 0); }

TEST(ParseValue, ReadsFractions) {
    CJsonValue value;
    EXPECT_EQ(Parse(value, u"-2.25,"), 5);
    EXPECT_EQ(*value.Get<double>(), -2.25);
    EXPECT_FALSE(Rewrite(u"1.2.3 "));
    EXPECT_FALSE(Rewrite(u".5 "));
}

TEST(ParseValue, TruncatesAnExponentToA64BitInteger) {
    ExpectInt64(u"1.5E3,", 1500);
    ExpectInt64(u"-1.5E3]", -1500);
    ExpectInt64(u"25E-1}", 2);
    ExpectInt64(u"1E-5\"", 0);
    ExpectInt64(u"1E99,", std::numeric_limits<std::int64_t>::min());
    CJsonValue value;
    EXPECT_EQ(Parse(value, u"2E2 junk,"), 8);
}

TEST(ParseValue, EndsANumberAtAnExponentThatNothingEnds) {
    CJsonValue value;
    EXPECT_EQ(Parse(value, u"12E3 "), 2);
    EXPECT_EQ(*value.Get<std::int32_t>(), 12);
}

TEST(ParseValue, EndsANumberAtASmallE) {
    CJsonValue value;
    EXPECT_EQ(Parse(value, u"1e3 "), 1);
    EXPECT_EQ(*value.Get<std::int32_t>(), 1);
    EXPECT_FALSE(Rewrite(u"{\"a\":1e3}"));
}

TEST(ParseValue, ReadsDigitsOfOtherScripts) {
    ExpectInt32(u"\uFF11\uFF12\uFF13 ", 123);
    ExpectInt32(u"1\u0663 ", 13);
}

TEST(ParseValue, ReplacesTheEscapesOfAString) {
    EXPECT_EQ(ReadString(u"\"a\\\"b\\nc\\rd\\te\\/f\\\\g\""), u"a\"b\nc\rd\te/f\\g");
    EXPECT_EQ(ReadString(u"\"\\u5BCC\\u0041\""), u"\u5BCC\u0041");
    EXPECT_EQ(ReadString(u"\"raw \x01\n\""), u"raw \x01\n");
}

TEST(ParseValue, LosesTheLetterOfAnUnknownEscapeAndKeepsItsBackslash) {
    EXPECT_EQ(ReadString(u"\"a\\bc\\fd\\x\""), u"a\\c\\d\\");
}

TEST(ParseValue, CopiesAShortUnicodeEscapeAtTheEndAsItStands) { EXPECT_EQ(ReadString(u"\"a\\u41\""), u"a\\u41"); }

TEST(ParseValue, RefusesAStringWithoutItsEnd) {
    EXPECT_FALSE(ReadString(u"\"abc"));
    EXPECT_FALSE(ReadString(u"\"abc\\\""));
    EXPECT_FALSE(ReadString(u"\"abc\\"));
    EXPECT_FALSE(ReadString(u"\""));
}

TEST(ParseValue, ReadsAnObjectAndSortsItsMembers) {
    EXPECT_EQ(Rewrite(u"{ \"b\" : 1 , \"a\" : [ null , \"x\" ] }"), u"{\"a\" : [null, \"x\"], \"b\" : 1}");
    EXPECT_EQ(Rewrite(u"{}"), u"{}");
    EXPECT_EQ(Rewrite(u"[]"), u"[]");
}

TEST(ParseValue, ForgivesMissingAndTrailingCommas) {
    EXPECT_EQ(Rewrite(u"{\"a\":1 \"b\":2}"), u"{\"a\" : 1, \"b\" : 2}");
    EXPECT_EQ(Rewrite(u"{\"a\":1,}"), u"{\"a\" : 1}");
    EXPECT_EQ(Rewrite(u"[1 2,3,]"), u"[1, 2, 3]");
    EXPECT_EQ(Rewrite(u"[[1][2]{}]"), u"[[1], [2], {}]");
}

TEST(ParseValue, ForgivesNoCommaInFrontOfAValue) {
    EXPECT_FALSE(Rewrite(u"[,1]"));
    EXPECT_FALSE(Rewrite(u"[1,,2]"));
    EXPECT_FALSE(Rewrite(u"{,}"));
}

TEST(ParseValue, LetsARepeatedKeyReplaceTheEarlierValue) {
    EXPECT_EQ(Rewrite(u"{\"a\":{\"x\":1},\"a\":2}"), u"{\"a\" : 2}");
}

TEST(ParseValue, RefusesAContainerWithoutItsEnd) {
    CJsonValue value;
    EXPECT_EQ(Parse(value, u"{\"a\":1"), -1);
    EXPECT_FALSE(Rewrite(u"[1"));
    EXPECT_FALSE(Rewrite(u"{\"a\":1]"));
    EXPECT_FALSE(Rewrite(u"[1,2}"));
    EXPECT_FALSE(Rewrite(u"[{]}"));
}

TEST(ParseValue, RefusesAKeyThatIsNoString) {
    EXPECT_FALSE(Rewrite(u"{a:1}"));
    EXPECT_FALSE(Rewrite(u"{\"a\"=1}"));
    EXPECT_FALSE(Rewrite(u"{\"a\":}"));
    EXPECT_FALSE(Rewrite(u"{1:1}"));
}

TEST(ParseValue, ReplacesWhatTheValueHeld) {
    CJsonValue value;
    Parse(value, u"[1,2,3]");
    EXPECT_EQ(Parse(value, u"null"), 4);
    EXPECT_EQ(value.GetType(), CJsonValue::TYPE_NULL);
}

TEST(ParseValue, ReadsWritesAndFreesAMillionLevels) {
    constexpr std::size_t DEPTH = 1'000'000;
    const Text strText = Text(DEPTH, u'[') + Text(DEPTH, u']');
    CJsonValue value;
    ASSERT_EQ(Parse(value, strText), static_cast<std::int32_t>(2 * DEPTH));
    EXPECT_TRUE(ValueToText(value) == strText);
    ClearValue(value);
    EXPECT_EQ(value.GetType(), CJsonValue::TYPE_NULL);
}

TEST(ParseValue, FreesAMillionLevelsOfAFailure) {
    Text strText;
    for (int i = 0; i < 1'000'000; ++i) strText += u"{\"a\":";
    strText += u"}";
    CJsonValue value;
    EXPECT_LT(Parse(value, strText), 0);
    EXPECT_LT(Parse(value, Text(1'000'000, u'[') + u"]"), 0);
}

TEST(JsonValue, SetsAndFindsMembersOfAnObjectAlone) {
    CJsonValue value;
    value.Set(u"a", CJsonValue(1));
    EXPECT_EQ(value.GetType(), CJsonValue::TYPE_NULL);
    EXPECT_EQ(value.Find(u"a"), nullptr);
    value.MakeObject();
    value.Set(u"a", CJsonValue(1));
    value.Set(u"a", CJsonValue(Text(u"two")));
    ASSERT_NE(value.Find(u"a"), nullptr);
    EXPECT_EQ(*value.Find(u"a")->Get<Text>(), u"two");
    EXPECT_EQ(value.Find(u"b"), nullptr);
}

TEST(JsonValue, CanTakeTheValueOfOneOfItsOwnChildren) {
    CJsonValue value;
    Parse(value, u"[[[\"deep\"]]]");
    value = std::move(*(*value.Get<CJsonValue::Array>())[0]);
    EXPECT_EQ(ValueToText(value), u"[[\"deep\"]]");
}

TEST(ValueToText, WritesEachTypeInItsOwnForm) {
    EXPECT_EQ(ValueToText(CJsonValue()), u"null");
    EXPECT_EQ(ValueToText(CJsonValue(true)), u"true");
    EXPECT_EQ(ValueToText(CJsonValue(false)), u"false");
    EXPECT_EQ(ValueToText(CJsonValue(std::int32_t{-5})), u"-5");
    EXPECT_EQ(ValueToText(CJsonValue(std::int64_t{-12345678901})), u"-12345678901");
    EXPECT_EQ(ValueToText(CJsonValue(0.12345)), u"0.1235");
    EXPECT_EQ(ValueToText(CJsonValue(2.0)), u"2.0000");
}

TEST(ValueToText, EscapesNothing) { EXPECT_EQ(ValueToText(CJsonValue(Text(u"say \"hi\"\n"))), u"\"say \"hi\"\n\""); }

TEST(ValueToText, SkipsNullPointers) {
    CJsonValue value;
    value.MakeArray();
    value.Get<CJsonValue::Array>()->push_back(nullptr);
    value.Get<CJsonValue::Array>()->push_back(std::make_unique<CJsonValue>(1));
    value.Get<CJsonValue::Array>()->push_back(nullptr);
    EXPECT_EQ(ValueToText(value), u"[1]");
    value.MakeObject();
    (*value.Get<CJsonValue::Object>())[u"a"] = nullptr;
    EXPECT_EQ(ValueToText(value), u"{}");
}

}  // namespace
}  // namespace qvant::test
