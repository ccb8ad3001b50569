#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "components/event_log.h"
#include "components/store_client.h"
#include "store/scripted_table.h"

namespace qvant {
namespace {

using namespace test;
using testing::ElementsAre;

TEST(BaseDataEvents, LeaveOutTheWrappersOwnLastTransaction) {
    const auto pTable = NewTable();
    CEventLog log;
    const auto pListener = OpenAgain(*pTable, &log);
    const auto pOther = OpenAgain(*pTable);

    Write(*pListener, {{u"own", u"1"}});
    Write(*pOther, {{u"other", u"1"}});

    EXPECT_THAT(log.WaitFor(1), ElementsAre("other"));
}

TEST(BaseDataEvents, BringTheWrappersOwnReplacement) {
    const auto pTable = NewTable();
    CEventLog log;
    const auto pListener = OpenAgain(*pTable, &log);

    CTransaction transaction(*pListener);
    transaction.Clear(store::MASK_VALUES);
    transaction.SetValue(u"own", u"1");
    transaction.Commit();
    Write(*pTable, {{u"other", u"1"}});

    EXPECT_THAT(log.WaitFor(2), ElementsAre("<replace>", "other"));
}

TEST(BaseDataEvents, ComeFromATableMadeWithASink) {
    CEventLog log;
    CBaseData table;
    ASSERT_TRUE(table.Create(&log, nullptr));
    Write(*OpenAgain(table), {{u"k", u"v"}});
    EXPECT_THAT(log.WaitFor(1), ElementsAre("k"));
}

TEST(BaseDataEvents, CostAboutASecondWhereTheyCannotBeConnected) {
    CScriptedTable scripted;
    CEventLog log;
    CBaseData table;
    const auto start = std::chrono::steady_clock::now();

    EXPECT_TRUE(table.Create(&log, &scripted));

    const auto spent = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(scripted.nConnectionTries, 10);
    EXPECT_GE(spent, std::chrono::milliseconds(900));
    EXPECT_EQ(CodeOf([&] { table.SetValue(1, u"k", u"v"); }), S_OK) << "the wrapper works in silence";
}

/// Runs `call` for each event.
class CCaller : public CBaseDataEventReceiver {
public:
    std::function<void(CBaseData*)> call;
    void OnUpdate(CBaseData* pTable, std::int32_t, const Text&) override { call(pTable); }
};

TEST(BaseDataEvents, NameTheWrapperTheyCameThrough) {
    const auto pTable = NewTable();
    CGate done;
    CBaseData* pSeen = nullptr;
    CCaller caller;
    caller.call = [&](CBaseData* p) {
        pSeen = p;
        done.Open();
    };
    const auto pListener = OpenAgain(*pTable, &caller);
    Write(*pTable, {{u"k", u"v"}});
    ASSERT_TRUE(done.Wait());
    EXPECT_EQ(pSeen, pListener.get());
}

TEST(BaseDataEvents, GoOnAfterAReceiverThatThrows) {
    const auto pTable = NewTable();
    std::atomic<int> nCalls{0};
    CGate done;
    CCaller caller;
    caller.call = [&](CBaseData*) {
        if (++nCalls == 3) done.Open();
        if (nCalls == 1) throw CFailure(CFailure::INVALID_ARGUMENT);
        if (nCalls == 2) throw std::runtime_error("out of range");
    };
    const auto pListener = OpenAgain(*pTable, &caller);
    Write(*pTable, {{u"1", u""}, {u"2", u""}, {u"3", u""}});
    EXPECT_TRUE(done.Wait());
}

TEST(BaseDataEvents, EndBeforeTheirWrapperDoes) {
    const auto pTable = NewTable();
    CGate entered;
    CGate release;
    std::atomic<bool> bInside{false};
    CCaller caller;
    caller.call = [&](CBaseData*) {
        bInside = true;
        entered.Open();
        release.Wait();
        bInside = false;
    };
    auto pListener = OpenAgain(*pTable, &caller);
    Write(*pTable, {{u"1", u""}, {u"2", u""}});
    ASSERT_TRUE(entered.Wait());
    std::jthread opener([&] { release.Open(); });
    pListener.reset();
    EXPECT_FALSE(bInside);
}

/// The delivery that waits for the event lock gives up at once; it isn't waited for.
TEST(BaseDataEvents, HoldUpNoDestruction) {
    const auto pTable = NewTable();
    CCaller caller;
    caller.call = [](CBaseData*) {};
    const auto start = std::chrono::steady_clock::now();
    std::atomic<bool> bStop{false};
    std::jthread writer([&] {
        const auto pWriter = OpenAgain(*pTable);
        while (!bStop) Write(*pWriter, {{u"k", u"v"}});
    });
    for (int i = 0; i < 50; ++i) OpenAgain(*pTable, &caller).reset();
    bStop = true;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

TEST(BaseDataEvents, LetTheirWrapperBeDestroyedWithinOne) {
    const auto pTable = NewTable();
    TablePtr pListener;
    CGate ready;
    CGate done;
    CCaller caller;
    caller.call = [&](CBaseData*) {
        ready.Wait();
        pListener.reset();
        done.Open();
    };
    pListener = OpenAgain(*pTable, &caller);
    ready.Open();
    Write(*pTable, {{u"1", u""}, {u"2", u""}});
    EXPECT_TRUE(done.Wait()) << "the wrapper waits three seconds for the lock that its own event holds, and goes on";
    CEventLog log;
    const auto pLater = OpenAgain(*pTable, &log);
    Write(*pTable, {{u"3", u""}});
    EXPECT_THAT(log.WaitFor(1), ElementsAre("3"));
}

}  // namespace
}  // namespace qvant
