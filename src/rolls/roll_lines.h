/// The lines that definition files and their companions are made of.
#pragma once

#include <optional>

#include "base/token_view.h"

namespace qvant {

/// What stands on both sides of a line's arrow; borrowed.
struct RollLine {
    TextView strLeft;   ///< before the first "-"
    TextView strRight;  ///< behind the first ">"
};

/// Cuts the first line off, with its end ("\n" or "\r\n", which the last line may lack).
inline TextView CutLine(TextView& strText) {
    TextView strLine = CutPiece(strText, u'\n');
    if (strLine.ends_with(u'\r')) strLine.remove_suffix(1);
    return strLine;
}

/// @return nothing for a line without "->"
inline std::optional<RollLine> ReadRollLine(TextView strLine) {
    if (!Contains(strLine, u"->")) return std::nullopt;
    return RollLine{strLine.substr(0, strLine.find(u'-')), strLine.substr(strLine.find(u'>') + 1)};
}

}  // namespace qvant
