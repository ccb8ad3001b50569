/// Counting the threads of the test's own process.
#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace qvant::test {

/// Threads whose name begins so; all of them for nothing.
inline int CountThreads(const std::string& strStart = "") {
    int nCount = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string strName;
        std::getline(std::ifstream(task.path() / "comm"), strName);
        nCount += strName.starts_with(strStart) ? 1 : 0;
    }
    return nCount;
}

/// Waits until no more of them are left than that; one that was joined may be seen a moment longer.
inline bool WaitForThreads(const std::string& strStart, int nLeft) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (CountThreads(strStart) > nLeft) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::yield();
    }
    return true;
}

}  // namespace qvant::test
