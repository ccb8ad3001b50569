#include "rolls/companion_file.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "platform/event.h"
#include "platform/thread.h"
#include "support/scratch_folder.h"

namespace qvant::test {

constexpr std::int64_t WRITTEN = 20201220101112;
constexpr std::int64_t NOW = 20201221083000;

class CompanionFileTest : public ::testing::Test {
protected:
    bool IsStale(std::string_view strBytes) const {
        m_folder.Write("series.ba", strBytes);
        return IsCompanionStale(m_folder / "series.ba", WRITTEN, NOW);
    }

    CScratchFolder m_folder;
};

TEST_F(CompanionFileTest, IsFreshWithTheFilesTimeAndAGapAtEveryPastRoll) {
    EXPECT_FALSE(IsStale("UDHMLastWriteTime=20201220101112\n"));
    EXPECT_FALSE(IsStale("UDHMLastWriteTime=20201220101112\n20200306170000->125000000000\n20200309160000->-5\n"));
}

TEST_F(CompanionFileTest, IsStaleWhenItIsNotThere) { EXPECT_TRUE(IsCompanionStale(m_folder / "none.ba", 0, NOW)); }

TEST_F(CompanionFileTest, IsStaleWhenAFolderStandsInItsPlace) {
    std::filesystem::create_directories(m_folder.GetPath() / "series.ba");
    EXPECT_TRUE(IsCompanionStale(m_folder / "series.ba", WRITTEN, NOW));
}

TEST_F(CompanionFileTest, IsStaleWhenTheDefinitionFileWasWrittenAtAnotherTime) {
    EXPECT_TRUE(IsStale("UDHMLastWriteTime=20201220101113\n20200306170000->1\n"));
    EXPECT_TRUE(IsStale("UDHMLastWriteTime=20201220101111\n20200306170000->1\n"));
}

TEST_F(CompanionFileTest, IsStaleWithoutATime) {
    EXPECT_TRUE(IsStale(""));
    EXPECT_TRUE(IsStale("20200306170000->1\n"));
    EXPECT_TRUE(IsStale("UDHMLastWriteTime=\n"));
    EXPECT_TRUE(IsStale("UDHMLastWriteTime\n"));
    EXPECT_TRUE(IsStale("udhmlastwritetime=20201220101112\n"));
    EXPECT_TRUE(IsStale("\xFF\xFE\x00\xD8\x01"));
    m_folder.Write("series.ba", "UDHMLastWriteTime=\n");
    EXPECT_FALSE(IsCompanionStale(m_folder / "series.ba", -1, NOW)) << "no number counts as -1";
}

TEST_F(CompanionFileTest, IsStaleWhileAPastRollHasNoGap) {
    const std::string strFirst = "UDHMLastWriteTime=20201220101112\n20200306170000->1\n";
    EXPECT_TRUE(IsStale(strFirst + "20201221083000->\n")) << "the roll of this second is past";
    EXPECT_FALSE(IsStale(strFirst + "20201221083001->\n"));
    EXPECT_TRUE(IsStale(strFirst + "20200309->\n")) << "a date alone is a small number";
    EXPECT_TRUE(IsStale(strFirst + "->\n"));
}

TEST_F(CompanionFileTest, IsReadWithEitherLineEndAndWithoutTheLast) {
    EXPECT_FALSE(IsStale("UDHMLastWriteTime=20201220101112\r\n20200306170000->1\r\n"));
    EXPECT_TRUE(IsStale("UDHMLastWriteTime=20201220101112\r\n20200306170000->\r\n"));
    EXPECT_FALSE(IsStale("20200306170000->1\nUDHMLastWriteTime=20201220101112"));
    EXPECT_TRUE(IsStale("UDHMLastWriteTime=20201220101112\n20200306170000->"));
}

TEST_F(CompanionFileTest, IsReplacedWholeUnderItsReaders) {
    m_folder.Write("series.ba", "a longer text of old");
    std::ifstream reader(m_folder.GetPath() / "series.ba");
    WriteCompanion(m_folder / "series.ba", "new\n");
    EXPECT_EQ(m_folder.Read("series.ba"), "new\n");
    std::string strOld;
    std::getline(reader, strOld);
    EXPECT_EQ(strOld, "a longer text of old");
    const auto entries = std::filesystem::directory_iterator(m_folder.GetPath());
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 1) << "no temporary file stays";
}

TEST_F(CompanionFileTest, IsTriedAgainUntilItsPlaceIsFree) {
    std::filesystem::create_directories(m_folder.GetPath() / "series.ba");
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("Writer", [&] { WriteCompanion(m_folder / "series.ba", "new\n"); }));
    std::filesystem::remove(m_folder.GetPath() / "series.ba");
    EXPECT_EQ(thread.Wait(), platform::WaitResult::Signalled);
    EXPECT_EQ(m_folder.Read("series.ba"), "new\n");
}

TEST_F(CompanionFileTest, IsGivenUpAfterThreeSecondsWhenItsPlaceStaysTaken) {
    std::filesystem::create_directories(m_folder.GetPath() / "series.ba");
    const auto start = std::chrono::steady_clock::now();
    WriteCompanion(m_folder / "series.ba", "new\n");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    EXPECT_TRUE(std::filesystem::is_directory(m_folder.GetPath() / "series.ba"));
}

TEST_F(CompanionFileTest, IsLeftAsItIsByAStop) {
    m_folder.Write("series.ba", "old\n");
    std::stop_source stop;
    stop.request_stop();
    const platform::CStopScope scope(stop.get_token());
    WriteCompanion(m_folder / "series.ba", "new\n");
    EXPECT_EQ(m_folder.Read("series.ba"), "old\n");
}

TEST_F(CompanionFileTest, AStopEndsThePausesBetweenTheTries) {
    std::filesystem::create_directories(m_folder.GetPath() / "series.ba");
    std::stop_source stop;
    platform::CEvent started(platform::CEvent::Reset::Manual, false);
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("Writer", [&] {
        started.Set();
        WriteCompanion(m_folder / "series.ba", "new\n");
    }));
    started.Wait();
    const auto start = std::chrono::steady_clock::now();
    thread.StopAndJoin();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3)) << "as long as the pauses last";
}

}  // namespace qvant::test
