#include "model/json_document.h"

#include <gtest/gtest.h>

namespace qvant {
namespace {

Text Rewrite(std::string_view strJson) {
    JsonDocument document;
    EXPECT_TRUE(ParseUtf8(document, strJson)) << strJson;
    Text strResult;
    AppendJson(strResult, document);
    return strResult;
}

bool IsBroken(std::string_view strJson) {
    JsonDocument document;
    document.SetInt(1);
    const bool bBroken = !ParseUtf8(document, strJson);
    EXPECT_EQ(bBroken, document.IsNull()) << strJson.substr(0, 100);
    return bBroken;
}

std::string Nest(int nDepth) {
    return std::string(static_cast<std::size_t>(nDepth), '[') + std::string(static_cast<std::size_t>(nDepth), ']');
}

TEST(ParseUtf8, GivesUtf16Strings) {
    JsonDocument document;
    ASSERT_TRUE(ParseUtf8(document, "{\"a\":\"\xE5\x8F\xB0\xF0\x9F\x98\x80\\u53F0\\uD83D\\uDE00\"}"));
    EXPECT_EQ(GetText(*FindMember(document, u"a")), u"台😀台😀");
}

TEST(ParseUtf8, RefusesWhatIsNoJson) {
    for (const std::string_view strJson :
         {"", " ", "{", "{\"a\":1", "{\"a\"}", "[1,]", "nul", "'a'", "{\"a\":1}x", "1 2", "\"\x01\"", "\"\xC3\"",
          "\"\xED\xA0\x80\"", "\"\xFF\"", "\"\\uD800\"", "\"\\x\"", "\xEF\xBB\xBF{}"}) {
        EXPECT_TRUE(IsBroken(strJson)) << strJson;
    }
}

TEST(ParseUtf8, RefusesWhatStandsBehindANul) {
    EXPECT_TRUE(IsBroken(std::string_view("{}\0x", 4)));
    EXPECT_TRUE(IsBroken(std::string_view("\0", 1)));
    EXPECT_FALSE(IsBroken(" {} \r\n"));
}

TEST(ParseUtf8, TakesNestingUpToItsLimitOnly) {
    EXPECT_FALSE(IsBroken(Nest(JSON_DEEPEST)));
    EXPECT_TRUE(IsBroken(Nest(JSON_DEEPEST + 1)));
    std::string strNeighbours("[");
    strNeighbours.append(Nest(JSON_DEEPEST - 1)).append(",").append(Nest(JSON_DEEPEST - 1)).append("]");
    EXPECT_FALSE(IsBroken(strNeighbours));
}

TEST(ParseUtf8, SurvivesAMillionLevels) {
    EXPECT_TRUE(IsBroken(std::string(1000000, '[')));
    std::string strObjects;
    for (int i = 0; i < 1000000; ++i) strObjects += "{\"a\":";
    EXPECT_TRUE(IsBroken(strObjects));
}

TEST(ParseUtf8, TakesHalfASurrogatePairForWhatItIs) {
    EXPECT_EQ(Rewrite("\"a\\uDC00b\""), Text(u"\"a") + char16_t{0xDC00} + u"b\"");
}

rapidjson::ParseErrorCode FindError(std::string_view strJson) {
    JsonDocument document;
    auto nError = rapidjson::kParseErrorTermination;
    const bool bParsed = ParseUtf8(document, strJson, &nError);
    EXPECT_EQ(bParsed, nError == rapidjson::kParseErrorNone);
    return nError;
}

TEST(ParseUtf8, RefusesANumberThatNoDoubleHolds) {
    for (const char* pszJson : {"[1e309]", "[1844674407370955161e300]", "[-1844674407370955161e300]"}) {
        EXPECT_EQ(FindError(pszJson), rapidjson::kParseErrorNumberTooBig) << pszJson;
    }
    EXPECT_EQ(Rewrite("[1e308,1e-400]"), u"[1e308,0.0]");
}

TEST(ParseUtf8, TellsWhatIsWrong) {
    EXPECT_EQ(FindError("{}"), rapidjson::kParseErrorNone);
    EXPECT_EQ(FindError(""), rapidjson::kParseErrorDocumentEmpty);
    EXPECT_EQ(FindError("<html>"), rapidjson::kParseErrorValueInvalid);
    EXPECT_EQ(FindError("{}x"), rapidjson::kParseErrorDocumentRootNotSingular);
    EXPECT_EQ(FindError(std::string_view("{}\0", 3)), rapidjson::kParseErrorDocumentRootNotSingular);
    EXPECT_EQ(FindError("\"\xFF\""), rapidjson::kParseErrorStringInvalidEncoding);
    EXPECT_EQ(FindError(Nest(JSON_DEEPEST + 1)), rapidjson::kParseErrorTermination);
}

bool IsBrokenWide(TextView strJson) {
    JsonDocument document;
    document.SetInt(1);
    const bool bBroken = !ParseUtf16(document, ToUtf16Bytes(strJson));
    EXPECT_EQ(bBroken, document.IsNull()) << Narrow(strJson.substr(0, 100));
    return bBroken;
}

TEST(ParseUtf16, ReadsRawWideText) {
    JsonDocument document;
    const std::string strBytes = ToUtf16Bytes(u"[\"台😀\\u53F0\",1]");
    ASSERT_TRUE(ParseUtf16(document, strBytes));
    EXPECT_EQ(GetText(document[0]), u"台😀台");
    EXPECT_TRUE(ParseUtf16(document, strBytes + "x")) << "a trailing odd byte is dropped";
}

TEST(ParseUtf16, RefusesWhatIsNoJson) {
    for (const TextView strJson : {u"", u"{", u"[1,]", u"nul", u"{}x", u"\uFEFF{}"}) EXPECT_TRUE(IsBrokenWide(strJson));
    EXPECT_TRUE(IsBrokenWide(TextView(u"{}\0", 3)));
    JsonDocument document;
    EXPECT_FALSE(ParseUtf16(document, "7"));
}

TEST(ParseUtf16, TakesNestingUpToItsLimitOnly) {
    EXPECT_FALSE(IsBrokenWide(Widen(Nest(JSON_DEEPEST))));
    EXPECT_TRUE(IsBrokenWide(Widen(Nest(JSON_DEEPEST + 1))));
    EXPECT_TRUE(IsBrokenWide(Text(1000000, u'[')));
}

TEST(ParseUtf16, TakesHalfASurrogatePairForWhatItIs) {
    JsonDocument document;
    ASSERT_TRUE(ParseUtf16(document, ToUtf16Bytes(Text(u"\"a") + char16_t{0xDC00} + u"\"")));
    EXPECT_EQ(GetText(document), Text(u"a") + char16_t{0xDC00});
}

TEST(FindMember, FindsTheFirstOfAName) {
    JsonDocument document;
    ASSERT_TRUE(ParseUtf8(document, R"({"a":"1","a\u0000b":"2","a":"3"})"));
    EXPECT_EQ(GetText(*FindMember(document, u"a")), u"1");
    EXPECT_EQ(GetText(*FindMember(document, TextView(u"a\0b", 3))), u"2");
    EXPECT_EQ(FindMember(document, u"c"), nullptr);
}

TEST(FindMember, FindsNothingInWhatIsNoObject) {
    JsonDocument document;
    EXPECT_EQ(FindMember(document, u"a"), nullptr);
    ASSERT_TRUE(ParseUtf8(document, R"(["a"])"));
    EXPECT_EQ(FindMember(document, u"a"), nullptr);
}

TEST(AppendJson, IsCompact) {
    EXPECT_EQ(Rewrite(R"( { "a" : [ 1 , -2 , true , false , null , { } , [ ] ] , "b" : "x" } )"),
              u"{\"a\":[1,-2,true,false,null,{},[]],\"b\":\"x\"}");
}

TEST(AppendJson, KeepsNumbers) {
    EXPECT_EQ(Rewrite("[4294967295,-2147483648,18446744073709551615,-9223372036854775808,0.1,1e300,2.0]"),
              u"[4294967295,-2147483648,18446744073709551615,-9223372036854775808,0.1,1e300,2.0]");
}

TEST(AppendJson, EscapesWhatItMustAndNothingElse) {
    EXPECT_EQ(Rewrite(R"("\"\\\/\b\f\n\r\t\u0000\u001f\u007f\u00e9")"),
              u"\"\\\"\\\\/\\b\\f\\n\\r\\t\\u0000\\u001F\u007f\u00e9\"");
    EXPECT_EQ(Rewrite("{\"\\n\":\"\xE5\x8F\xB0\"}"), u"{\"\\n\":\"台\"}");
}

TEST(AppendJson, WritesTheDeepestDocument) { EXPECT_EQ(Rewrite(Nest(JSON_DEEPEST)), Widen(Nest(JSON_DEEPEST))); }

}  // namespace
}  // namespace qvant
