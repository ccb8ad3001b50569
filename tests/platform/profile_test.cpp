#include "platform/profile.h"

#include <array>

#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/thread.h"
#include "surroundings.h"

namespace qvant::platform {
namespace {

/// A profile file in a folder of its own.
class Profile : public testing::Test {
protected:
    void Write(std::string_view strBytes) { ASSERT_TRUE(ReplaceFile(m_strPath, strBytes)); }
    Text Read(TextView strSection, TextView strKey) const {
        return GetProfileText(strSection, strKey, u"default", 256, m_strPath);
    }

    const CTestFolder m_folder;
    const Text m_strPath = m_folder / "LUMIVale.ini";
};

TEST_F(Profile, GivesTheDefaultWithoutFileSectionOrKey) {
    EXPECT_EQ(Read(u"LUMIVale", u"Version"), u"default");
    Write("[LUMIVale]\nother=1\n[More]\nVersion=2\n");
    EXPECT_EQ(Read(u"LUMIVale", u"Version"), u"default");
    EXPECT_EQ(Read(u"None", u"Version"), u"default");
    EXPECT_EQ(GetProfileInt(u"LUMIVale", u"AppsProxyPort", -3, m_strPath), -3);
}

TEST_F(Profile, FindsSectionsAndKeysWithoutRegardToCase) {
    Write("[lumiVALE]\r\n INFOLISTTYPE = ALL \r\n");
    EXPECT_EQ(Read(u"LUMIVale", u"InfoListType"), u"ALL");
    Write("  [ LUMIVale ] \nk=v\n");
    EXPECT_EQ(Read(u"LUMIVale", u"K"), u"v");
}

TEST_F(Profile, ReadsEveryEncoding) {
    Write("[A]\nk=\xE5\x8F\xB0\n");
    EXPECT_EQ(Read(u"A", u"k"), u"\u53F0");
    Write("\xEF\xBB\xBF[A]\nk=\xE5\x8F\xB0\n");
    EXPECT_EQ(Read(u"A", u"k"), u"\u53F0");
    Write("\xFF\xFE" + ToUtf16Bytes(u"[A]\r\nk=\u53F0\r\n"));
    EXPECT_EQ(Read(u"A", u"k"), u"\u53F0");
}

TEST_F(Profile, DropsBlanksAndOnePairOfQuotesAroundAValue) {
    Write("[A]\na= x y \nb=\" x \"\nc='x'\nd=\"\"x\"\"\ne=\"x'\nf=\"\ng=\nh=\"\"\ni=a=b;c\n");
    EXPECT_EQ(Read(u"A", u"a"), u"x y");
    EXPECT_EQ(Read(u"A", u"b"), u" x ");
    EXPECT_EQ(Read(u"A", u"c"), u"x");
    EXPECT_EQ(Read(u"A", u"d"), u"\"x\"");
    EXPECT_EQ(Read(u"A", u"e"), u"\"x'");
    EXPECT_EQ(Read(u"A", u"f"), u"\"");
    EXPECT_EQ(Read(u"A", u"g"), u"");
    EXPECT_EQ(Read(u"A", u"h"), u"");
    EXPECT_EQ(Read(u"A", u"i"), u"a=b;c");
}

TEST_F(Profile, CutsAValueToItsBuffer) {
    Write("[A]\nk=" + std::string(300, 'x') + "\n");
    EXPECT_EQ(GetProfileText(u"A", u"k", u"", 256, m_strPath).size(), 255U);
    EXPECT_EQ(GetProfileText(u"A", u"k", u"", 2048, m_strPath).size(), 300U);
    EXPECT_EQ(GetProfileText(u"A", u"k", u"", 1, m_strPath), u"");
    EXPECT_EQ(GetProfileText(u"A", u"k", u"", 0, m_strPath), u"");
    EXPECT_EQ(GetProfileText(u"A", u"none", u"default", 4, m_strPath), u"def");
}

TEST_F(Profile, ReadsTheNumberAtTheStartOfAValue) {
    Write("[A]\na=8080\nb=-7 ms\nc=x\nd=\ne=\"12\"\n");
    EXPECT_EQ(GetProfileInt(u"A", u"a", 1, m_strPath), 8080);
    EXPECT_EQ(GetProfileInt(u"A", u"b", 1, m_strPath), -7);
    EXPECT_EQ(GetProfileInt(u"A", u"c", 1, m_strPath), 0);
    EXPECT_EQ(GetProfileInt(u"A", u"d", 1, m_strPath), 0);
    EXPECT_EQ(GetProfileInt(u"A", u"e", 1, m_strPath), 12);
}

TEST_F(Profile, MakesANewFileOfWideText) {
    EXPECT_TRUE(WriteProfileText(u"LUMIVale", u"Version", u"20201218\u53F0", m_strPath));
    EXPECT_EQ(ReadWholeFile(m_strPath), "\xFF\xFE" + ToUtf16Bytes(u"[LUMIVale]\r\nVersion=20201218\u53F0\r\n"));
    EXPECT_EQ(Read(u"LUMIVale", u"Version"), u"20201218\u53F0");
}

TEST_F(Profile, KeepsCommentsOrderAndOtherKeys) {
    Write("; mine\r\n[LUMIVale]\r\nVersion=1\r\nExgList=DCE||SHFE\r\n\r\n[Other]\r\nVersion=9\r\n");
    EXPECT_TRUE(WriteProfileText(u"LUMIVale", u"version", u"", m_strPath));
    EXPECT_TRUE(WriteProfileText(u"LUMIVale", u"New", u"x", m_strPath));
    EXPECT_EQ(ReadWholeFile(m_strPath),
              "; mine\r\n[LUMIVale]\r\nVersion=\r\nExgList=DCE||SHFE\r\nNew=x\r\n\r\n[Other]\r\nVersion=9\r\n");
}

TEST_F(Profile, DropsLineEndsThatWouldBreakTheFile) {
    EXPECT_TRUE(WriteProfileText(u"A", u"k", u"one\r\n[B]\nk=two", m_strPath));
    EXPECT_EQ(Read(u"A", u"k"), u"one[B]k=two");
    EXPECT_EQ(Read(u"B", u"k"), u"default");
}

TEST_F(Profile, AddsNoQuotesOfItsOwn) {
    EXPECT_TRUE(WriteProfileText(u"A", u"k", u" \"v\" ", m_strPath));
    EXPECT_EQ(Read(u"A", u"k"), u"v");
}

TEST_F(Profile, FailsAndLeavesNothingWithoutTheFolder) {
    EXPECT_FALSE(WriteProfileText(u"A", u"k", u"v", m_folder / "none/LUMIVale.ini"));
    EXPECT_EQ(m_folder.CountFiles(), 0U);
}

TEST_F(Profile, DoesNotReplaceWhatItCannotRead) {
    ASSERT_TRUE(CreateFolders(m_strPath));
    EXPECT_FALSE(WriteProfileText(u"A", u"k", u"v", m_strPath));
}

TEST_F(Profile, TakesJunkAsAFileWithoutKeys) {
    std::string strJunk;
    for (unsigned n = 12'345; strJunk.size() < 50'000; n = n * 1'103'515'245 + 12'345) {
        strJunk.push_back(static_cast<char>(n >> 16));
    }
    for (const std::string strMark : {"", "\xFF\xFE", "\xEF\xBB\xBF"}) {
        Write(strMark + strJunk);
        EXPECT_EQ(Read(u"LUMIVale", u"Version"), u"default");
        EXPECT_TRUE(WriteProfileText(u"LUMIVale", u"Version", u"1", m_strPath));
        EXPECT_EQ(Read(u"LUMIVale", u"Version"), u"1");
        EXPECT_TRUE(ReadWholeFile(m_strPath)->starts_with(strMark + strJunk));
    }
}

TEST_F(Profile, LosesNoKeyToWritersAtTheSameTime) {
    constexpr int KEYS_A_WRITER = 20;
    std::array<CThread, 4> arWriters;
    for (std::size_t nWriter = 0; nWriter < arWriters.size(); ++nWriter) {
        ASSERT_TRUE(arWriters[nWriter].Start("writer", [this, nWriter] {
            for (int i = 0; i < KEYS_A_WRITER; ++i) {
                const Text strKey = Widen(std::to_string(nWriter) + "." + std::to_string(i));
                WriteProfileText(u"A", strKey, strKey, m_strPath);
            }
        }));
    }
    for (CThread& writer : arWriters) ASSERT_EQ(writer.Wait(), WaitResult::Signalled);
    for (std::size_t nWriter = 0; nWriter < arWriters.size(); ++nWriter) {
        for (int i = 0; i < KEYS_A_WRITER; ++i) {
            const Text strKey = Widen(std::to_string(nWriter) + "." + std::to_string(i));
            EXPECT_EQ(Read(u"A", strKey), strKey);
        }
    }
}

}  // namespace
}  // namespace qvant::platform
