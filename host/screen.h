/// The terminal that standard output goes to.
#pragma once

#include <cstddef>

namespace qvant::host {

/// Its columns; 80 when there is no terminal, or it doesn't tell.
std::size_t TerminalWidth();

}  // namespace qvant::host
