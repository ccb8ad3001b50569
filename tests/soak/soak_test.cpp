/// A month of the service's life, minute by minute, on a clock that the test drives: whether it stays current, accounts
/// for every pass and holds on to nothing.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <random>

#include <gtest/gtest.h>

#include "soak/holdings.h"
#include "soak/pass_model.h"
#include "soak/soak_terminal.h"
#include "soak/soak_world.h"
#include "support/driven_clock.h"
#include "support/threads.h"

namespace qvant::test {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t SECOND = 1000;
constexpr std::int64_t MINUTE = 60 * SECOND;
/// For each server one of each thread that may fetch at the same time as the others.
constexpr std::size_t MOST_CONNECTIONS = 5 * CSoakWorld::SERVERS;
constexpr int MINUTES_A_DAY = CPassModel::MINUTES_A_DAY;

/// Days of the clock; fewer where each step is slow, as under a sanitizer.
int CountDays() {
    const char* const pszDays = std::getenv("SOAK_DAYS");
    return pszDays ? std::atoi(pszDays) : 30;
}

/// Names the first differences.
void ExpectSame(const Published& left, const Published& right) {
    constexpr int MOST_NAMED = 10;
    int nNamed = 0;
    const auto compare = [&nNamed](const Published& from, const Published& to, const char* pszWhat) {
        for (const auto& [strPlace, strValue] : from) {
            const auto it = to.find(strPlace);
            if (it != to.end() && it->second == strValue) continue;
            if (++nNamed > MOST_NAMED) return;
            ADD_FAILURE() << pszWhat << strPlace << ": " << strValue.substr(0, 300)
                          << "\n  there: " << (it == to.end() ? "nothing" : it->second.substr(0, 300));
        }
    };
    EXPECT_GT(left.size(), 10'000U);
    compare(left, right, "not in a fresh start: ");
    compare(right, left, "only in a fresh start: ");
}

class SoakTest : public ::testing::Test {
protected:
    SoakTest() {
        m_clock.Expect([this] { return m_terminal.GetDueTimes(); });
        m_terminal.GetHost().CountRollsBy(m_clock);
    }

    void LiveOneDay(int nDay) {
        PlanDay(nDay);
        for (int nMinute = 0; nMinute < MINUTES_A_DAY && !HasFatalFailure(); ++nMinute) LiveOneMinute(nMinute);
    }

    /// What happens on a day, and when: the same in every run.
    void PlanDay(int nDay) {
        m_mapPlan.clear();
        std::uniform_int_distribution<int> minute(0, MINUTES_A_DAY - 1);
        std::uniform_int_distribution<std::size_t> server(0, CSoakWorld::SERVERS - 1);
        const auto plan = [&](int nMinute, std::function<void()> act) { m_mapPlan.emplace(nMinute, std::move(act)); };
        plan(8 * 60 + 10, [this] { SignIn(); });
        plan(20 * 60 + 40, [this] { SignIn(); });
        plan(minute(m_random), [this] { SetAnyLanguage(); });
        for (const char* pszDocument :
             {"securities", "contracts FUTURES", "contracts STOCKS", "stocks", "rates", "holidays"}) {
            if (m_random() % 2 == 0) plan(minute(m_random), [this, pszDocument] { m_world.Publish(pszDocument); });
        }
        const std::size_t nServer = server(m_random);
        const int nDeath = minute(m_random);
        plan(nDeath, [this, nServer] { m_world.Kill(nServer); });
        plan(std::min(nDeath + 200, MINUTES_A_DAY - 1), [this, nServer] { m_world.Revive(nServer); });
        // Once a week nobody is there for two hours.
        if (nDay % 7 == 3) {
            plan(600, [this] {
                for (std::size_t n = 0; n < CSoakWorld::SERVERS; ++n) m_world.Kill(n);
            });
            plan(720, [this] { m_world.ReviveAll(); });
        }
        plan(MINUTES_A_DAY - 1, [this] { m_world.ReviveAll(); });
    }

    /// The event of the host's clock, the burst's pass, then what is planned, then the rest of the minute.
    void LiveOneMinute(int nMinute) {
        const auto now = platform::ToUtc(m_clock.NowMilliseconds());
        ASSERT_TRUE(m_terminal.GetHost().SetClock((now.nYear * 100 + now.nMonth) * 100 + now.nDay,
                                                  (now.nHour * 100 + now.nMinute) * 100));
        if (m_model) m_model->BeginMinute(nMinute);
        m_clock.Advance(30 * SECOND);
        for (auto [it, end] = m_mapPlan.equal_range(nMinute); it != end; ++it) it->second();
        m_clock.Advance(MINUTE - 30 * SECOND);
        if (m_model) m_model->EndMinute(m_clock.TickMilliseconds());
    }

    /// The timers and the loop of the calendar sleep when this returns.
    void SignIn() {
        m_terminal.SignIn();
        m_clock.Settle();
        m_clock.WaitForSleepers(m_terminal.GetDueTimes().value().size() + 1);
        if (!m_model) m_model.emplace(m_terminal.GetResetMinutes());
        m_model->SignIn(m_clock.TickMilliseconds());
        EXPECT_TRUE(m_terminal.GetHost().WaitFor(Line::HotMonthsRead, m_model->nSignIns));
    }

    void SetAnyLanguage() {
        struct Language {
            const char16_t* pszWord;
            const char16_t* pszCulture;
        };
        static constexpr std::array<Language, 3> LANGUAGES{
            {{u"ENG", u"en-US"}, {u"CHT", u"zh-CHT"}, {u"-CN", u"zh-CN"}}};
        const Language& language = LANGUAGES[m_random() % LANGUAGES.size()];
        SetLanguage(language.pszWord, language.pszCulture);
    }
    void SetLanguage(const Text& strWord, const Text& strCulture) {
        ASSERT_TRUE(m_terminal.GetHost().SetLanguage(strWord, strCulture));
    }

    void ExpectEveryPassInTheLog() {
        CSoakHost& host = m_terminal.GetHost();
        ASSERT_TRUE(m_model);
        EXPECT_EQ(host.Count(Line::RefreshTimer), m_model->nRefreshTimers);
        EXPECT_EQ(host.Count(Line::BurstTimer), m_model->nBursts);
        EXPECT_EQ(host.Count(Line::MinuteTimer), m_model->nMinuteTimers);
        EXPECT_EQ(host.Count(Line::Pass), m_model->nPasses);
        EXPECT_EQ(host.Count(Line::RollTimer), host.CountRolls());
        EXPECT_EQ(host.Count(Line::HotMonthsRead), m_model->nSignIns);
        EXPECT_EQ(host.Count(Line::CalendarBegun), m_model->nCalendars);
        EXPECT_EQ(host.Count(Line::CalendarEnded), m_model->nCalendars);
        EXPECT_EQ(host.Count(Line::LoadBegun), host.Count(Line::LoadEnded));
    }

    /// What a service publishes that starts on an empty folder now.
    Published PublishFresh() {
        m_clock.Expect(nullptr);
        CSoakTerminal fresh(m_folder.GetPath() / "fresh", m_world.GetUrls(), m_clock);
        fresh.Start();
        fresh.SignIn();
        Published published = fresh.GetPublished();
        fresh.StopAndExit();
        return published;
    }

    CScratchFolder m_folder;
    CSoakWorld m_world{m_folder.GetPath()};
    CDrivenClock m_clock{platform::FromUtc({.nYear = 2026, .nMonth = 1, .nDay = 1})};
    CSoakTerminal m_terminal{m_folder.GetPath() / "soak", m_world.GetUrls(), m_clock};
    std::optional<CPassModel> m_model;                    ///< from the first sign-in on
    std::multimap<int, std::function<void()>> m_mapPlan;  ///< minute of the day to what happens in it
    std::mt19937 m_random{20260101};
};

TEST_F(SoakTest, AMonthOfMinutesLeavesTheServiceCurrentAndHoldingNothing) {
    m_terminal.Start();
    Holdings second;
    const int nDays = CountDays();
    for (int nDay = 1; nDay <= nDays && !HasFatalFailure(); ++nDay) {
        LiveOneDay(nDay);
        if (nDay == 2) second = TakeStock();
    }
    EXPECT_TRUE(WaitForThreads("", second.nThreads));
    const Holdings last = TakeStock();
    ExpectEveryPassInTheLog();
    SetLanguage(u"ENG", u"en-US");
    m_terminal.SignIn();
    const Published published = m_terminal.GetPublished();
    m_terminal.StopAndExit();
    ExpectSame(published, PublishFresh());
    EXPECT_LE(static_cast<double>(last.nHeapBytes), 1.01 * static_cast<double>(second.nHeapBytes));
    EXPECT_LE(last.nHandles, second.nHandles);
    EXPECT_LE(last.nConnections, MOST_CONNECTIONS);
}

}  // namespace
}  // namespace qvant::test
