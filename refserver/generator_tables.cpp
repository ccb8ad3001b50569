#include "generator_tables.h"

namespace qvant::refserver {

std::string ProductCode(std::size_t nNumber) {
    if (IsOptionProduct(nNumber)) --nNumber;
    std::string strCode;
    for (; nNumber > 0 || strCode.size() < 2; nNumber /= 26) {
        strCode.insert(strCode.begin(), static_cast<char>('A' + nNumber % 26));
    }
    return strCode;
}

std::string StockCode(const StockExchangeRow& row, std::size_t nNumber) {
    const std::string strDigits = std::to_string(row.nFirst + nNumber);
    const auto nWidth = static_cast<std::size_t>(row.nDigits);
    return std::string(strDigits.size() < nWidth ? nWidth - strDigits.size() : 0, '0') + strDigits;
}

}  // namespace qvant::refserver
