/// The form in which history goes out.
#pragma once

#include <string>
#include <string_view>

namespace qvant::refserver {

/// What a reply repeats of its request.
struct HistoryHead {
    std::string strService;
    std::string strCommand;
    std::string strId;
};

/// "B" and a BSON document: the head as "s", "c" and "r", and in "d" as "gzip" a marker byte and the text made small.
/// @param pText  null: "d" is empty, since there is nothing to give
/// @throw std::runtime_error  the document would be too large
std::string PackHistory(const HistoryHead& head, const std::string* pText);

}  // namespace qvant::refserver
