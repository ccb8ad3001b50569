#include "holds.h"

#include <pthread.h>

#include "failure.h"

namespace qvant::host {

void CHolds::Hold(TextView strName) {
    auto& pHold = m_mapHolds[Text(strName)];
    if (pHold) return;
    try {
        pHold = std::make_unique<CHold>(m_log, strName);
    } catch (...) {
        m_mapHolds.erase(Text(strName));
        throw;
    }
}

/// An event that isn't there yet is made as the service makes it: reset by hand.
CHolds::CHold::CHold(CEventLog& log, TextView strName)
    : m_log(log),
      m_strName(strName),
      m_hEvent(QvantCreateNamedEvent(m_strName.c_str(), QVANT_RESET_MANUAL, FALSE, nullptr)) {
    if (m_hEvent == 0) throw CFailure("can't hold the event " + Quote(strName));
    QvantWatchNamedEvent(m_hEvent, &m_nShown, 0);
    try {
        m_thread = std::thread([this] { Watch(); });
    } catch (...) {
        QvantCloseNamedEvent(m_hEvent);
        throw;
    }
    pthread_setname_np(m_thread.native_handle(), "hold");
}

/// Closing ends the thread; what was signalled before, and it hadn't come to, is shown here.
CHolds::CHold::~CHold() {
    ULONGLONG nSignals = 0;
    QvantWatchNamedEvent(m_hEvent, &nSignals, 0);
    QvantCloseNamedEvent(m_hEvent);
    m_thread.join();
    ShowUpTo(nSignals);
}

void CHolds::CHold::Watch() {
    ULONGLONG nSignals = m_nShown;
    while (QvantWatchNamedEvent(m_hEvent, &nSignals, QVANT_WAIT_FOREVER) == QVANT_WAIT_SIGNALLED) ShowUpTo(nSignals);
}

void CHolds::CHold::ShowUpTo(ULONGLONG nSignals) {
    for (; m_nShown < nSignals; ++m_nShown) m_log.Add(kind::NAMED_EVENT, {{"name", m_strName}});
}

}  // namespace qvant::host
