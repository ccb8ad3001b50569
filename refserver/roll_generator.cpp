#include "roll_generator.h"

#include <algorithm>
#include <chrono>
#include <cstddef>

#include "price_walk.h"
#include "world_date.h"

namespace qvant::refserver {

namespace {

using std::chrono::Friday;
using std::chrono::months;

constexpr int PastMonths = 37;
constexpr std::size_t StocksOfAnEvent = 20;

std::string MakeMonth(std::chrono::year_month month) {
    return std::to_string(static_cast<int>(month.year()) * 100 + static_cast<int>(unsigned{month.month()}));
}

std::string MakeDate(Day day) { return std::to_string(ToNumber(day)); }

/// An amount of whole cents.
std::string MakeAmount(std::size_t nCents) {
    const std::string strCents = std::to_string(nCents % 100);
    return std::to_string(nCents / 100) + (strCents.size() < 2 ? ".0" : ".") + strCents;
}

std::string MakePercent(std::size_t nPercent) { return std::to_string(nPercent) + "%"; }

/// The one calendar that all products of an exchange share.
void AddCalendar(CGeneratedFile& file) {
    // A month gives way on the Tuesday before the Friday on which it expires.
    constexpr auto Lead = std::chrono::days(3);
    file.Begin("Calendars");
    file.Begin("months");
    file.Begin("rolls");
    for (int n = 0; n < PastMonths; ++n) {
        const auto month = FirstListedMonth - months(n);
        file.Add(MakeDate(Day((month - months(1)) / Friday[3]) - Lead), MakeMonth(month));
    }
    file.End();
    file.Begin("expired");
    for (int n = 1; n < PastMonths; ++n) {
        const auto month = FirstListedMonth - months(n);
        file.Add(MakeMonth(month), MakeDate(Day(month / Friday[3])));
    }
    file.End();
    file.End();
    file.End();
}

void AddStockEvents(CGeneratedFile& file, const std::string& strKey, CDice& dice) {
    using namespace std::chrono_literals;
    file.Begin(strKey);
    for (const auto year : {2024y, 2025y, 2026y}) {
        const auto nMonth = static_cast<unsigned>(5 + dice.Roll(3));
        const auto nWeek = static_cast<unsigned>(1 + dice.Roll(4));
        const Day day(year / std::chrono::month(nMonth) / Friday[nWeek]);
        const std::size_t nClose = 500 + dice.Roll(9500);
        file.Begin(MakeDate(day));
        file.Add("close", MakeAmount(nClose));
        file.Add("cash", MakeAmount(nClose * (1 + dice.Roll(4)) / 100));
        if (dice.Roll(6) == 0) file.Add("shares", MakeAmount(10 * (1 + dice.Roll(10))));
        file.End();
    }
    file.End();
}

}  // namespace

CRollsWriter::CRollsWriter(const GenerateOptions& options, const std::string& strExchange)
    : m_pRolls(std::make_unique<CGeneratedFile>(options.out / "rolls" / (strExchange + ".json"))),
      m_pBars(std::make_unique<CGeneratedFile>(options.out / "bars" / (strExchange + ".json"))),
      m_dice(options.nSeed ^ Hash(strExchange)) {
    AddCalendar(*m_pRolls);
    m_pBars->Begin("Days");
    m_pBars->Add("first", "20231101");
    m_pBars->Add("last", "20261120");
    m_pBars->Add("ends", "0500+1");
    m_pBars->End();
}

void CRollsWriter::AddProduct(const std::string& strKey) {
    m_pRolls->Add(strKey, "months");
    if (!strKey.starts_with("QV.F.")) return;
    m_pBars->Begin(strKey);
    m_pBars->Add("close", MakeAmount(1000 + m_dice.Roll(999'000)));
    m_pBars->Add("tick", "0.01");
    m_pBars->Add("swing", MakePercent(5 + m_dice.Roll(35)));
    m_pBars->Add("carry", MakePercent(1 + m_dice.Roll(7)));
    m_pBars->End();
}

void CRollsWriter::Finish() {
    m_pRolls->Finish();
    m_pBars->Finish();
}

void GenerateStockEvents(const GenerateOptions& options) {
    CDice dice(options.nSeed);
    for (std::size_t n = 0; n < StockExchanges.size(); ++n) {
        const auto& row = StockExchanges[n];
        const auto nStocks = ShareOf(options.nContracts - options.nProducts, n, StockExchanges.size());
        if (nStocks == 0) continue;
        const auto pFile =
            std::make_unique<CGeneratedFile>(options.out / "factors" / (std::string(row.pCode) + ".json"));
        for (std::size_t nStock = 0; nStock < nStocks; nStock += StocksOfAnEvent) {
            AddStockEvents(*pFile, std::string("QV.S.").append(row.pCode).append(".").append(StockCode(row, nStock)),
                           dice);
        }
        pFile->Finish();
    }
}

}  // namespace qvant::refserver
