#include <atomic>
#include <functional>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "components/event_log.h"
#include "components/store_client.h"

namespace qvant {
namespace {

using namespace test;
using testing::ElementsAre;

using Events = std::vector<std::string>;

TEST(TableEvents, NameEveryKeyOnceInTheOrderOfFirstWriting) {
    const auto pTable = NewTable();
    CEventLog log;
    const auto pListener = OpenAgain(*pTable, &log);
    const auto pChild = NewTable();

    CTransaction transaction(*pTable);
    transaction.SetValue(u"b", u"1");
    transaction.SetRow(3, u"row");
    transaction.SetValue(u"a", u"2");
    transaction.SetTable(u"child", *pChild);
    transaction.SetValue(u"b", u"3");
    transaction.SetRow(3, u"again");
    transaction.Commit();

    EXPECT_THAT(log.WaitFor(4), ElementsAre("b", "3", "a", "child"));
}

TEST(TableEvents, SayReplaceBeforeTheKeysOfAClearedSection) {
    const auto pTable = NewTable();
    CEventLog log;
    const auto pListener = OpenAgain(*pTable, &log);

    CTransaction transaction(*pTable);
    transaction.SetValue(u"a", u"1");
    transaction.Clear(store::MASK_ROWS);
    transaction.Clear(store::MASK_TABLES);
    transaction.Commit();
    Write(*pTable, {{u"b", u"1"}});

    EXPECT_THAT(log.WaitFor(3), ElementsAre("<replace>", "a", "b"));
}

TEST(TableEvents, NameTheKeysOfABlob) {
    const auto pSource = NewTable();
    Write(*pSource, {{u"x", u"1"}, {u"y", u"2"}});
    const auto pTable = NewTable();
    CEventLog log;
    const auto pListener = OpenAgain(*pTable, &log);

    CTransaction transaction(*pTable);
    transaction.SetValue(u"y", u"0");
    transaction.LoadBlob(pSource->GetBlob());
    transaction.Commit();

    EXPECT_THAT(log.WaitFor(3), ElementsAre("<replace>", "y", "x"));
}

TEST(TableEvents, CarryTheTransaction) {
    const auto pTable = NewTable();
    CEventLog log;
    const auto pListener = OpenAgain(*pTable, &log);
    const std::int32_t nTransaction = pTable->Begin();
    pTable->SetValue(nTransaction, u"k", u"v");
    pTable->Commit(nTransaction);
    log.WaitFor(1);
    EXPECT_EQ(log.GetLastTransaction(), nTransaction);
}

TEST(TableEvents, DoNotComeForACancelledTransaction) {
    const auto pTable = NewTable();
    CEventLog log;
    const auto pListener = OpenAgain(*pTable, &log);
    { CTransaction(*pTable).SetValue(u"cancelled", u"v"); }
    Write(*pTable, {{u"committed", u"v"}});
    EXPECT_THAT(log.WaitFor(1), ElementsAre("committed"));
}

TEST(TableEvents, KeepTheOrderOfTheCommitsOfManyThreads) {
    const auto pTable = NewTable();
    CEventLog log;
    const auto pListener = OpenAgain(*pTable, &log);
    constexpr int COMMITS = 200;
    {
        std::vector<std::jthread> arThreads;
        for (const TextView strThread : {u"a", u"b", u"c"}) {
            arThreads.emplace_back([&, strThread] {
                const auto pWriter = OpenAgain(*pTable);
                for (int i = 0; i < COMMITS; ++i) Write(*pWriter, {{Text(strThread) + Widen(std::to_string(i)), u""}});
            });
        }
    }
    const Events arEvents = log.WaitFor(3 * COMMITS);
    ASSERT_EQ(arEvents.size(), 3u * COMMITS);
    for (const char chThread : {'a', 'b', 'c'}) {
        int nExpected = 0;
        for (const std::string& strEvent : arEvents) {
            if (strEvent[0] != chThread) continue;
            ASSERT_EQ(strEvent.substr(1), std::to_string(nExpected++));
        }
    }
}

/// Runs `call` for its first event.
class CCaller : public CBaseDataEventReceiver {
public:
    std::function<void()> call;
    void OnUpdate(CBaseData*, std::int32_t, const Text&) override {
        if (!m_bCalled.exchange(true)) call();
    }

private:
    std::atomic<bool> m_bCalled{false};
};

TEST(TableEvents, ReachAQuickSinkWhileAnotherOneIsStuck) {
    const auto pTable = NewTable();
    CGate entered;
    CGate release;
    CCaller stuck;
    stuck.call = [&] {
        entered.Open();
        release.Wait();
    };
    CEventLog log;
    const auto pSlow = OpenAgain(*pTable, &stuck);
    const auto pQuick = OpenAgain(*pTable, &log);

    Write(*pTable, {{u"1", u""}});
    ASSERT_TRUE(entered.Wait());
    Write(*pTable, {{u"2", u""}});

    EXPECT_THAT(log.WaitFor(2), ElementsAre("1", "2"));
    release.Open();
}

// ---------------------------------------------------------------------------------------------------------------
// The connection point itself
// ---------------------------------------------------------------------------------------------------------------

/// A sink as any module may bring it; `onEvent` runs on the delivery thread.
class CRawSink final : public IDispatch {
public:
    std::function<void()> onEvent = [] {};
    std::atomic<int> nEvents{0};

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override {
        const bool bKnown = riid == IID_IUnknown || riid == IID__IBaseDataEvents;
        *ppvObject = bKnown ? this : nullptr;
        if (bKnown) AddRef();
        return bKnown ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nReferences; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_nReferences; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        ++nEvents;
        onEvent();
        return E_FAIL;  // of no consequence to the store
    }
    ULONG Count() const { return m_nReferences; }

private:
    std::atomic<ULONG> m_nReferences{1};
};

class ConnectionPoint : public testing::Test {
protected:
    void SetUp() override {
        m_pContainer = GetObject<IConnectionPointContainer>(*m_pTable, IID_IConnectionPointContainer);
        ASSERT_NE(m_pContainer, nullptr);
        ASSERT_EQ(m_pContainer->FindConnectionPoint(IID__IBaseDataEvents, &m_pPoint), S_OK);
    }
    void TearDown() override {
        if (m_pPoint) m_pPoint->Release();
        m_pContainer->Release();
    }

    TablePtr m_pTable = NewTable();
    IConnectionPointContainer* m_pContainer = nullptr;
    IConnectionPoint* m_pPoint = nullptr;
};

TEST_F(ConnectionPoint, IsTheOneOfTheEventInterface) {
    IConnectionPoint* pOther = nullptr;
    EXPECT_EQ(m_pContainer->FindConnectionPoint(IID_IDispatch, &pOther), CONNECT_E_NOCONNECTION);
    EXPECT_EQ(m_pContainer->FindConnectionPoint(IID__IBaseDataEvents, nullptr), E_POINTER);
    IID iid;
    EXPECT_EQ(m_pPoint->GetConnectionInterface(&iid), S_OK);
    EXPECT_EQ(iid, IID__IBaseDataEvents);

    IConnectionPointContainer* pContainer = nullptr;
    EXPECT_EQ(m_pPoint->GetConnectionPointContainer(&pContainer), S_OK);
    EXPECT_EQ(pContainer, m_pContainer);
    pContainer->Release();

    IEnumConnectionPoints* pEnum = nullptr;
    ASSERT_EQ(m_pContainer->EnumConnectionPoints(&pEnum), S_OK);
    EXPECT_EQ(pEnum->Next(1, &pOther, nullptr), S_OK);
    EXPECT_EQ(pOther, m_pPoint);
    pOther->Release();
    EXPECT_EQ(pEnum->Next(1, &pOther, nullptr), S_FALSE);
    EXPECT_EQ(pEnum->Reset(), S_OK);
    EXPECT_EQ(pEnum->Skip(2), S_FALSE);
    pEnum->Release();
}

TEST_F(ConnectionPoint, RefusesASinkWithoutTheEventInterface) {
    DWORD nCookie = 7;
    EXPECT_EQ(m_pPoint->Advise(m_pContainer, &nCookie), CONNECT_E_CANNOTCONNECT);
    EXPECT_EQ(nCookie, 0u);
    EXPECT_EQ(m_pPoint->Advise(nullptr, &nCookie), E_POINTER);
    EXPECT_EQ(m_pPoint->Unadvise(1), CONNECT_E_NOCONNECTION);
}

TEST_F(ConnectionPoint, ListsItsConnections) {
    CRawSink first;
    CRawSink second;
    DWORD arCookies[2] = {};
    ASSERT_EQ(m_pPoint->Advise(&first, &arCookies[0]), S_OK);
    ASSERT_EQ(m_pPoint->Advise(&second, &arCookies[1]), S_OK);

    IEnumConnections* pEnum = nullptr;
    ASSERT_EQ(m_pPoint->EnumConnections(&pEnum), S_OK);
    CONNECTDATA arConnections[3] = {};
    ULONG nFetched = 0;
    EXPECT_EQ(pEnum->Next(3, arConnections, &nFetched), S_FALSE);
    ASSERT_EQ(nFetched, 2u);
    for (ULONG i = 0; i < nFetched; ++i) {
        EXPECT_EQ(arConnections[i].dwCookie, arCookies[i]);
        arConnections[i].pUnk->Release();
    }
    IEnumConnections* pClone = nullptr;
    ASSERT_EQ(pEnum->Clone(&pClone), S_OK);
    EXPECT_EQ(pClone->Next(1, arConnections, nullptr), S_FALSE) << "a copy stands where the original stood";
    pClone->Release();
    pEnum->Release();

    EXPECT_EQ(m_pPoint->Unadvise(arCookies[0]), S_OK);
    EXPECT_EQ(m_pPoint->Unadvise(arCookies[1]), S_OK);
    EXPECT_EQ(first.Count(), 1u);
    EXPECT_EQ(second.Count(), 1u);
}

TEST_F(ConnectionPoint, CallsNobodyAnyMoreAfterUnadvise) {
    CRawSink sink;
    CGate entered;
    CGate release;
    std::atomic<bool> bInside{false};
    sink.onEvent = [&] {
        bInside = true;
        entered.Open();
        release.Wait();
        bInside = false;
    };
    DWORD nCookie = 0;
    ASSERT_EQ(m_pPoint->Advise(&sink, &nCookie), S_OK);
    Write(*m_pTable, {{u"1", u""}, {u"2", u""}, {u"3", u""}});
    ASSERT_TRUE(entered.Wait());
    std::jthread opener([&] { release.Open(); });

    EXPECT_EQ(m_pPoint->Unadvise(nCookie), S_OK);

    EXPECT_FALSE(bInside) << "the call that ran has ended";
    const int nEvents = sink.nEvents;
    Write(*m_pTable, {{u"4", u""}});
    EXPECT_EQ(sink.nEvents, nEvents);
    EXPECT_EQ(sink.Count(), 1u);
}

TEST_F(ConnectionPoint, DeliversWhatWasCommittedBeforeAnUnadviseReturns) {
    constexpr int COMMITS = 100;
    CRawSink sink;
    CGate entered;
    CGate release;
    sink.onEvent = [&] {
        entered.Open();
        release.Wait();
    };
    DWORD nCookie = 0;
    ASSERT_EQ(m_pPoint->Advise(&sink, &nCookie), S_OK);
    for (int i = 0; i < COMMITS; ++i) Write(*m_pTable, {{u"1", u""}, {u"2", u""}});
    ASSERT_TRUE(entered.Wait());
    std::jthread opener([&] { release.Open(); });

    EXPECT_EQ(m_pPoint->Unadvise(nCookie), S_OK);

    EXPECT_EQ(sink.nEvents, 2 * COMMITS);
    EXPECT_EQ(sink.Count(), 1u);
}

TEST_F(ConnectionPoint, ComesToAnEndWithASinkUnderSteadyCommits) {
    CRawSink sink;
    CGate entered;
    sink.onEvent = [&] { entered.Open(); };
    DWORD nCookie = 0;
    ASSERT_EQ(m_pPoint->Advise(&sink, &nCookie), S_OK);
    std::atomic<bool> bStop{false};
    std::jthread writer([&] {
        const auto pWriter = OpenAgain(*m_pTable);
        while (!bStop) Write(*pWriter, {{u"k", u""}});
    });
    EXPECT_TRUE(entered.Wait());
    EXPECT_EQ(m_pPoint->Unadvise(nCookie), S_OK) << "it waits for commits that come after it";
    bStop = true;
    EXPECT_EQ(sink.Count(), 1u);
}

TEST_F(ConnectionPoint, LetsASinkDisconnectAnotherOneWithinItsEvent) {
    constexpr int COMMITS = 20;
    CRawSink first;
    CRawSink second;
    DWORD nFirst = 0;
    DWORD nSecond = 0;
    CGate queued;
    CGate done;
    std::atomic<int> nHeard{0};
    first.onEvent = [&] {
        queued.Wait();
        if (m_pPoint->Unadvise(nSecond) != S_OK) return;  // the first event alone finds it connected
        nHeard = second.nEvents.load();
        done.Open();
    };
    second.onEvent = [&] { queued.Wait(); };
    ASSERT_EQ(m_pPoint->Advise(&first, &nFirst), S_OK);
    ASSERT_EQ(m_pPoint->Advise(&second, &nSecond), S_OK);
    for (int i = 0; i < COMMITS; ++i) Write(*m_pTable, {{u"k", u""}});
    queued.Open();
    EXPECT_TRUE(done.Wait());
    EXPECT_EQ(nHeard, COMMITS);
    EXPECT_EQ(m_pPoint->Unadvise(nFirst), S_OK);
    EXPECT_EQ(first.nEvents, COMMITS);
}

TEST_F(ConnectionPoint, LetsASinkDisconnectItselfWithinItsOwnEvent) {
    CRawSink sink;
    CGate queued;
    CGate done;
    DWORD nCookie = 0;
    HRESULT hr = E_FAIL;
    sink.onEvent = [&] {
        queued.Wait();
        hr = m_pPoint->Unadvise(nCookie);
        done.Open();
    };
    ASSERT_EQ(m_pPoint->Advise(&sink, &nCookie), S_OK);

    Write(*m_pTable, {{u"1", u""}, {u"2", u""}});
    Write(*m_pTable, {{u"3", u""}});
    queued.Open();

    ASSERT_TRUE(done.Wait()) << "the sink waits for itself";
    EXPECT_EQ(hr, S_OK);
    EXPECT_EQ(m_pPoint->Unadvise(nCookie), CONNECT_E_NOCONNECTION);
    CEventLog log;  // a later event is the proof that the earlier one won't come any more
    {
        const auto pListener = OpenAgain(*m_pTable, &log);
        Write(*m_pTable, {{u"4", u""}});
        log.WaitFor(1);
    }
    EXPECT_EQ(sink.nEvents, 1);
    // The delivery thread lets go of the sink when the next connection ends; until then the sink must stay.
    while (sink.Count() != 1) {
        DWORD nOther = 0;
        CRawSink other;
        ASSERT_EQ(m_pPoint->Advise(&other, &nOther), S_OK);
        ASSERT_EQ(m_pPoint->Unadvise(nOther), S_OK);
    }
}

TEST_F(ConnectionPoint, EndsItsDeliveriesWithTheTable) {
    CRawSink sink;
    DWORD nCookie = 0;
    ASSERT_EQ(m_pPoint->Advise(&sink, &nCookie), S_OK);
    m_pPoint->Release();
    m_pPoint = nullptr;
    m_pContainer->Release();
    m_pTable.reset();
    EXPECT_EQ(sink.Count(), 1u);
    m_pTable = NewTable();
    m_pContainer = GetObject<IConnectionPointContainer>(*m_pTable, IID_IConnectionPointContainer);
}

}  // namespace
}  // namespace qvant
