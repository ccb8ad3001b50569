#include "platform/files.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <set>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/limits.h"
#include "surroundings.h"

namespace qvant::platform {
namespace {

mode_t GetMode(const Text& strPath) {
    struct stat status {};
    return stat(Narrow(strPath).c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

TEST(GetExecutablePath, IsTheProgramsOwn) {
    const CVariable home("LUMIVALE_HOME", std::nullopt);
    const Text strPath = GetExecutablePath();
    EXPECT_TRUE(strPath.starts_with(u'/'));
    EXPECT_TRUE(strPath.ends_with(u"/test_platform"));
}

TEST(GetExecutablePath, IsAFileOfTheHomeFolderWhenItIsSet) {
    for (const char* pszHome : {"/opt/lumivale", "/opt/lumivale/"}) {
        const CVariable home("LUMIVALE_HOME", pszHome);
        EXPECT_EQ(GetExecutablePath(), u"/opt/lumivale/lumivale-host");
    }
}

TEST(GetCommonDataFolder, TakesTheFirstThatIsSet) {
    const CVariable home("HOME", "/home/trader");
    const CVariable data("XDG_DATA_HOME", "/data/");
    {
        const CVariable own("LUMIVALE_COMMON_DATA", "/common//");
        EXPECT_EQ(GetCommonDataFolder(), u"/common");
    }
    const CVariable none("LUMIVALE_COMMON_DATA", std::nullopt);
    EXPECT_EQ(GetCommonDataFolder(), u"/data");
    const CVariable empty("XDG_DATA_HOME", "");
    EXPECT_EQ(GetCommonDataFolder(), u"/home/trader/.local/share");
}

TEST(GetUserDataFolder, LooksAtTheHomeAlone) {
    const CVariable home("HOME", "/home/trader/");
    const CVariable data("XDG_DATA_HOME", "/data");
    EXPECT_EQ(GetUserDataFolder(), u"/home/trader/.local/share");
}

TEST(GetTempFolder, EndsInASlash) {
    const CVariable folder("TMPDIR", "/var/tmp");
    EXPECT_EQ(GetTempFolder(), u"/var/tmp/");
    const CVariable slash("TMPDIR", "/var/tmp/");
    EXPECT_EQ(GetTempFolder(), u"/var/tmp/");
    const CVariable none("TMPDIR", std::nullopt);
    EXPECT_EQ(GetTempFolder(), u"/tmp/");
}

TEST(CreateFolders, MakesTheFolderAndThoseAboveItForTheUserAlone) {
    const CTestFolder folder;
    EXPECT_TRUE(CreateFolders(folder / "a/b/\xE5\x8F\xB0/"));
    EXPECT_EQ(GetMode(folder / "a"), 0700U);
    EXPECT_EQ(GetMode(folder / "a/b/\xE5\x8F\xB0"), 0700U);
}

TEST(CreateFolders, IsContentWithAFolderThatIsThere) {
    const CTestFolder folder;
    EXPECT_TRUE(CreateFolders(folder / ""));
    EXPECT_TRUE(CreateFolders(u"/"));
}

TEST(CreateFolders, FailsBelowAFile) {
    const CTestFolder folder;
    ASSERT_TRUE(WriteNewFile(folder / "file", "x"));
    EXPECT_FALSE(CreateFolders(folder / "file"));
    EXPECT_FALSE(CreateFolders(folder / "file/below"));
    EXPECT_EQ(GetLastFileError(), ENOTDIR);
    EXPECT_FALSE(CreateFolders(u""));
}

TEST(CanReadFile, IsTrueForAFileAndNothingElse) {
    const CTestFolder folder;
    ASSERT_TRUE(WriteNewFile(folder / "file", ""));
    EXPECT_TRUE(CanReadFile(folder / "file"));
    EXPECT_FALSE(CanReadFile(folder / "other"));
    EXPECT_EQ(GetLastFileError(), ENOENT);
    EXPECT_FALSE(CanReadFile(folder / ""));
    EXPECT_FALSE(CanReadFile((folder / "file") + Text(u"\0more", 5)));
}

TEST(FileExists, IsTrueForFilesAndFolders) {
    const CTestFolder folder;
    EXPECT_TRUE(FileExists(folder / ""));
    EXPECT_FALSE(FileExists(folder / "file"));
    ASSERT_TRUE(WriteNewFile(folder / "file", ""));
    EXPECT_TRUE(FileExists(folder / "file"));
}

TEST(GetLastWriteTime, IsThatOfTheFileInWholeSeconds) {
    const CTestFolder folder;
    ASSERT_TRUE(WriteNewFile(folder / "file", "some"));
    for (const std::int64_t nSeconds : {1'583'500'000LL, 0LL, -86'400LL}) {
        const timespec arTimes[] = {{nSeconds, 0}, {nSeconds, 999'999'999}};
        ASSERT_EQ(utimensat(AT_FDCWD, Narrow(folder / "file").c_str(), arTimes, 0), 0);
        EXPECT_EQ(GetLastWriteTime(folder / "file"), nSeconds);
    }
}

TEST(GetLastWriteTime, IsNothingWithoutAFile) {
    const CTestFolder folder;
    EXPECT_EQ(GetLastWriteTime(folder / "file"), std::nullopt);
    EXPECT_EQ(GetLastFileError(), ENOENT);
}

TEST(ReadWholeFile, GivesEveryByte) {
    const CTestFolder folder;
    for (const std::size_t nSize : {0U, 1U, 4'095U, 4'096U, 4'097U, 1'000'000U}) {
        std::string strBytes(nSize, '\0');
        for (std::size_t i = 0; i < nSize; ++i) strBytes[i] = static_cast<char>(i * 7);
        ASSERT_TRUE(ReplaceFile(folder / "file", strBytes));
        ASSERT_EQ(ReadWholeFile(folder / "file"), strBytes);
    }
}

TEST(ReadWholeText, KnowsTheEncodingByItsMark) {
    const CTestFolder folder;
    const Text strText = u"S\u00E3o \u53F0\r\n";
    for (const std::string& strBytes : {"\xFF\xFE" + ToUtf16Bytes(strText), Narrow(strText),
                                        "\xEF\xBB\xBF" + Narrow(strText), "\xFF\xFE" + ToUtf16Bytes(strText) + "x"}) {
        ASSERT_TRUE(ReplaceFile(folder / "file", strBytes));
        EXPECT_EQ(ReadWholeText(folder / "file"), strText);
    }
    ASSERT_TRUE(ReplaceFile(folder / "file", ""));
    EXPECT_EQ(ReadWholeText(folder / "file"), u"");
}

TEST(ReadWholeText, ReadsAFileOfManyMegabytesWhole) {
    const CTestFolder folder;
    Text strText(5'000'001, u'\0');
    for (std::size_t i = 0; i < strText.size(); ++i) strText[i] = static_cast<char16_t>(i * 7);
    ASSERT_TRUE(ReplaceFile(folder / "file", "\xFF\xFE" + ToUtf16Bytes(strText)));
    EXPECT_TRUE(ReadWholeText(folder / "file") == strText);
}

TEST(ReadWholeText, GivesNothingForWhatIsNoFile) {
    const CTestFolder folder;
    EXPECT_EQ(ReadWholeText(folder / "file"), std::nullopt);
    EXPECT_EQ(ReadWholeText(folder / ""), std::nullopt);
}

TEST(ReadWholeFile, ReadsFilesThatTellNoSize) {
    const auto strBytes = ReadWholeFile(u"/proc/self/status");
    ASSERT_TRUE(strBytes);
    EXPECT_NE(strBytes->find("test_platform"), std::string::npos);
}

TEST(ReadWholeFile, GivesNothingForWhatIsNoFile) {
    const CTestFolder folder;
    EXPECT_EQ(ReadWholeFile(folder / "file"), std::nullopt);
    EXPECT_EQ(GetLastFileError(), ENOENT);
    EXPECT_EQ(ReadWholeFile(folder / ""), std::nullopt);
    EXPECT_EQ(GetLastFileError(), EISDIR);
}

TEST(ReadWholeFile, IsNotHeldUpByAPipe) {
    const CTestFolder folder;
    ASSERT_EQ(mkfifo(Narrow(folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(ReadWholeFile(folder / "pipe"), "");
}

TEST(ReplaceFile, MakesAFileForTheUserAlone) {
    const CTestFolder folder;
    EXPECT_TRUE(ReplaceFile(folder / "file", "first"));
    EXPECT_EQ(GetMode(folder / "file"), 0600U);
    EXPECT_TRUE(ReplaceFile(folder / "file", std::string_view("se\0cond", 7)));
    EXPECT_EQ(ReadWholeFile(folder / "file"), std::string("se\0cond", 7));
    EXPECT_EQ(folder.CountFiles(), 1U);
}

TEST(ReplaceFile, TakesAPathInTheCurrentFolder) {
    const CTestFolder folder;
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.GetPath());
    EXPECT_TRUE(ReplaceFile(u"file", "x"));
    std::filesystem::current_path(before);
    EXPECT_EQ(ReadWholeFile(folder / "file"), "x");
}

TEST(ReplaceFile, FailsWithoutTheFolder) {
    const CTestFolder folder;
    EXPECT_FALSE(ReplaceFile(folder / "none/file", "x"));
    EXPECT_EQ(GetLastFileError(), ENOENT);
}

TEST(ReplaceFile, LeavesNothingBehindWhenItCannotTakeTheName) {
    const CTestFolder folder;
    ASSERT_TRUE(CreateFolders(folder / "taken/below"));
    EXPECT_FALSE(ReplaceFile(folder / "taken", "x"));
    EXPECT_EQ(folder.CountFiles(), 1U);
    EXPECT_FALSE(ReplaceFile((folder / "file") + Text(u"\0more", 5), "x"));
    EXPECT_EQ(folder.CountFiles(), 1U);
}

TEST(ReplaceFile, LeavesTheOldFileWhenTheDiskIsFull) {
    const CTestFolder folder;
    ASSERT_TRUE(ReplaceFile(folder / "file", "old"));
    {
        const test::CFullDisk full(10'000);
        EXPECT_FALSE(ReplaceFile(folder / "file", std::string(20'000, 'x')));
        EXPECT_EQ(GetLastFileError(), EFBIG);
    }
    EXPECT_EQ(ReadWholeFile(folder / "file"), "old");
    EXPECT_EQ(folder.CountFiles(), 1U);
}

TEST(ReplaceFile, LeavesAWholeFileWhenTheProcessIsKilled) {
    const CTestFolder folder;
    const Text strPath = folder / "file";
    const std::string strFirst(100'000, 'a');
    const std::string strSecond(200'000, 'b');
    ASSERT_TRUE(ReplaceFile(strPath, strFirst));
    const pid_t nWriter = fork();
    if (nWriter == 0) {
        for (;;) {
            if (!ReplaceFile(strPath, strSecond) || !ReplaceFile(strPath, strFirst)) _exit(1);
        }
    }
    // Killed somewhere in its work, which both contents being met proves to have begun.
    bool bWhole = true;
    std::set<std::string> seen;
    while (bWhole && seen.size() < 2) {
        const auto strBytes = ReadWholeFile(strPath);
        bWhole = strBytes == strFirst || strBytes == strSecond;
        if (strBytes) seen.insert(*strBytes);
    }
    kill(nWriter, SIGKILL);
    int nStatus = 0;
    ASSERT_EQ(waitpid(nWriter, &nStatus, 0), nWriter);
    EXPECT_TRUE(WIFSIGNALED(nStatus));
    const auto strBytes = ReadWholeFile(strPath);
    EXPECT_TRUE(bWhole && (strBytes == strFirst || strBytes == strSecond));
}

TEST(CFileReplacement, ShowsTheFileWhenItIsCommittedAndNotBefore) {
    const CTestFolder folder;
    ASSERT_TRUE(ReplaceFile(folder / "file", "old"));
    CFileReplacement replacement(folder / "file");
    EXPECT_TRUE(replacement.Write("a new "));
    EXPECT_TRUE(replacement.Flush());
    EXPECT_TRUE(replacement.Write(std::string_view("fi\0le", 5)));
    EXPECT_EQ(ReadWholeFile(folder / "file"), "old");
    EXPECT_TRUE(replacement.Commit());
    EXPECT_EQ(ReadWholeFile(folder / "file"), std::string("a new fi\0le", 11));
    EXPECT_EQ(GetMode(folder / "file"), 0600U);
    EXPECT_EQ(folder.CountFiles(), 1U);
}

TEST(CFileReplacement, MakesAnEmptyFileOfNoPieces) {
    const CTestFolder folder;
    EXPECT_TRUE(CFileReplacement(folder / "file").Commit());
    EXPECT_EQ(ReadWholeFile(folder / "file"), "");
}

TEST(CFileReplacement, LeavesNothingBehindUncommitted) {
    const CTestFolder folder;
    ASSERT_TRUE(ReplaceFile(folder / "file", "old"));
    {
        CFileReplacement replacement(folder / "file");
        replacement.Write("new");
        replacement.Flush();
        EXPECT_EQ(folder.CountFiles(), 2U);
    }
    EXPECT_EQ(ReadWholeFile(folder / "file"), "old");
    EXPECT_EQ(folder.CountFiles(), 1U);
}

TEST(CFileReplacement, StaysFailedAndTellsTheFirstFailureToWhoeverCommits) {
    const CTestFolder folder;
    ASSERT_TRUE(ReplaceFile(folder / "file", "old"));
    {
        CFileReplacement replacement(folder / "file");
        std::thread([&replacement] {
            const test::CFullDisk full(10'000);
            EXPECT_FALSE(replacement.Write(std::string(20'000, 'x')));
        }).join();
        EXPECT_FALSE(replacement.Write("y"));
        EXPECT_FALSE(replacement.Flush());
        CanReadFile(folder / "other");
        EXPECT_FALSE(replacement.Commit());
        EXPECT_EQ(GetLastFileError(), EFBIG);
    }
    EXPECT_EQ(ReadWholeFile(folder / "file"), "old");
    EXPECT_EQ(folder.CountFiles(), 1U);
}

TEST(CFileReplacement, FailsWithoutTheFolder) {
    const CTestFolder folder;
    CFileReplacement replacement(folder / "none/file");
    EXPECT_FALSE(replacement.Write("x"));
    EXPECT_FALSE(replacement.Commit());
    EXPECT_EQ(GetLastFileError(), ENOENT);
}

TEST(CreateTempFile, MakesAnEmptyFileOfItsOwnName) {
    const CTestFolder folder;
    std::set<Text> seen;
    for (int i = 0; i < 100; ++i) {
        const auto strPath = CreateTempFile(folder / "", u"lum");
        ASSERT_TRUE(strPath);
        EXPECT_TRUE(seen.insert(*strPath).second);
        EXPECT_EQ(ReadWholeFile(*strPath), "");
    }
    EXPECT_EQ(folder.CountFiles(), 100U);
}

TEST(CreateTempFile, NamesItByPrefixHexadecimalDigitsAndTmp) {
    const CTestFolder folder;
    const auto strPath = CreateTempFile(Widen(folder.GetPath().string()), u"lum");
    ASSERT_TRUE(strPath);
    const std::string strName = std::filesystem::path(Narrow(*strPath)).filename().string();
    ASSERT_TRUE(strName.starts_with("lum") && strName.ends_with(".tmp"));
    const std::string strDigits = strName.substr(3, strName.size() - 7);
    EXPECT_GE(strDigits.size(), 1U);
    EXPECT_LE(strDigits.size(), 6U);
    EXPECT_EQ(strDigits.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_EQ(GetMode(*strPath), 0600U);
}

TEST(CreateTempFile, GivesNothingWithoutTheFolder) {
    const CTestFolder folder;
    EXPECT_EQ(CreateTempFile(folder / "none", u"lum"), std::nullopt);
    EXPECT_EQ(GetLastFileError(), ENOENT);
}

TEST(WriteNewFile, WritesAFileForTheUserAlone) {
    const CTestFolder folder;
    EXPECT_TRUE(WriteNewFile(folder / "file", "bytes"));
    EXPECT_EQ(ReadWholeFile(folder / "file"), "bytes");
    EXPECT_EQ(GetMode(folder / "file"), 0600U);
}

TEST(WriteNewFile, LeavesAFileThatIsThere) {
    const CTestFolder folder;
    ASSERT_TRUE(WriteNewFile(folder / "file", "old"));
    EXPECT_FALSE(WriteNewFile(folder / "file", "new"));
    EXPECT_EQ(GetLastFileError(), EEXIST);
    EXPECT_EQ(ReadWholeFile(folder / "file"), "old");
}

TEST(WriteNewFile, LeavesNoPieceOfAFile) {
    const CTestFolder folder;
    const test::CFullDisk full(10'000);
    EXPECT_FALSE(WriteNewFile(folder / "file", std::string(20'000, 'x')));
    EXPECT_EQ(folder.CountFiles(), 0U);
}

std::vector<std::string> ReadLines(const Text& strPath) {
    std::vector<std::string> arLines;
    EXPECT_TRUE(ForEachLine(strPath, [&](std::string_view strLine) {
        arLines.emplace_back(strLine);
        return true;
    }));
    return arLines;
}

TEST(ReplaceOrRemoveFile, WritesAFileForTheUserAloneOverTheOneThatIsThere) {
    const CTestFolder folder;
    bool bCreated = false;
    EXPECT_TRUE(ReplaceOrRemoveFile(folder / "file", "the first one", &bCreated));
    EXPECT_TRUE(bCreated);
    EXPECT_TRUE(ReplaceOrRemoveFile(folder / "file", "bytes"));
    EXPECT_EQ(ReadWholeFile(folder / "file"), "bytes");
    EXPECT_EQ(GetMode(folder / "file"), 0600U);
}

TEST(ReplaceOrRemoveFile, TellsAFileThatCannotBeCreatedFromOneThatCannotBeWritten) {
    const CTestFolder folder;
    bool bCreated = true;
    EXPECT_FALSE(ReplaceOrRemoveFile(folder / "none/file", "bytes", &bCreated));
    EXPECT_FALSE(bCreated);
    EXPECT_EQ(GetLastFileError(), ENOENT);
    ASSERT_TRUE(CreateFolders(folder / "folder"));
    bCreated = true;
    EXPECT_FALSE(ReplaceOrRemoveFile(folder / "folder", "bytes", &bCreated));
    EXPECT_FALSE(bCreated);
    EXPECT_EQ(GetLastFileError(), EISDIR);
    ASSERT_TRUE(WriteNewFile(folder / "file", "old"));
    const test::CFullDisk full(10'000);
    EXPECT_FALSE(ReplaceOrRemoveFile(folder / "file", std::string(20'000, 'x'), &bCreated));
    EXPECT_TRUE(bCreated);
    EXPECT_EQ(GetLastFileError(), EFBIG);
    EXPECT_FALSE(FileExists(folder / "file"));
}

TEST(ReplaceOrRemoveFile, LeavesNoMomentWithoutAWholeFile) {
    const CTestFolder folder;
    const std::array<std::string, 2> arContents{std::string(20'000, 'a'), std::string(20'000, 'b')};
    ASSERT_TRUE(ReplaceOrRemoveFile(folder / "file", arContents[0]));
    std::atomic<bool> bDone = false;
    std::thread writer([&] {
        for (std::size_t i = 0; i < 200; ++i) ReplaceOrRemoveFile(folder / "file", arContents[i % 2]);
        bDone = true;
    });
    int nBroken = 0;
    while (!bDone) {
        const auto strFound = ReadWholeFile(folder / "file");
        if (!strFound || (*strFound != arContents[0] && *strFound != arContents[1])) ++nBroken;
    }
    writer.join();
    EXPECT_EQ(nBroken, 0);
}

TEST(ReplaceOrRemoveFile, FollowsNoLinkToAnotherPlace) {
    const CTestFolder folder;
    ASSERT_TRUE(WriteNewFile(folder / "other", "kept"));
    std::filesystem::create_symlink(folder.GetPath() / "other", folder.GetPath() / "file");
    EXPECT_TRUE(ReplaceOrRemoveFile(folder / "file", "bytes"));
    EXPECT_EQ(ReadWholeFile(folder / "file"), "bytes");
    EXPECT_EQ(ReadWholeFile(folder / "other"), "kept");
}

TEST(ForEachLine, GivesTheLinesWithoutTheirEnds) {
    const CTestFolder folder;
    ASSERT_TRUE(ReplaceOrRemoveFile(folder / "file", "a\r\n\nb\r\r\n\r\nlast\r"));
    EXPECT_EQ(ReadLines(folder / "file"), (std::vector<std::string>{"a", "", "b\r", "", "last\r"}));
    ASSERT_TRUE(ReplaceOrRemoveFile(folder / "file", "a\n"));
    EXPECT_EQ(ReadLines(folder / "file"), (std::vector<std::string>{"a"}));
    ASSERT_TRUE(ReplaceOrRemoveFile(folder / "file", ""));
    EXPECT_TRUE(ReadLines(folder / "file").empty());
}

TEST(ForEachLine, GivesLinesOfAnyLengthWhole) {
    const CTestFolder folder;
    std::vector<std::string> arLines;
    std::string strBytes;
    for (const std::size_t nLength : {4'094U, 4'095U, 4'096U, 1U, 0U, 100'000U, 8'191U, 3U}) {
        arLines.emplace_back(nLength, 'x');
        strBytes += arLines.back() + "\r\n";
    }
    ASSERT_TRUE(ReplaceOrRemoveFile(folder / "file", strBytes));
    EXPECT_EQ(ReadLines(folder / "file"), arLines);
}

TEST(ForEachLine, EndsWhereItIsTold) {
    const CTestFolder folder;
    ASSERT_TRUE(ReplaceOrRemoveFile(folder / "file", "a\nb\nc\n"));
    int nLines = 0;
    EXPECT_TRUE(ForEachLine(folder / "file", [&](std::string_view strLine) {
        ++nLines;
        return strLine != "b";
    }));
    EXPECT_EQ(nLines, 2);
}

TEST(ForEachLine, GivesNothingForWhatIsNoFile) {
    const CTestFolder folder;
    const auto visit = [](std::string_view) { return ADD_FAILURE(), true; };
    EXPECT_FALSE(ForEachLine(folder / "file", visit));
    EXPECT_EQ(GetLastFileError(), ENOENT);
    EXPECT_FALSE(ForEachLine(folder / "", visit));
    EXPECT_EQ(GetLastFileError(), EISDIR);
}

TEST(ForEachLine, IsRefusedWhileSomebodyWritesTheFile) {
    const CTestFolder folder;
    ASSERT_TRUE(ReplaceOrRemoveFile(folder / "file", "a\n"));
    const int nWriter = open(Narrow(folder / "file").c_str(), O_WRONLY);
    ASSERT_EQ(flock(nWriter, LOCK_EX), 0);
    EXPECT_FALSE(ForEachLine(folder / "file", [](std::string_view) { return true; }));
    EXPECT_EQ(GetLastFileError(), EWOULDBLOCK);
    close(nWriter);
    EXPECT_EQ(ReadLines(folder / "file"), (std::vector<std::string>{"a"}));
}

TEST(DeleteFile, RemovesTheFile) {
    const CTestFolder folder;
    ASSERT_TRUE(WriteNewFile(folder / "file", ""));
    DeleteFile(folder / "file");
    EXPECT_FALSE(FileExists(folder / "file"));
    DeleteFile(folder / "file");
    EXPECT_EQ(GetLastFileError(), ENOENT);
}

}  // namespace
}  // namespace qvant::platform
