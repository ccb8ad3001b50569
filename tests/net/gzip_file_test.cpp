#include "net/gzip_file.h"

#include <csignal>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "net/net_fixture.h"
#include "support/history_reply.h"

namespace qvant::test {
namespace {

class GzipFile : public NetTest {
protected:
    // @return the content, or nothing for null
    std::string Read(const std::string& strPath) {
        const auto pContent = ReadGzipFile(Widen(strPath), m_nLength);
        return pContent ? std::string(reinterpret_cast<const char*>(pContent.get()), m_nLength - 1) : "(null)";
    }

    std::uint32_t m_nLength = 4711;
};

TEST_F(GzipFile, IsReadAndRemoved) {
    const std::string strPath = m_folder.Write("a.gz", Gzip(m_folder, "content"));
    EXPECT_EQ(Read(strPath), "content");
    EXPECT_EQ(m_nLength, 8u);
    EXPECT_TRUE(m_folder.ListNames().empty());
}

TEST_F(GzipFile, IsFoundWithoutItsEnding) {
    m_folder.Write("a.gz", Gzip(m_folder, "content"));
    EXPECT_EQ(Read(m_folder.GetPath() + "/a"), "content");
}

TEST_F(GzipFile, GivesNullForAFileThatIsNotThere) {
    EXPECT_EQ(Read(m_folder.GetPath() + "/missing"), "(null)");
    EXPECT_EQ(m_nLength, 4711u);
}

TEST_F(GzipFile, GivesNullForANameThatIsTooLong) { EXPECT_EQ(Read(std::string(2000, 'n')), "(null)"); }

TEST_F(GzipFile, GivesNullForBrokenContentAndStays) {
    std::string strZipped = Gzip(m_folder, std::string(50'000, 'z') + "tail");
    strZipped[15] = static_cast<char>(~strZipped[15]);
    EXPECT_EQ(Read(m_folder.Write("a.gz", strZipped)), "(null)");
    EXPECT_EQ(m_folder.ListNames(), std::vector<std::string>{"a.gz"});
}

TEST_F(GzipFile, OfNothingGivesNullAndIsRemoved) {
    EXPECT_EQ(Read(m_folder.Write("a.gz", Gzip(m_folder, ""))), "(null)");
    EXPECT_TRUE(m_folder.ListNames().empty());
}

TEST_F(GzipFile, IsReadToItsEndWhateverItsLastBytesSayOfItsLength) {
    const std::string strLong(100'000, 'z');
    m_folder.Write("members.gz", Gzip(m_folder, strLong) + Gzip(m_folder, strLong) + Gzip(m_folder, "tail"));
    EXPECT_EQ(Read(m_folder.GetPath() + "/members.gz"), strLong + strLong + "tail") << "the last member's length is 4";
    m_folder.Write("plain.gz", strLong + "\x01\x02\x03\x04");
    EXPECT_EQ(Read(m_folder.GetPath() + "/plain.gz"), strLong + "\x01\x02\x03\x04");
    m_folder.Write("short.gz", "abc");
    EXPECT_EQ(Read(m_folder.GetPath() + "/short.gz"), "abc");
}

TEST_F(GzipFile, MayHoldAsMuchAsIsAllowedAndCountsAsBrokenWithAByteMore) {
    m_folder.Write("a.gz", GzipOfOneLetter(GUNZIP_MOST));
    ASSERT_TRUE(ReadGzipFile(Widen(m_folder.GetPath() + "/a.gz"), m_nLength));
    EXPECT_EQ(m_nLength, GUNZIP_MOST + 1);
    EXPECT_EQ(Read(m_folder.Write("b.gz", GzipOfOneLetter(GUNZIP_MOST + 1))), "(null)");
    EXPECT_EQ(m_folder.ListNames(), std::vector<std::string>{"b.gz"});
}

TEST_F(GzipFile, IsDecodedInMemoryWithANulBehindTheContent) {
    std::unique_ptr<std::uint8_t[]> pDecoded;
    const std::uint32_t nLength = GunzipBuffer(pDecoded, Gzip(m_folder, "content") + '\0');
    ASSERT_EQ(nLength, 8u);
    EXPECT_STREQ(reinterpret_cast<const char*>(pDecoded.get()), "content");
    EXPECT_TRUE(m_folder.ListNames().empty());
}

/// In a process of its own, whose files end after so many bytes, as on a full disk.
/// @return the length that decoding gave; -1 when the process didn't come to its end
int GunzipOnAFullDisk(const std::string& strZipped, rlim_t nBytes) {
    const pid_t nProcess = fork();
    if (nProcess == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{nBytes, nBytes};
        setrlimit(RLIMIT_FSIZE, &limit);
        std::unique_ptr<std::uint8_t[]> pDecoded;
        _exit(static_cast<int>(GunzipBuffer(pDecoded, strZipped)));
    }
    int nStatus = 0;
    return waitpid(nProcess, &nStatus, 0) == nProcess && WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
}

TEST_F(GzipFile, ThatCantBeWrittenLeavesNoTemporaryFile) {
    const std::string strZipped = Gzip(m_folder, "content");
    EXPECT_EQ(GunzipOnAFullDisk(strZipped, strZipped.size()), 8) << "there is just room enough";
    for (const std::size_t nBytes : {std::size_t{0}, strZipped.size() - 1}) {
        EXPECT_EQ(GunzipOnAFullDisk(strZipped, nBytes), 0);
        EXPECT_TRUE(m_folder.ListNames().empty()) << nBytes;
    }
}

}  // namespace
}  // namespace qvant::test
