/// The servers of rolls, expiry dates and history, which a sign-in names.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "base/mutex.h"
#include "base/text.h"

namespace qvant {

/// Three lists of base URLs, each asked from its first entry or from the one that answered last (`AskInTurn`). Any
/// thread: those who ask do so on threads of their own while somebody signs in.
class CRollServers {
public:
    enum class List { HotChange, Expire, History };

    /// Appends the URLs of a text that joins them by "|". Nothing ever empties a list: signing in twice leaves every
    /// URL twice.
    void Append(List list, TextView strUrls);

    /// The URLs as they stand.
    std::vector<Text> Get(List list) const;

private:
    static constexpr std::size_t LISTS = 3;

    mutable CMutex m_mutex;
    std::array<std::vector<Text>, LISTS> m_arLists QV_GUARDED_BY(m_mutex);
};

}  // namespace qvant
