/// The text of one row as an insert gives it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/text.h"

namespace qvant::database {

/// How a values text is split.
struct SValuesForm {
    TextView strBody;       ///< without the ending that names the separator
    TextView strSeparator;  ///< "," unless the ending names another one
};

/// Looks for the ending: "||" and a separator, which has no letter, no digit and nothing beyond ASCII. So "CME||CBOT"
/// is a text like any other.
SValuesForm FindValuesForm(TextView strValues);

/// The pieces of one row after another, in UTF-8; the memory is used again for the next row.
class CRecordValues {
public:
    /// Splits a values text; the pieces live until the next one.
    const std::vector<std::string_view>& Split(TextView strValues);

private:
    template <class Separator>
    void SplitAt(std::string_view strBytes, Separator separator, std::size_t nLength);

    std::string m_strBytes;  ///< longer than the row at hand
    std::vector<std::string_view> m_arPieces;
};

}  // namespace qvant::database
