/// The splitters of dotted symbols, separated lists and key=value lines.
#pragma once

#include <vector>

#include "base/text.h"

namespace qvant {

/// The index-th piece between separators. Empty pieces count; an index past the end gives an empty text.
Text ExtractField(TextView strText, int nIndex, TextView strSeparator);

/// The next token at `nPosition`: skips a run of separators, returns the text up to the next one and moves `nPosition`
/// to one past that. Empty pieces vanish. When nothing is left it returns an empty text and sets `nPosition` to -1.
/// With no separators at all the rest of the text is the token and `nPosition` stays.
/// @param strSeparators  a set of units, each of which separates
Text NextToken(TextView strText, TextView strSeparators, int& nPosition);

/// All tokens of `NextToken`, from the start.
std::vector<Text> SplitTokens(TextView strText, TextView strSeparators);

/// All pieces between separators, empty ones too; an empty text is one empty piece.
std::vector<Text> SplitFields(TextView strText, TextView strSeparator);

/// Joins with `strSeparator` between the pieces.
Text Join(const std::vector<Text>& arPieces, TextView strSeparator);

}  // namespace qvant
