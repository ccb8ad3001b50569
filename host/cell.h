/// Text as it stands in the columns of a terminal.
#pragma once

#include <string>

#include "text.h"

namespace qvant::host {

/// One line of text, cut to a number of columns, and the columns that it takes.
struct Cell {
    std::string strText;
    std::size_t nWidth = 0;
};

/// Control characters become blanks: what a module logs must not move the person's cursor.
/// @param nLimit  columns that the text may take; a longer one gets an ellipsis behind them
Cell MakeCell(TextView strText, std::size_t nLimit);

}  // namespace qvant::host
