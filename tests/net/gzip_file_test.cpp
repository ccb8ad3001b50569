#include "net/gzip_file.h"

#include <gtest/gtest.h>

#include "net/net_fixture.h"

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

TEST_F(GzipFile, IsDecodedInMemoryWithANulBehindTheContent) {
    std::unique_ptr<std::uint8_t[]> pDecoded;
    const std::uint32_t nLength = GunzipBuffer(pDecoded, Gzip(m_folder, "content") + '\0');
    ASSERT_EQ(nLength, 8u);
    EXPECT_STREQ(reinterpret_cast<const char*>(pDecoded.get()), "content");
    EXPECT_TRUE(m_folder.ListNames().empty());
}

}  // namespace
}  // namespace qvant::test
