#include "documents/holiday_text.h"

#include <algorithm>

#include "base/token_view.h"

namespace qvant {

namespace {

constexpr TextView LINE_END = u"\r\n";

/// Cuts the first line off. A CR or LF that stands alone is part of its line.
TextView CutLine(TextView& strText) {
    const std::size_t nEnd = strText.find(LINE_END);
    const TextView strLine = strText.substr(0, nEnd);
    strText.remove_prefix(nEnd == TextView::npos ? strText.size() : nEnd + LINE_END.size());
    return strLine;
}

}  // namespace

bool ForEachHoliday(TextView strText, const std::function<bool(const HolidayRow& row)>& visit) {
    Text strExchanges;  // its memory serves all rows
    while (!strText.empty()) {
        TextView strLine = CutLine(strText);
        if (strLine.find(u'#') != TextView::npos) continue;
        HolidayRow row;
        bool bMore = false;
        row.strDate = CutPiece(strLine, u'\t', &bMore);
        if (bMore) row.strType = CutPiece(strLine, u'\t', &bMore);
        if (!bMore) continue;
        strExchanges = CutPiece(strLine, u'\t');
        std::replace(strExchanges.begin(), strExchanges.end(), u',', u'|');
        row.strExchanges = strExchanges;
        if (!visit(row)) return false;
    }
    return true;
}

}  // namespace qvant
