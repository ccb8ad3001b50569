/// Named events of the process: how its modules tell each other that something has happened, without polling.
///
/// The event of a name is there as long as anybody holds it, whichever module that is, and vanishes with its last
/// holder. Names are compared unit by unit and may have any length. Any thread may call any function at any time;
/// none raises anything. Every module that uses events links the same `libqvevents`.
#pragma once

#include "qvant/component.h"

/// One holding of an event; 0 for none. A number is never given twice, so that one that was closed, or that never was
/// one, is recognised and does no harm.
using QvantNamedEvent = ULONGLONG;

/// How an event goes back to unsignalled.
enum QvantEventReset : DWORD {
    QVANT_RESET_AUTOMATIC = 0,  ///< one wait is let through and resets it
    QVANT_RESET_MANUAL = 1      ///< it stays signalled until somebody resets it
};

/// How a wait ended.
enum QvantEventWait : DWORD {
    QVANT_WAIT_SIGNALLED = 0,
    QVANT_WAIT_TIMED_OUT = 1,
    QVANT_WAIT_CLOSED = 2,  ///< the holding was closed meanwhile
    QVANT_WAIT_FAILED = 3   ///< there is no such holding
};

/// A wait without limit.
inline constexpr DWORD QVANT_WAIT_FOREVER = 0xFFFFFFFFu;

extern "C" {

/// Opens the event of a name, and makes it first if nobody holds it. One that is there keeps its kind and its state.
/// @param pszName     not empty
/// @param nReset      of a new one
/// @param bSignalled  whether a new one begins signalled
/// @param pbExisted   out: whether it was there; may be null
/// @return the holding, to be closed; 0 without a name or without the memory
QVANT_EXPORT QvantNamedEvent QvantCreateNamedEvent(LPCOLESTR pszName, QvantEventReset nReset, BOOL bSignalled,
                                                   BOOL* pbExisted);

/// Opens the event of a name.
/// @return the holding, to be closed; 0 when nobody holds the event, or without the memory
QVANT_EXPORT QvantNamedEvent QvantOpenNamedEvent(LPCOLESTR pszName);

/// Signals the event. All who wait for one that is reset by hand go on, even if it is reset at once.
/// @return FALSE when there is no such holding
QVANT_EXPORT BOOL QvantSetNamedEvent(QvantNamedEvent hEvent);

/// Makes the event unsignalled. @return FALSE when there is no such holding
QVANT_EXPORT BOOL QvantResetNamedEvent(QvantNamedEvent hEvent);

/// Waits until the event is signalled. Closing the holding ends the wait.
/// @param nMilliseconds  0 looks only; `QVANT_WAIT_FOREVER` waits without limit
QVANT_EXPORT QvantEventWait QvantWaitNamedEvent(QvantNamedEvent hEvent, DWORD nMilliseconds);

/// Waits until the event has been signalled more often than a number of times. It looks on: whoever waits for the event
/// isn't touched by it, and no signal is missed, be it taken or reset as soon as it came.
/// @param pnSignals  in: that number; out: how often the event has been signalled since it was made. Not null.
QVANT_EXPORT QvantEventWait QvantWatchNamedEvent(QvantNamedEvent hEvent, ULONGLONG* pnSignals, DWORD nMilliseconds);

/// Gives the holding back and ends its waits. @return FALSE when there is no such holding
QVANT_EXPORT BOOL QvantCloseNamedEvent(QvantNamedEvent hEvent);
}
