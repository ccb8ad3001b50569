#include "platform/shared_memory.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <limits>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qvant::platform {
namespace {

/// A name that no other process has.
Text MakeName(std::string_view strWord) {
    return Widen("lumivale_test_" + std::string(strWord) + "_" + std::to_string(getpid()));
}

/// Where the system shows a block as a file.
std::filesystem::path GetPath(const Text& strName) { return std::filesystem::path("/dev/shm") / Narrow(strName); }

bool IsThere(const Text& strName) { return std::filesystem::exists(GetPath(strName)); }

std::unique_ptr<CSharedMemory> Make(const Text& strName, std::size_t nSize) {
    int nError = 0;
    return CSharedMemory::Create(strName, nSize, nError);
}

int ErrorOf(const Text& strName, std::size_t nSize) {
    int nError = 0;
    EXPECT_EQ(CSharedMemory::Create(strName, nSize, nError), nullptr);
    return nError;
}

int Write(const CSharedMemory& memory, std::string_view strBytes) {
    return memory.Fill([=](char* pBytes) { strBytes.copy(pBytes, strBytes.size()); });
}

/// Opens, maps and reads a block as a reader in another module does.
std::string ReadAsReader(const Text& strName, std::size_t nSize) {
    const int nDescriptor = shm_open(Narrow(u"/" + strName).c_str(), O_RDONLY, 0);
    if (nDescriptor < 0) return "not there";
    void* pView = mmap(nullptr, nSize, PROT_READ, MAP_SHARED, nDescriptor, 0);
    std::string strBytes(static_cast<const char*>(pView), nSize);
    munmap(pView, nSize);
    close(nDescriptor);
    return strBytes;
}

TEST(SharedMemory, IsSeenByAReaderThatKnowsItsName) {
    const Text strName = MakeName("seen");
    const auto pMemory = Make(strName, 5);
    ASSERT_TRUE(pMemory);
    EXPECT_EQ(ReadAsReader(strName, 5), std::string(5, '\0'));
    EXPECT_EQ(Write(*pMemory, "hello"), 0);
    EXPECT_EQ(ReadAsReader(strName, 5), "hello");
}

TEST(SharedMemory, HasExactlyItsSizeAndIsTheUsersAlone) {
    for (const std::size_t nSize : {1U, 4'095U, 4'096U, 4'097U, 1'000'000U}) {
        const auto pMemory = Make(MakeName("size"), nSize);
        ASSERT_TRUE(pMemory);
        struct stat status {};
        ASSERT_EQ(stat(GetPath(MakeName("size")).c_str(), &status), 0);
        EXPECT_EQ(static_cast<std::size_t>(status.st_size), nSize);
        EXPECT_EQ(status.st_mode & 0777, 0600U);
    }
}

TEST(SharedMemory, HasItsMemorySetAside) {
    const auto pMemory = Make(MakeName("pages"), 1'000'000);
    struct stat status {};
    ASSERT_EQ(stat(GetPath(MakeName("pages")).c_str(), &status), 0);
    EXPECT_GE(status.st_blocks * 512, 1'000'000);
}

TEST(SharedMemory, IsNotMadeUnderANameThatIsTaken) {
    const Text strName = MakeName("taken");
    const auto pFirst = Make(strName, 1);
    ASSERT_EQ(Write(*pFirst, "1"), 0);
    EXPECT_EQ(ErrorOf(strName, 5), CSharedMemory::ALREADY_EXISTS);
    EXPECT_EQ(ReadAsReader(strName, 1), "1");
}

TEST(SharedMemory, TakesItsNameAlongAndLeavesTheContentToWhoHasItOpen) {
    const Text strName = MakeName("gone");
    auto pMemory = Make(strName, 1);
    ASSERT_EQ(Write(*pMemory, "1"), 0);
    std::ifstream reader(GetPath(strName));
    pMemory.reset();
    EXPECT_FALSE(IsThere(strName));
    EXPECT_EQ(reader.get(), '1');
    EXPECT_TRUE(Make(strName, 1));
}

TEST(SharedMemory, LeavesNothingBehindWhenTheSystemHasNotEnough) {
    const Text strName = MakeName("large");
    EXPECT_EQ(ErrorOf(strName, std::numeric_limits<std::size_t>::max()), EFBIG);
    EXPECT_FALSE(IsThere(strName));
    EXPECT_NE(ErrorOf(strName, std::size_t{1} << 50U), 0);
    EXPECT_FALSE(IsThere(strName));
    EXPECT_EQ(ErrorOf(strName, 0), EINVAL);
    EXPECT_FALSE(IsThere(strName));
}

TEST(SharedMemory, RefusesWhatIsNoName) {
    for (const Text& strName : {Text(), Text(u"a/b"), Text(u"/a"), Text(u"a\0b", 3), Text(300, u'a')}) {
        EXPECT_EQ(ErrorOf(strName, 1), EINVAL);
    }
}

TEST(RemoveStaleSharedMemory, TakesTheBlocksOfKilledProcessesAndNoOthers) {
    const Text strName = MakeName("stale");
    const pid_t nChild = fork();
    if (nChild == 0) {
        const auto pLost = Make(strName + u"_lost", 10);
        _exit(pLost ? 0 : 1);  // without the destructor, as a kill would have it
    }
    int nStatus = -1;
    waitpid(nChild, &nStatus, 0);
    ASSERT_EQ(nStatus, 0);
    ASSERT_TRUE(IsThere(strName + u"_lost"));
    const auto pMemory = Make(strName + u"_alive", 10);
    ASSERT_TRUE(pMemory);
    RemoveStaleSharedMemory(strName);
    EXPECT_FALSE(IsThere(strName + u"_lost"));
    EXPECT_TRUE(IsThere(strName + u"_alive"));
}

}  // namespace
}  // namespace qvant::platform
