/// The named events that the host holds, and shows whenever they are signalled.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <thread>

#include "event_log.h"
#include "qvant/named_event.h"

namespace qvant::host {

/// Belongs to the host thread; each hold looks at its event on a thread of its own. It only looks on: an event stays as
/// it is for the modules that wait for it.
class CHolds {
public:
    explicit CHolds(CEventLog& log) : m_log(log) {}

    /// Shows the signals of an event from now on. An event that is held already stays so.
    /// @throws CFailure when it can't be opened
    void Hold(TextView strName);

    /// Shows the signals that came before, and holds the event no longer. @return false when it isn't held
    bool Release(TextView strName) { return m_mapHolds.erase(Text(strName)) > 0; }

    /// Ends all holds.
    void Clear() { m_mapHolds.clear(); }

private:
    class CHold {
    public:
        CHold(CEventLog& log, TextView strName);
        CHold(const CHold&) = delete;
        CHold& operator=(const CHold&) = delete;
        ~CHold();

    private:
        void Watch();
        void ShowUpTo(ULONGLONG nSignals);

        CEventLog& m_log;
        const Text m_strName;
        const QvantNamedEvent m_hEvent;
        ULONGLONG m_nShown = 0;  ///< signals; of the thread while it runs
        std::thread m_thread;
    };

    CEventLog& m_log;
    std::map<Text, std::unique_ptr<CHold>> m_mapHolds;
};

}  // namespace qvant::host
