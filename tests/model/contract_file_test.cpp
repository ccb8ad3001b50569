#include "model/contract_file.h"

#include <map>
#include <random>

#include <gtest/gtest.h>

#include "net/wide_json.h"

namespace qvant {
namespace {

/// What is kept of a value, as the tree has it: members by name, the last of those of one name.
Text Draw(const CJsonValue& value) {
    Text strResult;
    if (const Text* pText = value.Get<Text>()) return Concatenate({u"'", *pText, u"'"});
    if (const auto* pArray = value.Get<CJsonValue::Array>()) {
        for (const auto& pElement : *pArray) AppendAll(strResult, {Draw(*pElement), u","});
        return Concatenate({u"[", strResult, u"]"});
    }
    if (const auto* pObject = value.Get<CJsonValue::Object>()) {
        for (const auto& [strKey, pValue] : *pObject) AppendAll(strResult, {strKey, u":", Draw(*pValue), u","});
        return Concatenate({u"{", strResult, u"}"});
    }
    return u"-";
}

Text Draw(const JsonValue& value) {
    Text strResult;
    if (value.IsString()) return Concatenate({u"'", GetText(value), u"'"});
    if (value.IsArray()) {
        for (const JsonValue& element : value.GetArray()) AppendAll(strResult, {Draw(element), u","});
        return Concatenate({u"[", strResult, u"]"});
    }
    if (value.IsObject()) {
        std::map<Text, Text> mapMembers;
        for (const auto& member : value.GetObject()) mapMembers[Text(GetText(member.name))] = Draw(member.value);
        for (const auto& [strKey, strValue] : mapMembers) AppendAll(strResult, {strKey, u":", strValue, u","});
        return Concatenate({u"{", strResult, u"}"});
    }
    return u"-";
}

void ExpectTheSame(const Text& strText) {
    CJsonValue tree;
    const bool bTree = ParseValue(tree, strText.data(), static_cast<std::int32_t>(strText.size())) > 0;
    JsonDocument file;
    ASSERT_EQ(ParseContractFile(file, strText), bTree) << Narrow(strText);
    if (bTree) {
        EXPECT_EQ(Draw(file), Draw(tree)) << Narrow(strText);
    } else {
        EXPECT_TRUE(file.IsNull()) << Narrow(strText);
    }
}

TEST(ContractFile, ReadsWhatTheWideReaderReads) {
    for (const TextView strText : {u"",
                                   u" ",
                                   u"{}",
                                   u"{\"a\":1 \"b\":2}",
                                   u"{\"a\":1",
                                   u"[1,2,]",
                                   u"[1 2",
                                   u"1.5",
                                   u"1.5 ",
                                   u"TRUE",
                                   u"Tr",
                                   u"{a:1}",
                                   u"{\"a\" 1}",
                                   u"{\"a\":\"x\\n\\u4E2D\\\\\\b\",\"a\":[\"y\"]}",
                                   u"[\"\\u12\"]",
                                   u"[\"\\u12",
                                   u"[\"a\\",
                                   u"{\"a\":{\"b\":[null,tRue,-1E3,\"\"]}} x",
                                   u"]",
                                   u"}",
                                   u"{]}",
                                   u"[}]",
                                   u"\"text\"",
                                   u"[,]",
                                   u"{\"a\":}"}) {
        ExpectTheSame(Text(strText));
    }
}

TEST(ContractFile, ReadsRandomTextsAsTheWideReaderDoes) {
    constexpr TextView arPieces[] = {u"{",      u"}",           u"[", u"]",  u",",    u":",  u"\"a\"", u"\"\\n\"",
                                     u"\"a\":", u"\"b\":\"x\"", u" ", u"1 ", u"true", u"\"", u"\\"};
    std::mt19937 random(3);
    int nWhole = 0;
    for (int i = 0; i < 20'000; ++i) {
        Text strText = random() % 2 ? u"{" : u"[";
        for (auto nLeft = random() % 12; nLeft > 0; --nLeft) strText += arPieces[random() % std::size(arPieces)];
        ExpectTheSame(strText);
        JsonDocument file;
        nWhole += ParseContractFile(file, strText) ? 1 : 0;
    }
    EXPECT_GT(nWhole, 100);
}

TEST(ContractFile, ReadsATextOfAnyDepth) {
    constexpr std::size_t DEPTH = 1'000'000;
    JsonDocument file;
    const Text strText = Text(DEPTH, u'[') + Text(DEPTH, u']');
    EXPECT_TRUE(ParseContractFile(file, strText));
    EXPECT_TRUE(file.IsArray());
    const Text strBroken(DEPTH, u'[');
    EXPECT_FALSE(ParseContractFile(file, strBroken));
    EXPECT_TRUE(file.IsNull());
}

}  // namespace
}  // namespace qvant
