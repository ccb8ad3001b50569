#include <atomic>
#include <csignal>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/files.h"
#include "surroundings.h"

namespace qvant::platform {
namespace {

/// A process that stands still in the middle of a replacement, at its first byte beyond the size that it may write.
class CHaltedWriter {
public:
    explicit CHaltedWriter(const Text& strPath) : m_nProcess(fork()) {
        if (m_nProcess != 0) return;
        std::signal(SIGXFSZ, [](int) { raise(SIGSTOP); });
        const rlimit limit{10'000, 10'000};
        setrlimit(RLIMIT_FSIZE, &limit);
        ReplaceFile(strPath, std::string(20'000, 'x'));
        _exit(0);
    }
    ~CHaltedWriter() {
        if (m_nProcess > 0) Kill();
    }
    CHaltedWriter(const CHaltedWriter&) = delete;
    CHaltedWriter& operator=(const CHaltedWriter&) = delete;

    bool WaitUntilHalted() const {
        int nStatus = 0;
        return waitpid(m_nProcess, &nStatus, WUNTRACED) == m_nProcess && WIFSTOPPED(nStatus);
    }
    void Kill() {
        kill(m_nProcess, SIGKILL);
        waitpid(m_nProcess, nullptr, 0);
        m_nProcess = -1;
    }

private:
    pid_t m_nProcess;
};

TEST(RemoveStaleReplacements, TakesWhatAKilledProcessLeftAndNothingThatALivingOneWrites) {
    const CTestFolder folder;
    ASSERT_TRUE(ReplaceFile(folder / "file", "old"));
    CHaltedWriter killed(folder / "file");
    CHaltedWriter living(folder / "file");
    ASSERT_TRUE(killed.WaitUntilHalted());
    ASSERT_TRUE(living.WaitUntilHalted());
    ASSERT_EQ(folder.CountFiles(), 3U);

    RemoveStaleReplacements(folder / "");
    EXPECT_EQ(folder.CountFiles(), 3U);

    killed.Kill();
    EXPECT_EQ(folder.CountFiles(), 3U) << "nobody is left who could remove it";
    RemoveStaleReplacements(folder / "");
    EXPECT_EQ(folder.CountFiles(), 2U);

    living.Kill();
    RemoveStaleReplacements(folder / "");
    EXPECT_EQ(folder.CountFiles(), 1U);
    EXPECT_EQ(ReadWholeFile(folder / "file"), "old");
}

TEST(RemoveStaleReplacements, LeavesEverythingElse) {
    const CTestFolder folder;
    for (const char* pszName : {"file", ".lumivale-backup", ".lumivale-backup.tmp2", ".lumivale-short.tm",
                                ".lumivale-longer1.tmp", "Xlumivale-backup.tmp"}) {
        ASSERT_TRUE(WriteNewFile(folder / pszName, "kept"));
    }
    ASSERT_TRUE(CreateFolders(folder / ".lumivale-folder.tmp"));
    std::filesystem::create_symlink(folder.GetPath() / "file", folder.GetPath() / ".lumivale-symlnk.tmp");
    RemoveStaleReplacements(folder / "");
    EXPECT_EQ(folder.CountFiles(), 8U);
    EXPECT_EQ(ReadWholeFile(folder / "file"), "kept");
}

TEST(RemoveStaleReplacements, DoesNothingWithoutTheFolder) {
    const CTestFolder folder;
    ASSERT_TRUE(WriteNewFile(folder / ".lumivale-Ab12Cd.tmp", "kept"));
    RemoveStaleReplacements(folder / "none");
    RemoveStaleReplacements((folder / "") + Text(u"\0none", 5));
    EXPECT_EQ(folder.CountFiles(), 1U);
}

TEST(RemoveStaleReplacements, CostsNoReplacementThatGoesOnMeanwhile) {
    constexpr int WRITERS = 3;
    constexpr int REPLACEMENTS = 100;
    const CTestFolder folder;
    std::atomic<int> nDone{0};
    {
        std::vector<std::jthread> arWriters;
        for (int i = 0; i < WRITERS; ++i) {
            arWriters.emplace_back([&folder, &nDone, i] {
                const Text strPath = folder / ("file" + std::to_string(i));
                for (int n = 0; n < REPLACEMENTS; ++n) nDone += ReplaceFile(strPath, std::to_string(n));
            });
        }
        const std::jthread sweeper([&folder](const std::stop_token& stop) {
            while (!stop.stop_requested()) RemoveStaleReplacements(folder / "");
        });
        arWriters.clear();
    }
    EXPECT_EQ(nDone, WRITERS * REPLACEMENTS);
    EXPECT_EQ(folder.CountFiles(), static_cast<std::size_t>(WRITERS));
}

}  // namespace
}  // namespace qvant::platform
