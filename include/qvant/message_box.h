/// Message boxes of the modules in this process, shown by the host.
#pragma once

#include "qvant/component.h"

extern "C" {

/// Shows one message box. Any thread may be the caller; the texts live for the call.
using QvantMessageBoxSink = void (*)(void* pContext, LPCOLESTR pszTitle, LPCOLESTR pszText);

/// Makes the host's sink the one that shows message boxes; null takes it back. Returns after a running call has ended.
QVANT_EXPORT void QvantSetMessageBoxSink(QvantMessageBoxSink pSink, void* pContext);

/// Hands a message box to the host's sink; without one it becomes a line on standard error.
QVANT_EXPORT void QvantShowMessageBox(LPCOLESTR pszTitle, LPCOLESTR pszText);
}
