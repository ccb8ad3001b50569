#include "service/named_signal.h"

#include "qvant/named_event.h"

namespace qvant {

void SignalNamedEvent(const Text& strName) {
    const QvantNamedEvent hEvent = QvantCreateNamedEvent(strName.c_str(), QVANT_RESET_MANUAL, FALSE, nullptr);
    QvantSetNamedEvent(hEvent);
    QvantCloseNamedEvent(hEvent);
}

}  // namespace qvant
