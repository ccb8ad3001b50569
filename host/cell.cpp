#include "cell.h"

#include <unicode/uchar.h>
#include <unicode/utf16.h>

namespace qvant::host {

namespace {

bool IsWide(UChar32 nPoint) {
    const int nWidth = u_getIntPropertyValue(nPoint, UCHAR_EAST_ASIAN_WIDTH);
    return nWidth == U_EA_FULLWIDTH || nWidth == U_EA_WIDE;
}

}  // namespace

Cell MakeCell(TextView strText, std::size_t nLimit) {
    Text strShown;
    Cell cell;
    for (std::size_t i = 0; i < strText.size();) {
        UChar32 nPoint = 0;
        U16_NEXT_OR_FFFD(strText.data(), i, strText.size(), nPoint);
        if (u_iscntrl(nPoint)) nPoint = ' ';
        const std::size_t nWidth = IsWide(nPoint) ? 2 : 1;
        if (cell.nWidth + nWidth > nLimit) {
            strShown += u'\u2026';
            ++cell.nWidth;
            break;
        }
        cell.nWidth += nWidth;
        if (nPoint > 0xFFFF) strShown += static_cast<char16_t>(U16_LEAD(nPoint));
        strShown += static_cast<char16_t>(nPoint > 0xFFFF ? U16_TRAIL(nPoint) : nPoint);
    }
    cell.strText = Narrow(strShown);
    return cell;
}

}  // namespace qvant::host
