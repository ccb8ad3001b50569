#include "documents/reply_file.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "platform/stop.h"
#include "support/scratch_folder.h"

namespace qvant::test {
namespace {

std::size_t CountFiles(const CScratchFolder& folder) {
    std::size_t nFiles = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder.GetPath())) ++nFiles;
    return nFiles;
}

/// A long reply whose characters of one to four bytes fall on every place of a piece.
std::string MakeLongReply() {
    const std::string strCharacters = "a\xC3\xA9\xE5\x8F\xB0\xF0\x9F\x93\x88.";
    std::string strReply;
    while (strReply.size() < 2 * CReplyFile::LONG_REPLY) strReply += strCharacters;
    return strReply;
}

TEST(CReplyFile, HoldsTheUnitsOfTheReplyWhateverItsLength) {
    const CScratchFolder folder;
    const std::string strLong = MakeLongReply();
    for (const std::string& strReply :
         {std::string(), std::string("\xE5\x8F\xB0"), strLong.substr(0, 99'000), strLong}) {
        CReplyFile file(folder / "file", strReply);
        ASSERT_TRUE(file.Commit());
        ASSERT_TRUE(FromUtf16Bytes(folder.Read("file")) == Widen(strReply));
        ASSERT_EQ(CountFiles(folder), 1U);
    }
}

TEST(CReplyFile, LeavesTheOldFileAndNothingElseWithoutItsCommit) {
    const CScratchFolder folder;
    folder.Write("file", "old");
    for (const std::string& strReply : {std::string("{}"), MakeLongReply()}) {
        { const CReplyFile file(folder / "file", strReply); }
        EXPECT_EQ(folder.Read("file"), "old");
        EXPECT_EQ(CountFiles(folder), 1U);
    }
}

TEST(CReplyFile, FailsWhereTheFolderIsMissingAndForWhatIsNoText) {
    const CScratchFolder folder;
    const std::string strLong = MakeLongReply();
    EXPECT_FALSE(CReplyFile(folder / "none/file", "{}").Commit());
    EXPECT_FALSE(CReplyFile(folder / "none/file", strLong).Commit());
    EXPECT_FALSE(CReplyFile(folder / "file", "\xFF").Commit());
    EXPECT_FALSE(CReplyFile(folder / "file", strLong + "\xFF").Commit());
    EXPECT_EQ(CountFiles(folder), 0U);
}

}  // namespace
}  // namespace qvant::test
