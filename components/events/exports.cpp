#include "platform/named_event.h"
#include "qvant/named_event.h"

namespace {

using qvant::platform::CEvent;
using qvant::platform::CNamedEvents;

/// Never destroyed: threads may still wait when the process ends.
CNamedEvents& TheEvents() {
    static auto* const pEvents = new CNamedEvents();
    return *pEvents;
}

CNamedEvents::Limit LimitOf(DWORD nMilliseconds) {
    if (nMilliseconds == QVANT_WAIT_FOREVER) return std::nullopt;
    return std::chrono::milliseconds(nMilliseconds);
}

QvantEventWait ResultOf(CNamedEvents::Waited waited) {
    switch (waited) {
        case CNamedEvents::Waited::Signalled:
            return QVANT_WAIT_SIGNALLED;
        case CNamedEvents::Waited::TimedOut:
            return QVANT_WAIT_TIMED_OUT;
        case CNamedEvents::Waited::Closed:
            return QVANT_WAIT_CLOSED;
        case CNamedEvents::Waited::NoHandle:
            break;
    }
    return QVANT_WAIT_FAILED;
}

/// What a call gives; `failed` when it runs out of memory.
template <typename Result, typename Call>
Result Guard(Result failed, const Call& call) {
    try {
        return call();
    } catch (...) {
        return failed;
    }
}

}  // namespace

QvantNamedEvent QvantCreateNamedEvent(LPCOLESTR pszName, QvantEventReset nReset, BOOL bSignalled, BOOL* pbExisted) {
    return Guard(QvantNamedEvent{0}, [&]() -> QvantNamedEvent {
        if (!pszName || !*pszName) return 0;
        const auto reset = nReset == QVANT_RESET_AUTOMATIC ? CEvent::Reset::Automatic : CEvent::Reset::Manual;
        bool bExisted = false;
        const auto nHandle = TheEvents().Create(pszName, reset, bSignalled != FALSE, &bExisted);
        if (pbExisted) *pbExisted = bExisted ? TRUE : FALSE;
        return nHandle;
    });
}

QvantNamedEvent QvantOpenNamedEvent(LPCOLESTR pszName) {
    return Guard(QvantNamedEvent{0}, [&] { return pszName ? TheEvents().Open(pszName) : 0; });
}

BOOL QvantSetNamedEvent(QvantNamedEvent hEvent) {
    return Guard(BOOL{FALSE}, [&] { return TheEvents().Set(hEvent) ? TRUE : FALSE; });
}

BOOL QvantResetNamedEvent(QvantNamedEvent hEvent) {
    return Guard(BOOL{FALSE}, [&] { return TheEvents().Clear(hEvent) ? TRUE : FALSE; });
}

QvantEventWait QvantWaitNamedEvent(QvantNamedEvent hEvent, DWORD nMilliseconds) {
    return Guard(QVANT_WAIT_FAILED, [&] { return ResultOf(TheEvents().Wait(hEvent, LimitOf(nMilliseconds))); });
}

QvantEventWait QvantWatchNamedEvent(QvantNamedEvent hEvent, ULONGLONG* pnSignals, DWORD nMilliseconds) {
    if (!pnSignals) return QVANT_WAIT_FAILED;
    return Guard(QVANT_WAIT_FAILED, [&] {
        std::uint64_t nSets = *pnSignals;
        const QvantEventWait nResult = ResultOf(TheEvents().Watch(hEvent, nSets, LimitOf(nMilliseconds)));
        *pnSignals = nSets;
        return nResult;
    });
}

BOOL QvantCloseNamedEvent(QvantNamedEvent hEvent) {
    return Guard(BOOL{FALSE}, [&] { return TheEvents().Close(hEvent) ? TRUE : FALSE; });
}
