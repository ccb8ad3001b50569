#include <future>
#include <limits>

#include "base/failure.h"
#include "base/format.h"
#include "refresh_fixture.h"

namespace qvant::test {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr std::int64_t MINUTE = 60'000;

class StoreEvents : public RefreshTest {
protected:
    StoreEvents() { m_parser.m_mapResetTime.SetAt(u"08:45", u"08:45"); }

    /// The host writes its clock, and the store tells of it.
    void Tick(const Text& strTime, const Text& strKey = u"SystemTime") {
        m_host.Set(u"QvantSystemTime", {{u"SystemTime", strTime}, {u"SystemDate", u"20260302"}});
        m_events.GetClockSink().OnUpdate(&m_host.MakeTable(u"QvantSystemTime"), 1, strKey);
    }
    std::uint32_t FailureOf(const Text& strTime) {
        try {
            Tick(strTime);
        } catch (const CFailure& failure) {
            return static_cast<std::uint32_t>(failure.GetCode());
        }
        return 0;
    }
    /// Runs a burst down and gives its passes.
    std::size_t CountBurst() {
        m_host.Forget();
        m_clock.Advance(20 * MINUTE);
        EXPECT_FALSE(m_refresh.IsBurst());
        return CountPasses();
    }

    void SetCulture(const Text& strCulture) {
        m_host.Set(u"GeneralService", {{u"AppManager_Culture", strCulture}});
        m_events.GetLanguageSink().OnUpdate(&m_host.MakeTable(u"GeneralService"), 1, u"AppManager_Culture");
    }
};

TEST_F(StoreEvents, AResetTimeStartsABurstOfTenWithin50Milliseconds) {
    Tick(u"84500");
    EXPECT_TRUE(m_refresh.IsBurst());
    ASSERT_EQ(m_timer.List().size(), 1u);
    EXPECT_EQ(m_timer.List()[0].nId, 101u);
    EXPECT_EQ(m_timer.List()[0].nInterval, 50u);
    EXPECT_EQ(CountBurst(), 10u);
}

TEST_F(StoreEvents, TheSecondsPlayNoPart) {
    Tick(u"84559");
    EXPECT_EQ(CountBurst(), 10u);
}

TEST_F(StoreEvents, EveryMoveOfTheClockIsHandedOnWhenItsTimeIsRead) {
    Tick(u"84400");
    Tick(u"84401", u"SystemDate");
    EXPECT_EQ(m_nClockMoves, 2);
    EXPECT_EQ(m_events.GetSystemTime(), 84'401);
    EXPECT_NE(FailureOf(u"240000"), 0u);
    EXPECT_EQ(m_nClockMoves, 2) << "a clock that can't be ends there";
}

TEST_F(StoreEvents, AMinuteWithoutAResetTimeStartsNothing) {
    Tick(u"84400");
    Tick(u"85500");
    EXPECT_FALSE(m_refresh.IsBurst());
    EXPECT_THAT(m_timer.List(), IsEmpty());
}

TEST_F(StoreEvents, AResetTimeNoticedFiveMinutesLateStartsABurstThatEndsOnTime) {
    Tick(u"85000");
    EXPECT_EQ(CountBurst(), 5u);
}

TEST_F(StoreEvents, AResetTimeIsLookedBackForOverMidnight) {
    m_parser.m_mapResetTime.SetAt(u"23:58", u"23:58");
    Tick(u"300");
    EXPECT_EQ(CountBurst(), 5u);
}

TEST_F(StoreEvents, TheLatestOfTwoResetTimesCounts) {
    m_parser.m_mapResetTime.SetAt(u"08:48", u"08:48");
    Tick(u"85000");
    EXPECT_EQ(CountBurst(), 8u);
}

TEST_F(StoreEvents, ABurstHoldsOffAnotherAndAfterItsTenMinutesTheLookBackFindsNothing) {
    Tick(u"84500");
    m_clock.Advance(50 + 2 * MINUTE);
    Tick(u"84700");
    EXPECT_EQ(m_timer.List().size(), 1u);
    EXPECT_EQ(CountBurst(), 7u);
    Tick(u"85500");
    EXPECT_FALSE(m_refresh.IsBurst());
}

TEST_F(StoreEvents, ATickInTheTenthMinuteBehindTheLastPassAddsOneMore) {
    Tick(u"84500");
    EXPECT_EQ(CountBurst(), 10u);
    Tick(u"85400");
    EXPECT_EQ(CountBurst(), 1u);
}

TEST_F(StoreEvents, AMinuteThatStartedABurstStartsNoOtherForFiveMinutes) {
    Tick(u"84500");
    m_refresh.Stop();
    Tick(u"84500");
    EXPECT_FALSE(m_refresh.IsBurst());
    Tick(u"84900");
    m_refresh.Stop();
    Tick(u"84500");
    EXPECT_FALSE(m_refresh.IsBurst()) << "four minutes later it is still remembered";
    Tick(u"85000");
    m_refresh.Stop();
    Tick(u"84500");
    EXPECT_TRUE(m_refresh.IsBurst());
}

TEST_F(StoreEvents, AnyKeyOfTheClockTableCounts) {
    Tick(u"84500", u"anything");
    EXPECT_TRUE(m_refresh.IsBurst());
}

TEST_F(StoreEvents, AReplacementOfATableDoesNothing) {
    m_host.Set(u"QvantSystemTime", {{u"SystemTime", u"84500"}});
    m_events.GetClockSink().OnReplace(&m_host.MakeTable(u"QvantSystemTime"), 1);
    EXPECT_FALSE(m_refresh.IsBurst());
}

TEST_F(StoreEvents, TheTimeIsThatOfTheConstructionUntilTheHostTells) {
    EXPECT_EQ(m_events.GetSystemTime(), 100'000);
    EXPECT_EQ(m_events.GetSystemDate(), 20'260'302);
    Tick(u"235959");
    EXPECT_EQ(m_events.GetSystemTime(), 235'959);
    m_host.DropTable(u"QvantSystemTime");
    m_events.GetClockSink().OnUpdate(&m_host.MakeTable(u"QvantSystemTime"), 1, u"");
    EXPECT_EQ(m_events.GetSystemTime(), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(m_events.GetSystemDate(), std::numeric_limits<std::int32_t>::min());
}

TEST_F(StoreEvents, AnHourAbove23OrAMinuteAbove59IsAFailure) {
    EXPECT_EQ(FailureOf(u"240000"), CFailure::UNSPECIFIED);
    EXPECT_EQ(FailureOf(u"86000"), CFailure::UNSPECIFIED);
    EXPECT_EQ(FailureOf(u"235900"), 0u);
    EXPECT_EQ(m_events.GetSystemTime(), 235'900);
}

TEST_F(StoreEvents, ClockEventsWhileAPassEntersResetTimesAreNoFault) {
    auto pass = std::async(std::launch::async, [this] {
        for (int i = 0; i < 20'000; ++i) m_parser.m_mapResetTime.SetAt(Format(u"%02d:%02d x", i / 60, i % 60), u"");
    });
    while (pass.wait_for(std::chrono::seconds(0)) != std::future_status::ready) Tick(u"84400");
    EXPECT_FALSE(m_refresh.IsBurst());
}

TEST_F(StoreEvents, AChangeOfTheLanguageLoadsTheContractsAnewAndSavesTheLanguage) {
    SetCulture(u"zh-CHT");
    EXPECT_EQ(m_state.Culture, u"zh-CHT");
    EXPECT_EQ(m_state.AppsLanguage, u"CHT");
    const auto arLog = m_host.GetLog();
    ASSERT_GE(arLog.size(), 3u);
    EXPECT_EQ(arLog[0], "GeneralService WaitForSingleObject : m_hEventSymbolLookUp");
    EXPECT_EQ(arLog[1], "GeneralService Change Language:CHT");
    EXPECT_EQ(arLog[2], "LoadContractList-Start");
    EXPECT_THAT(arLog, Contains("LoadContractList-End"));
    EXPECT_EQ(ReadSetting(u"AppsLanguage"), u"CHT");
}

TEST_F(StoreEvents, TheDisplayWordsAreReadBehindTheLoad) {
    std::vector<std::string> arSoFar;
    m_loadSymbolWords = [&] {
        EXPECT_EQ(m_state.AppsLanguage, u"CHT");
        arSoFar = m_host.GetLog();
    };
    SetCulture(u"zh-CHT");
    EXPECT_THAT(arSoFar, Contains("LoadContractList-End"));
}

TEST_F(StoreEvents, TheWordOfALanguageIsTheLastThreeUnitsOfAChineseCulture) {
    for (const auto& [pszCulture, pszWord] : {std::pair{u"zh-CHT", u"CHT"},
                                              {u"zh-CN", u"-CN"},
                                              {u"zh-TW", u"-TW"},
                                              {u"zh-", u"zh-"},
                                              {u"", u"ENG"},
                                              {u"x-zh-CHS", u"CHS"},
                                              {u"de-DE", u"ENG"}}) {
        SetCulture(pszCulture);
        EXPECT_EQ(m_state.AppsLanguage, pszWord);
        EXPECT_EQ(ReadSetting(u"AppsLanguage"), pszWord);
    }
}

TEST_F(StoreEvents, TheSameCultureAndAnyOtherKeyDoNothing) {
    SetCulture(u"en-US");
    EXPECT_THAT(m_host.GetLog(), IsEmpty());
}

TEST_F(StoreEvents, ANewCultureOfTheSameLanguageIsNotedAndLoadsNothing) {
    SetCulture(u"de-DE");
    EXPECT_EQ(m_state.Culture, u"de-DE");
    EXPECT_THAT(m_host.GetLog(), IsEmpty());
    SetCulture(u"");
    EXPECT_EQ(m_state.Culture, u"");
    EXPECT_THAT(m_host.GetLog(), IsEmpty());
}

TEST_F(StoreEvents, AChangeOfTheLanguageWaitsForARunningPass) {
    std::atomic<bool> bPassing = true;
    bool bAlone = false;
    m_host.onLog = [&](TextView strLine) {
        if (strLine.starts_with(u"GeneralService Change")) bAlone = !bPassing;
    };
    std::future<void> change;
    {
        const platform::CStoppableHold pass(m_refresh.DataLock);
        change = std::async(std::launch::async, [this] { SetCulture(u"zh-CHT"); });
        bPassing = false;
    }
    change.get();
    EXPECT_TRUE(bAlone);
}

TEST_F(StoreEvents, AChangeOfTheLanguageWaitsForTheSymbols) {
    m_eventSymbolLookUp.Clear();
    bool bBuilt = false;
    m_host.onLog = [&](TextView strLine) {
        if (strLine.starts_with(u"GeneralService Change")) bBuilt = m_eventSymbolLookUp.IsSet();
    };
    auto change = std::async(std::launch::async, [this] { SetCulture(u"zh-CHT"); });
    ASSERT_TRUE(m_host.WaitForLog("GeneralService WaitForSingleObject"));
    m_eventSymbolLookUp.Set();
    change.get();
    EXPECT_TRUE(bBuilt);
}

TEST_F(StoreEvents, AStopEndsAChangeThatWaitsAndLeavesTheLanguageAsItWas) {
    m_eventSymbolLookUp.Clear();
    auto change = std::async(std::launch::async, [this] { SetCulture(u"zh-CHT"); });
    ASSERT_TRUE(m_host.WaitForLog("GeneralService WaitForSingleObject"));
    m_stop.request_stop();
    change.get();
    EXPECT_EQ(m_state.AppsLanguage, u"ENG");
    EXPECT_EQ(m_state.Culture, u"en-US");
    m_stop = std::stop_source();
    m_eventSymbolLookUp.Set();
    SetCulture(u"zh-CHT");
    EXPECT_EQ(m_state.AppsLanguage, u"CHT");
}

TEST_F(StoreEvents, AfterAStopNoChangeOfTheLanguageBegins) {
    m_stop.request_stop();
    SetCulture(u"zh-CHT");
    EXPECT_EQ(m_state.AppsLanguage, u"ENG");
    EXPECT_THAT(m_host.GetLog(), IsEmpty());
}

}  // namespace qvant::test
