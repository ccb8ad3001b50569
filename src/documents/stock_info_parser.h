/// From a parsed stock-info document to order limits.
#pragma once

#include "model/json_document.h"
#include "model/stock_limits.h"
#include "store/host.h"

namespace qvant {

/// Adds the stocks of one document to the map; a stock that is there already is replaced. What isn't an array adds
/// nothing, and neither does an element that names no stock. Each kind of document has members of its own:
///
/// - "sse": numbers for names, strings for values; in ten times the unit for some product classes.
/// - "szse": the limits by their names.
/// - "szse-2": the maturity dates of bonds, for stocks that are in the map already.
///
/// A number that isn't one of 32 bits becomes the nearest.
/// @param strCode  the kind
void ParseJsonStkInofData(const JsonValue& document, TextView strCode, StockLimitMap& mapLimits, IHost& host);

}  // namespace qvant
