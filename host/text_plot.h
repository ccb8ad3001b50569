/// A plot in the letters of a terminal.
#pragma once

#include "plot.h"

namespace qvant::host {

/// Draws the steps as one line of box characters, with a title and both axes.
/// @param nWidth   columns of the terminal; the drawing takes at least 40 and at most 400
/// @param nHeight  rows of the line itself
std::vector<Text> DrawText(const Plot& plot, std::size_t nWidth, std::size_t nHeight);

}  // namespace qvant::host
