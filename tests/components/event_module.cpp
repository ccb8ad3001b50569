// A module that deals in named events by itself.
#include "qvant/named_event.h"

extern "C" {

QVANT_EXPORT QvantNamedEvent HoldEvent(LPCOLESTR pszName) {
    return QvantCreateNamedEvent(pszName, QVANT_RESET_MANUAL, FALSE, nullptr);
}

QVANT_EXPORT QvantEventWait WaitForEvent(QvantNamedEvent hEvent, DWORD nMilliseconds) {
    return QvantWaitNamedEvent(hEvent, nMilliseconds);
}

QVANT_EXPORT void SignalEvent(LPCOLESTR pszName) {
    const QvantNamedEvent hEvent = HoldEvent(pszName);
    QvantSetNamedEvent(hEvent);
    QvantCloseNamedEvent(hEvent);
}
}
