/// What the service makes is the user's alone, whatever mask the host runs with.
#include "platform/user_files.h"

#include <functional>
#include <map>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/files.h"
#include "platform/shared_memory.h"
#include "support/scratch_folder.h"

namespace qvant::platform {
namespace {

using test::CScratchFolder;

/// The process's mask for the length of a test. It is a number of the whole process: tests run one at a time.
class CMask {
public:
    explicit CMask(mode_t nMask) : m_nOld(umask(nMask)) {}
    ~CMask() { umask(m_nOld); }
    CMask(const CMask&) = delete;
    CMask& operator=(const CMask&) = delete;

private:
    const mode_t m_nOld;
};

/// One that takes nothing, the usual ones, and those that take from the user as well.
constexpr mode_t MASKS[] = {0, 022, 077, 0177, 0400, 0777};

unsigned GetMode(const std::string& strPath) {
    struct stat status {};
    return stat(strPath.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}
unsigned GetMode(const Text& strPath) { return GetMode(Narrow(strPath)); }

TEST(UserFiles, AreTheUsersAloneWhateverTheMask) {
    for (const mode_t nMask : MASKS) {
        const CScratchFolder folder;
        const CMask mask(nMask);
        EXPECT_TRUE(ReplaceFile(folder / "replaced", "text"));
        EXPECT_TRUE(WriteNewFile(folder / "new", "text"));
        EXPECT_TRUE(ReplaceOrRemoveFile(folder / "shared", "text"));
        const auto strTemporary = CreateTempFile(folder / "", u"TQD");
        ASSERT_TRUE(strTemporary);
        for (const char* pszName : {"replaced", "new", "shared"})
            EXPECT_EQ(GetMode(folder / pszName), 0600U) << pszName << " under " << std::oct << nMask;
        EXPECT_EQ(GetMode(*strTemporary), 0600U) << std::oct << nMask;
    }
}

TEST(UserFiles, LieInFoldersThatAreTheUsersAloneWhateverTheMask) {
    for (const mode_t nMask : MASKS) {
        const CScratchFolder folder;
        const CMask mask(nMask);
        ASSERT_TRUE(CreateFolders(folder / "a/b/c"));
        for (const char* pszName : {"a", "a/b", "a/b/c"})
            EXPECT_EQ(GetMode(folder / pszName), 0700U) << pszName << " under " << std::oct << nMask;
        EXPECT_TRUE(ReplaceFile(folder / "a/b/c/file", "text")) << std::oct << nMask;
    }
}

TEST(UserFiles, ShareMemoryWithTheUserAloneWhateverTheMask) {
    for (const mode_t nMask : MASKS) {
        const CMask mask(nMask);
        const std::string strName = "lumivale-test-mask-" + std::to_string(getpid());
        int nError = 0;
        const auto pMemory = CSharedMemory::Create(Widen(strName), 4'096, nError);
        ASSERT_TRUE(pMemory) << nError;
        EXPECT_EQ(GetMode("/dev/shm/" + strName), 0600U) << std::oct << nMask;
    }
}

TEST(UserFiles, AreNarrowedWhenTheyAreReplaced) {
    const std::map<std::string, std::function<bool(const Text&)>> mapWays{
        {"whole", [](const Text& strPath) { return ReplaceFile(strPath, "new"); }},
        {"whole or none", [](const Text& strPath) { return ReplaceOrRemoveFile(strPath, "new"); }}};
    for (const auto& [strWay, write] : mapWays) {
        const CScratchFolder folder;
        folder.Write("file", "old");
        ASSERT_EQ(chmod(Narrow(folder / "file").c_str(), 0666), 0);
        EXPECT_TRUE(write(folder / "file")) << strWay;
        EXPECT_EQ(GetMode(folder / "file"), 0600U) << strWay;
        EXPECT_EQ(folder.Read("file"), "new") << strWay;
    }
}

TEST(CreateFolders, LeavesAFolderThatIsThereWithItsMode) {
    const CScratchFolder folder;
    ASSERT_EQ(mkdir(Narrow(folder / "there").c_str(), 0700), 0);
    ASSERT_EQ(chmod(Narrow(folder / "there").c_str(), 0750), 0);
    EXPECT_TRUE(CreateFolders(folder / "there/below"));
    EXPECT_EQ(GetMode(folder / "there"), 0750U);
    EXPECT_EQ(GetMode(folder / "there/below"), 0700U);
}

TEST(NarrowToUser, TakesFromTheOthersWhatTheyHadAndFromTheUserNothing) {
    const CScratchFolder folder;
    folder.Write("file", "text");
    const std::string strFile = Narrow(folder / "file");
    for (const auto& [nBefore, nAfter] : std::map<mode_t, mode_t>{
             {0666, 0600}, {0644, 0600}, {0600, 0600}, {0444, 0400}, {0640, 0600}, {0755, 0700}, {04'755, 0700}}) {
        ASSERT_EQ(chmod(strFile.c_str(), nBefore), 0);
        NarrowToUser(folder / "file");
        EXPECT_EQ(GetMode(strFile), nAfter) << std::oct << nBefore;
    }
    EXPECT_EQ(folder.Read("file"), "text");
}

TEST(NarrowToUser, LeavesFoldersLinksAndWhatIsNotThere) {
    const CScratchFolder folder;
    folder.Write("folder/target", "text");
    const std::string strTarget = Narrow(folder / "folder/target");
    ASSERT_EQ(chmod(strTarget.c_str(), 0644), 0);
    ASSERT_EQ(chmod(Narrow(folder / "folder").c_str(), 0755), 0);
    ASSERT_EQ(symlink(strTarget.c_str(), Narrow(folder / "link").c_str()), 0);
    NarrowToUser(folder / "link");
    NarrowToUser(folder / "folder");
    NarrowToUser(folder / "none");
    NarrowToUser(u"");
    EXPECT_EQ(GetMode(strTarget), 0644U);
    EXPECT_EQ(GetMode(folder / "folder"), 0755U);
}

/// A close takes all of the process's record locks from the file, and with them those of a database that is open.
TEST(NarrowToUser, LeavesTheLocksThatTheProcessHoldsOnTheFile) {
    const CScratchFolder folder;
    folder.Write("database", "text");
    const std::string strFile = Narrow(folder / "database");
    ASSERT_EQ(chmod(strFile.c_str(), 0644), 0);
    const int nFile = open(strFile.c_str(), O_RDWR | O_CLOEXEC);
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    ASSERT_EQ(fcntl(nFile, F_SETLK, &lock), 0);

    NarrowToUser(folder / "database");

    const pid_t nChild = fork();
    if (nChild == 0) {  // a lock shows to other processes alone
        struct flock other {};
        other.l_type = F_WRLCK;
        other.l_whence = SEEK_SET;
        const int nSame = open(strFile.c_str(), O_RDWR);
        _exit(fcntl(nSame, F_GETLK, &other) == 0 && other.l_type == F_WRLCK ? 0 : 1);
    }
    int nStatus = -1;
    ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
    EXPECT_EQ(nStatus, 0) << "the lock is gone";
    EXPECT_EQ(GetMode(strFile), 0600U);
    close(nFile);
}

}  // namespace
}  // namespace qvant::platform
