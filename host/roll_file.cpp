#include "roll_file.h"

#include "text_file.h"

namespace qvant::host {

RollFile ParseRollFile(std::string_view strBytes) {
    constexpr std::string_view ARROW = "->";
    RollFile file;
    file.strReset = Widen(TakeLine(strBytes));
    while (!strBytes.empty()) {
        const std::string_view strLine = TakeLine(strBytes);
        const std::size_t nArrow = strLine.find(ARROW);
        if (nArrow == std::string_view::npos) continue;
        Text strDate = Widen(strLine.substr(0, nArrow));
        const auto nDate = ParseInteger(strDate);
        file.arLines.push_back(
            {nDate ? Value(*nDate) : Value(std::move(strDate)), Widen(strLine.substr(nArrow + ARROW.size()))});
    }
    return file;
}

}  // namespace qvant::host
