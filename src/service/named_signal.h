/// The signal by which an answer reaches a module that waits on a thread of its own.
#pragma once

#include "base/text.h"

namespace qvant {

/// Signals the named event for those who hold it at this moment. With nobody there it is gone again at once, and
/// nothing is lost by that. Any thread.
void SignalNamedEvent(const Text& strName);

}  // namespace qvant
