/// Holiday texts, row by row.

#include "documents/holiday_text.h"

#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    using namespace qvant;
    using fuzz::Require;
    const Text strText = WidenMarked(fuzz::AsBytes(pData, nSize));
    std::size_t nRows = 0;
    const bool bWhole = ForEachHoliday(strText, [&](const HolidayRow& row) {
        ++nRows;
        for (const TextView strField : {row.strDate, row.strType, row.strExchanges}) {
            Require(!Contains(strField, u"\t") && !Contains(strField, u"\r\n"), "a field of one line");
            Require(!Contains(strField, u"#"), "no row from a comment");
        }
        Require(!Contains(row.strExchanges, u","), "exchanges joined by a bar");
        return true;
    });
    Require(bWhole, "all rows are visited");
    std::size_t nVisits = 0;
    ForEachHoliday(strText, [&nVisits](const HolidayRow&) { return ++nVisits == 0; });
    Require(nVisits == (nRows > 0 ? 1 : 0), "a visit ends the walk");
    return 0;
}
