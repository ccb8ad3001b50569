/// The exchanges whose contracts go by local names.
#pragma once

#include <atomic>

#include "symbols/symbol_grammar.h"

namespace qvant {

/// Empty until the system has started; a first load that is quicker than the start finds none, and names its contracts
/// as those of all other exchanges. Any thread: who reads the set keeps the one that he got.
class CLocalExchanges {
public:
    explicit CLocalExchanges(bool bFilled = false) : m_bFilled(bFilled) {}

    void Fill() noexcept { m_bFilled = true; }

    /// All of them, or none.
    const TextSet& Get() const {
        static const TextSet mapNone;
        static const TextSet mapAll = {u"CFFEX", u"CZCE", u"SHFE", u"DCE", u"INE", u"SSE", u"SZSE"};
        return m_bFilled ? mapAll : mapNone;
    }

private:
    std::atomic<bool> m_bFilled;
};

}  // namespace qvant
