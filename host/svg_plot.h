/// A plot as a picture of its own.
#pragma once

#include "plot.h"

namespace qvant::host {

/// An SVG document: title, both axes with their marks, and the steps as one path.
std::string DrawSvg(const Plot& plot);

}  // namespace qvant::host
