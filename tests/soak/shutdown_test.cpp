/// The end of the service in the middle of a fetch: of whatever document, it comes at once and leaves nothing behind.
#include <chrono>
#include <filesystem>
#include <optional>
#include <set>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "soak/holdings.h"
#include "soak/soak_terminal.h"
#include "soak/soak_world.h"
#include "support/stop_limit.h"
#include "support/threads.h"

namespace qvant::test {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

/// A document by its path, and a part of that for the name of the test.
struct Moment {
    const char* pszName;
    const char* pszPath;
};

void PrintTo(const Moment& moment, std::ostream* pStream) { *pStream << moment.pszName; }

class ShutdownTest : public ::testing::TestWithParam<Moment> {
protected:
    ShutdownTest() { m_terminal.emplace(m_folder.GetPath() / "start", m_world.GetUrls(), platform::MachineClock()); }

    /// Anything but the files that the service keeps: what was being written, say.
    std::set<std::string> GetStrangeFiles() const {
        static const std::set<std::string> KEPT{".ini", ".dat", ".db", ".txt"};
        std::set<std::string> setFiles;
        for (const auto& entry : fs::recursive_directory_iterator(m_folder.GetPath() / "start")) {
            const bool bKept = KEPT.contains(entry.path().extension().string());
            if (entry.is_regular_file() && !bKept) setFiles.insert(entry.path().string());
        }
        return setFiles;
    }
    fs::path GetBlock() {
        const Text strName = m_terminal->GetHost().Get(u"Contract.List.Name", u"ContractListName");
        return strName.empty() ? fs::path() : fs::path("/dev/shm") / Narrow(strName);
    }

    /// Starts and signs in with servers that don't answer one document, and ends when they have been asked for it.
    void EndInTheMiddle() {
        m_world.HangAt(GetParam().pszPath);
        const Holdings before = TakeStock();
        m_terminal->Start();
        std::thread hostThread([this] { m_terminal->LogIn(); });
        EXPECT_TRUE(m_world.WaitForRequest(GetParam().pszPath));
        const auto start = Clock::now();
        m_terminal->StopAndExit();
        EXPECT_LT(Clock::now() - start, STOP_LIMIT);
        hostThread.join();
        const Holdings after = TakeStock();
        EXPECT_TRUE(WaitForThreads("", before.nThreads));
        EXPECT_LE(after.nHandles, before.nHandles);
        EXPECT_THAT(GetStrangeFiles(), ::testing::IsEmpty());
        EXPECT_FALSE(fs::is_regular_file(GetBlock())) << GetBlock();
    }

    CScratchFolder m_folder;
    CSoakWorld m_world{m_folder.GetPath()};
    std::optional<CSoakTerminal> m_terminal;
};

TEST_P(ShutdownTest, InTheMiddleOfAFetchTheEndComesAtOnceAndLeavesNothing) { EndInTheMiddle(); }

/// A start that has a first load, on a thread of its own.
class SecondShutdownTest : public ShutdownTest {};

TEST_P(SecondShutdownTest, InTheMiddleOfAFetchTheEndComesAtOnceAndLeavesNothing) {
    m_terminal->Start();
    m_terminal->SignIn();
    m_terminal->StopAndExit();
    m_world.ReviveAll();
    EndInTheMiddle();
}

std::string NameOf(const testing::TestParamInfo<Moment>& moment) { return moment.param.pszName; }

constexpr Moment LATENCY_PROBE{"LatencyProbe", "OutsideData_getMainLastVer.do"};
constexpr Moment SECURITIES{"Securities", "OutsideData_getMainForm.do"};
constexpr Moment CONTRACT_LIST{"ContractList", "Classification_getClassification.do"};
constexpr Moment RATES{"CurrencyRates", "OutsideData_getDocument.do"};
constexpr Moment STOCK_INFO{"StockInfo", "stkinfo.do"};
constexpr Moment HOLIDAYS{"Holidays", "File.cgi"};

INSTANTIATE_TEST_SUITE_P(Documents, ShutdownTest,
                         ::testing::Values(LATENCY_PROBE, SECURITIES, CONTRACT_LIST, RATES, STOCK_INFO, HOLIDAYS),
                         NameOf);
/// The stock info is asked for once a day.
INSTANTIATE_TEST_SUITE_P(Documents, SecondShutdownTest,
                         ::testing::Values(LATENCY_PROBE, SECURITIES, CONTRACT_LIST, RATES, HOLIDAYS), NameOf);

}  // namespace
}  // namespace qvant::test
