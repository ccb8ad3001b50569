/// Asking the URLs of a list in turn, for everything that isn't fetched from the reference-data servers.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>

#include "base/text.h"

namespace qvant {

/// Asks one URL after another, from the one at `nStart` on and wrapping once, until `ask` accepts a reply. A stop of
/// the calling thread ends it before the next URL. Any thread.
///
/// A list joined by "|" is given as `SplitTokens(strUrls, u"|")`.
/// @param ask     called with one URL; returns true to end at this one
/// @param nStart  a start past the end, as a list that has become shorter leaves it, is the first one
/// @return the position of the URL that was accepted; nothing when none was
std::optional<std::size_t> AskInTurn(std::span<const Text> arUrls, const std::function<bool(const Text& strUrl)>& ask,
                                     std::size_t nStart = 0);

}  // namespace qvant
