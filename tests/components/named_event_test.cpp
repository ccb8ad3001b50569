#include "qvant/named_event.h"

#include <thread>

#include <gtest/gtest.h>

#include "platform/module.h"

namespace qvant::test {
namespace {

/// A module in a library of its own.
class CModule {
public:
    explicit CModule(const char* pszPath) : m_hModule(platform::LoadModule(Widen(pszPath))) {}
    CModule(const CModule&) = delete;
    CModule& operator=(const CModule&) = delete;
    ~CModule() { platform::FreeModule(m_hModule); }

    QvantNamedEvent Hold(LPCOLESTR pszName) { return Find<QvantNamedEvent(LPCOLESTR)>("HoldEvent")(pszName); }
    QvantEventWait Wait(QvantNamedEvent hEvent, DWORD nMilliseconds) {
        return Find<QvantEventWait(QvantNamedEvent, DWORD)>("WaitForEvent")(hEvent, nMilliseconds);
    }
    void Signal(LPCOLESTR pszName) { Find<void(LPCOLESTR)>("SignalEvent")(pszName); }

private:
    template <typename Function>
    Function* Find(const char* pszName) {
        return reinterpret_cast<Function*>(platform::FindExport(m_hModule, pszName));
    }
    void* m_hModule;
};

TEST(NamedEvent, OfOneModuleReachesAnotherThatHoldsTheName) {
    CModule asking(QV_EVENT_MODULE_A);
    CModule answering(QV_EVENT_MODULE_B);
    const QvantNamedEvent hEvent = asking.Hold(u"Answer.QV.S.SSE.600000");
    ASSERT_NE(hEvent, 0u);
    EXPECT_EQ(asking.Wait(hEvent, 0), QVANT_WAIT_TIMED_OUT);
    std::thread signaller([&answering] { answering.Signal(u"Answer.QV.S.SSE.600000"); });
    EXPECT_EQ(asking.Wait(hEvent, QVANT_WAIT_FOREVER), QVANT_WAIT_SIGNALLED);
    signaller.join();
    EXPECT_EQ(QvantWaitNamedEvent(hEvent, 0), QVANT_WAIT_SIGNALLED) << "the test's own module shares it as well";
    EXPECT_EQ(QvantCloseNamedEvent(hEvent), TRUE);
}

TEST(NamedEvent, SignalledWithNobodyThereLeavesNothing) {
    CModule answering(QV_EVENT_MODULE_A);
    answering.Signal(u"Answer.Nobody");
    EXPECT_EQ(QvantOpenNamedEvent(u"Answer.Nobody"), 0u);
    BOOL bExisted = TRUE;
    const QvantNamedEvent hEvent = QvantCreateNamedEvent(u"Answer.Nobody", QVANT_RESET_MANUAL, FALSE, &bExisted);
    EXPECT_EQ(bExisted, FALSE);
    EXPECT_EQ(QvantWaitNamedEvent(hEvent, 0), QVANT_WAIT_TIMED_OUT);
    EXPECT_EQ(QvantCloseNamedEvent(hEvent), TRUE);
}

TEST(NamedEvent, BeginsAndEndsAsItWasMade) {
    const QvantNamedEvent hEvent = QvantCreateNamedEvent(u"Answer.Auto", QVANT_RESET_AUTOMATIC, TRUE, nullptr);
    EXPECT_EQ(QvantWaitNamedEvent(hEvent, QVANT_WAIT_FOREVER), QVANT_WAIT_SIGNALLED);
    EXPECT_EQ(QvantWaitNamedEvent(hEvent, 0), QVANT_WAIT_TIMED_OUT);
    EXPECT_EQ(QvantSetNamedEvent(hEvent), TRUE);
    EXPECT_EQ(QvantResetNamedEvent(hEvent), TRUE);
    EXPECT_EQ(QvantWaitNamedEvent(hEvent, 0), QVANT_WAIT_TIMED_OUT);
    EXPECT_EQ(QvantCloseNamedEvent(hEvent), TRUE);
}

TEST(NamedEvent, ShowsItsSignalsToWhoWatches) {
    const QvantNamedEvent hEvent = QvantCreateNamedEvent(u"Answer.Watched", QVANT_RESET_MANUAL, FALSE, nullptr);
    ULONGLONG nSignals = 0;
    EXPECT_EQ(QvantWatchNamedEvent(hEvent, &nSignals, 0), QVANT_WAIT_TIMED_OUT);
    QvantSetNamedEvent(hEvent);
    QvantSetNamedEvent(hEvent);
    EXPECT_EQ(QvantWatchNamedEvent(hEvent, &nSignals, QVANT_WAIT_FOREVER), QVANT_WAIT_SIGNALLED);
    EXPECT_EQ(nSignals, 2u);
    EXPECT_EQ(QvantWatchNamedEvent(hEvent, nullptr, 0), QVANT_WAIT_FAILED);
    std::thread closer([hEvent] { QvantCloseNamedEvent(hEvent); });
    EXPECT_NE(QvantWatchNamedEvent(hEvent, &nSignals, QVANT_WAIT_FOREVER), QVANT_WAIT_SIGNALLED);
    closer.join();
}

TEST(NamedEvent, RefusesWhatIsNoNameAndNoEvent) {
    EXPECT_EQ(QvantCreateNamedEvent(nullptr, QVANT_RESET_MANUAL, FALSE, nullptr), 0u);
    EXPECT_EQ(QvantCreateNamedEvent(u"", QVANT_RESET_MANUAL, FALSE, nullptr), 0u);
    EXPECT_EQ(QvantOpenNamedEvent(nullptr), 0u);
    EXPECT_EQ(QvantOpenNamedEvent(u""), 0u);
    const QvantNamedEvent hEvent = QvantCreateNamedEvent(u"Answer.Closed", QVANT_RESET_MANUAL, TRUE, nullptr);
    EXPECT_EQ(QvantCloseNamedEvent(hEvent), TRUE);
    for (const QvantNamedEvent hBad : {QvantNamedEvent{0}, hEvent, ~QvantNamedEvent{0}}) {
        EXPECT_EQ(QvantSetNamedEvent(hBad), FALSE);
        EXPECT_EQ(QvantResetNamedEvent(hBad), FALSE);
        EXPECT_EQ(QvantCloseNamedEvent(hBad), FALSE);
        EXPECT_EQ(QvantWaitNamedEvent(hBad, QVANT_WAIT_FOREVER), QVANT_WAIT_FAILED);
    }
}

}  // namespace
}  // namespace qvant::test
