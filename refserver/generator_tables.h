/// What all parts of a generated world share: its exchanges, the codes on them, and the dice.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

namespace qvant::refserver {

/// An exchange as the generator knows it: local times, and what its week looks like.
struct ExchangeRow {
    const char* pCode;
    const char* pTimeZone;
    const char* pSessions;
    const char* pWeek;
    const char* pReset;
    const char* pWeekReset;
    const char* pSettlement;
    const char* pSpecialDay;  // empty: none
};

inline constexpr std::array<ExchangeRow, 14> FuturesExchanges = {{
    {"CME", "America/Chicago", "17:00~16:00", "1700-1600:7", "16:45", "1645:7", "15:00", "20261127:1700-1215"},
    {"CBOT", "America/Chicago", "19:00~07:45;08:30~13:20", "1900-0745|0830-1320:7", "18:30", "1830|0800:7", "13:15",
     "20261224:1900-0745,0830-1205"},
    {"NYMEX", "America/New_York", "18:00~17:00", "1800-1700:7", "17:45", "1745:7", "14:30", "20261127:1800-1345"},
    {"BMF", "America/Sao_Paulo", "09:00~18:25", "0900-1825:1", "08:30", "0830:1", "18:00", "20260218:1300-1825"},
    {"ICEEU", "Europe/London", "01:00~23:00", "0100-2300:1", "00:30", "0030:1", "19:30", "20261224:0100-2000"},
    {"EUREX", "Europe/Berlin", "01:10~22:00", "0110-2200:1", "00:45", "0045:1", "17:30", ""},
    {"EURONEXT", "Europe/Paris", "08:00~22:00", "0800-2200:1", "07:30", "0730:1", "17:30", "20261224:0800-1405"},
    {"HKF", "Asia/Hong_Kong", "09:15~12:00;13:00~16:30;17:15~03:00", "0915-1200|1300-1630|1715-0300:1", "08:45",
     "0845:1", "16:30", "20261224:0915-1230"},
    {"SGX", "Asia/Singapore", "09:00~16:30;17:00~05:15", "0900-1630|1700-0515:1", "07:00", "0700:1", "16:30", ""},
    {"OSE", "Asia/Tokyo", "08:45~15:45;17:00~06:00", "0845-1545|1700-0600:1", "08:00", "0800|1630:1", "15:45", ""},
    {"TWF", "Asia/Taipei", "08:45~13:45;15:00~05:00", "0845-1345|1500-0500:1", "08:30", "0830|1445:1", "13:45", ""},
    {"KRX", "Asia/Seoul", "08:45~15:45;18:00~06:00", "0845-1545|1800-0600:1", "08:15", "0815|1730:1", "15:45",
     "20261119:0945-1645,1800-0600"},
    {"SHFE", "Asia/Shanghai", "21:00~01:00;09:00~10:15;10:30~11:30;13:30~15:00",
     "2100-0100|0900-1015|1030-1130|1330-1500:1", "20:30", "2030:1", "15:00", "20261008:0900-1015,1030-1130,1330-1500"},
    {"ASX", "Australia/Sydney", "09:50~16:30;17:10~07:00", "0950-1630|1710-0700:1", "08:00", "0800|1650:1", "16:30",
     "20261224:0950-1230"},
}};

struct StockExchangeRow {
    const char* pCode;
    const char* pTimeZone;
    const char* pTradeTime;
    const char* pSessions;
    const char* pReset;
    const char* pSettlement;
    unsigned nFirst;
    int nDigits;
};

inline constexpr std::array<StockExchangeRow, 4> StockExchanges = {{
    {"SSE", "Asia/Shanghai", "09:15~09:25;09:30~11:30;13:00~15:00", "09:30~11:30;13:00~15:00", "09:00", "15:00", 600000,
     6},
    {"SZSE", "Asia/Shanghai", "09:15~09:25;09:30~11:30;13:00~15:00", "09:30~11:30;13:00~15:00", "09:00", "15:00", 1, 6},
    {"TSE", "Asia/Tokyo", "08:00~11:30;12:05~15:30", "09:00~11:30;12:30~15:30", "07:30", "15:30", 1301, 4},
    {"TWSE", "Asia/Taipei", "08:30~13:30", "09:00~13:30", "08:00", "13:30", 1101, 4},
}};

/// The nearest month of every product.
inline constexpr auto FirstListedMonth = std::chrono::year(2026) / std::chrono::December;

/// AA, AB, ... ZZ, BAA, ...: the code of an exchange's product, counted from 0. Every fourth product is the option on
/// the future before it, under the same code.
std::string ProductCode(std::size_t nNumber);
inline bool IsOptionProduct(std::size_t nNumber) { return nNumber % 4 == 3; }

std::string StockCode(const StockExchangeRow& row, std::size_t nNumber);

/// The part of `nCount` that falls to the position in a table, the first ones taking what doesn't divide.
inline std::size_t ShareOf(std::size_t nCount, std::size_t nPosition, std::size_t nPositions) {
    return nCount / nPositions + (nPosition < nCount % nPositions ? 1 : 0);
}

/// Numbers that follow from the seed alone, the same with every standard library.
class CDice {
public:
    explicit CDice(std::uint64_t nSeed) : m_engine(nSeed) {}
    std::size_t Roll(std::size_t nSides) { return static_cast<std::size_t>(m_engine() % nSides); }

    template <typename Table>
    const auto& Pick(const Table& table) {
        return table[Roll(table.size())];
    }

private:
    std::mt19937_64 m_engine;
};

}  // namespace qvant::refserver
