/// Counting the threads of the test's own process.
#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace qvant::test {

/// Threads of that name.
inline int CountThreads(const std::string& strName) {
    int nCount = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string strTask;
        std::getline(std::ifstream(task.path() / "comm"), strTask);
        nCount += strTask == strName ? 1 : 0;
    }
    return nCount;
}

/// Waits until no more of them are left than that; one that was joined may be seen a moment longer.
inline bool WaitForThreads(const std::string& strName, int nLeft) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (CountThreads(strName) > nLeft) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::yield();
    }
    return true;
}

}  // namespace qvant::test
