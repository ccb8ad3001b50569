#include "contract_generator.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

#include "generator_file.h"
#include "generator_tables.h"
#include "roll_generator.h"

namespace qvant::refserver {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t FutureMonths = 12;
constexpr std::size_t MostFutureMonths = 600;
constexpr std::size_t OptionMonths = 6;
constexpr std::size_t MostStrikes = 1'000'000;
constexpr std::size_t StrikeStep = 5;

/// How the contracts are shared out: months to the futures, pairs of a call and a put to the options.
struct Plan {
    std::size_t nFutures = 0;  // products
    std::size_t nOptions = 0;
    std::size_t nMonths = 0;  // contracts of all futures
    std::size_t nPairs = 0;   // of all options
};

Plan MakePlan(const GenerateOptions& options) {
    Plan plan;
    for (std::size_t n = 0; n < FuturesExchanges.size(); ++n) {
        const auto nShare = ShareOf(options.nProducts, n, FuturesExchanges.size());
        plan.nOptions += nShare / 4;
        plan.nFutures += nShare - nShare / 4;
    }
    plan.nMonths = plan.nOptions == 0 ? options.nListed : std::min(options.nListed, FutureMonths * plan.nFutures);
    // Strikes come in pairs, so what is left for them is even.
    if ((options.nListed - plan.nMonths) % 2 != 0) --plan.nMonths;
    plan.nPairs = (options.nListed - plan.nMonths) / 2;
    if (plan.nMonths > MostFutureMonths * plan.nFutures || plan.nPairs > OptionMonths * MostStrikes * plan.nOptions) {
        throw std::runtime_error("generate: " + std::to_string(options.nListed) + " contracts don't fit on " +
                                 std::to_string(plan.nFutures) + " futures and " + std::to_string(plan.nOptions) +
                                 " options products");
    }
    return plan;
}

std::string FormatMonth(std::chrono::year_month month) {
    char text[16];
    std::snprintf(text, sizeof text, "%04d%02u", static_cast<int>(month.year()), static_cast<unsigned>(month.month()));
    return text;
}

// The third Friday.
std::string FormatExpiry(std::chrono::year_month month) {
    const std::chrono::year_month_day date = std::chrono::sys_days(month / std::chrono::Friday[3]);
    char text[16];
    std::snprintf(text, sizeof text, "%02u", static_cast<unsigned>(date.day()));
    return FormatMonth(month) + text;
}

void AddSeries(CGeneratedFile& file, std::size_t nMonths) {
    file.Begin("series");
    for (std::size_t n = 0; n < nMonths; ++n) {
        const auto month = FirstListedMonth + std::chrono::months(n);
        file.Add(FormatMonth(month), FormatExpiry(month));
    }
    file.End();
}

std::size_t AddOptionSeries(CGeneratedFile& file, CDice& dice, std::size_t nPairs) {
    const std::size_t nFirst = 100 * (1 + dice.Roll(50));
    const std::size_t nMonths = std::min(OptionMonths, nPairs);
    file.Begin("series");
    for (std::size_t n = 0; n < nMonths; ++n) {
        const auto month = FirstListedMonth + std::chrono::months(n);
        const std::size_t nLast = nFirst + StrikeStep * (ShareOf(nPairs, n, nMonths) - 1);
        file.Begin(FormatMonth(month));
        file.Add("expires", FormatExpiry(month));
        file.Add("strikes", std::to_string(nFirst) + ".." + std::to_string(nLast) + "/" + std::to_string(StrikeStep));
        file.End();
    }
    file.End();
    return nMonths;
}

/// Writes the rules of all products, and knows afterwards which exchanges have any.
class CRulesWriter {
public:
    CRulesWriter(const GenerateOptions& options, const Plan& plan)
        : m_options(options), m_plan(plan), m_dice(options.nSeed) {}

    void Write() {
        for (std::size_t n = 0; n < FuturesExchanges.size(); ++n) {
            const auto nShare = ShareOf(m_options.nProducts, n, FuturesExchanges.size());
            if (nShare > 0) WriteExchange(FuturesExchanges[n], nShare);
        }
    }

    const std::set<std::string>& GetExchanges(bool bOptions) const { return bOptions ? m_setOptions : m_setFutures; }

private:
    void WriteExchange(const ExchangeRow& row, std::size_t nProducts) {
        const std::string strCode = row.pCode;
        const auto pFile = std::make_unique<CGeneratedFile>(m_options.out / "contracts" / (strCode + ".json"));
        CRollsWriter rolls(m_options, strCode);
        for (std::size_t n = 0; n < nProducts; ++n) {
            const std::string strTail = strCode + "." + ProductCode(n);
            const bool bOption = IsOptionProduct(n);
            const std::string strKey = (bOption ? "QV.O." : "QV.F.") + strTail;
            if (!(bOption ? AddOption(*pFile, strKey) : AddFuture(*pFile, strKey))) continue;
            (bOption ? m_setOptions : m_setFutures).insert(strCode);
            rolls.AddProduct(strKey);
        }
        pFile->Finish();
        rolls.Finish();
    }

    bool AddFuture(CGeneratedFile& file, const std::string& strKey) {
        const std::size_t nMonths = ShareOf(m_plan.nMonths, m_nFuture++, m_plan.nFutures);
        if (nMonths == 0) return false;
        file.Begin(strKey);
        AddSeries(file, nMonths);
        AddRest(file, nMonths, true);
        return true;
    }

    bool AddOption(CGeneratedFile& file, const std::string& strKey) {
        const std::size_t nPairs = ShareOf(m_plan.nPairs, m_nOption++, m_plan.nOptions);
        if (nPairs == 0) return false;
        file.Begin(strKey);
        const std::size_t nMonths = AddOptionSeries(file, m_dice, nPairs);
        file.AddNumber("instrument", m_nInstrument);
        m_nInstrument += 2 * nPairs;
        AddRest(file, nMonths, false);
        return true;
    }

    void AddRest(CGeneratedFile& file, std::size_t nMonths, bool bLongMargin) {
        const std::string strMargin = std::to_string(5 + m_dice.Roll(16)) + "%";
        file.Add("hot", FormatMonth(FirstListedMonth));
        if (nMonths > 1) file.Add("hot2", FormatMonth(FirstListedMonth + std::chrono::months(1)));
        file.Add("long", bLongMargin ? strMargin : "0");
        file.Add("short", strMargin);
        file.End();
    }

    const GenerateOptions& m_options;
    const Plan& m_plan;
    CDice m_dice;
    std::size_t m_nFuture = 0;
    std::size_t m_nOption = 0;
    std::uint64_t m_nInstrument = 10'000'001;
    std::set<std::string> m_setFutures;
    std::set<std::string> m_setOptions;
};

void WriteProductTree(const fs::path& folder, const std::string& strName, const char* pEnglish,
                      const std::string& strClass, const std::set<std::string>& setExchanges) {
    const auto pFile = std::make_unique<CGeneratedFile>(folder / (strName + ".json"));
    pFile->Add("ENG", pEnglish);
    pFile->BeginArray("Node");
    for (const bool bHot : {true, false}) {
        if (setExchanges.empty()) break;
        pFile->BeginItem();
        pFile->Add("ENG", bHot ? "HOT" : "Exchanges");
        pFile->BeginArray("Node");
        for (const auto& strExchange : setExchanges) {
            pFile->BeginItem();
            pFile->Add("ENG", strExchange);
            pFile->AddList(bHot ? "Products" : "EachProduct", strClass + strExchange + ".");
            if (bHot) pFile->Add("Series", "hot");
            pFile->End();
        }
        pFile->EndArray();
        pFile->End();
    }
    pFile->EndArray();
    pFile->Finish();
}

/// Calls `call(row, number of its stocks)` for each stock exchange that has any.
template <typename Call>
void ForEachStockExchange(const GenerateOptions& options, const Call& call) {
    for (std::size_t n = 0; n < StockExchanges.size(); ++n) {
        const auto nShare = ShareOf(options.nContracts - options.nProducts, n, StockExchanges.size());
        if (nShare > 0) call(StockExchanges[n], nShare);
    }
}

void WriteStockTree(const fs::path& folder, const GenerateOptions& options) {
    const auto pFile = std::make_unique<CGeneratedFile>(folder / "STOCKS.json");
    pFile->Add("ENG", "Stocks");
    pFile->BeginArray("Node");
    pFile->BeginItem();
    pFile->Add("ENG", "Exchanges");
    pFile->BeginArray("Node");
    ForEachStockExchange(options, [&](const StockExchangeRow& row, std::size_t) {
        pFile->BeginItem();
        pFile->Add("ENG", row.pCode);
        pFile->AddList("Securities", "QV.S." + std::string(row.pCode) + ".");
        pFile->End();
    });
    pFile->EndArray();
    pFile->End();
    pFile->EndArray();
    pFile->Finish();
}

void AddShanghaiStock(CGeneratedFile& file, const std::string& strCode, const std::string& strLimit) {
    file.BeginItem();
    file.Add("0", strCode);
    file.Add("8", "ASH");
    for (const char* pLot : {"15", "16", "17"}) file.Add(pLot, "100");
    file.Add("18", strLimit);
    file.End();
}

void AddShenzhenStock(CGeneratedFile& file, const std::string& strCode, std::size_t nLimit) {
    file.BeginItem();
    file.Add("SecurityID", strCode);
    file.Add("SecurityIDSource", "102");
    file.AddNumber("BuyQtyUpperLimit", nLimit);
    file.AddNumber("SellQtyUpperLimit", nLimit);
    file.AddNumber("BuyQtyUnit", 100);
    file.AddNumber("SellQtyUnit", 1);
    file.End();
}

void WriteShanghai(const fs::path& file, const StockExchangeRow& row, std::size_t nStocks, CDice& dice) {
    const auto pFile = std::make_unique<CGeneratedFile>(file);
    pFile->BeginArray("cpxx");
    for (std::size_t n = 0; n < nStocks; ++n) {
        AddShanghaiStock(*pFile, StockCode(row, n), std::to_string(100'000 * (1 + dice.Roll(10))));
    }
    pFile->EndArray();
    pFile->Finish();
}

void WriteShenzhen(const fs::path& file, const StockExchangeRow& row, std::size_t nStocks, CDice& dice) {
    const auto pFile = std::make_unique<CGeneratedFile>(file);
    pFile->BeginArray("cashauctionparams");
    for (std::size_t n = 0; n < nStocks; ++n) {
        AddShenzhenStock(*pFile, StockCode(row, n), 100'000 * (1 + dice.Roll(10)));
    }
    pFile->EndArray();
    pFile->BeginArray("securities");
    for (std::size_t n = 0; n < nStocks; ++n) {
        pFile->BeginItem();
        pFile->Add("SecurityID", StockCode(row, n));
        pFile->End();
    }
    pFile->EndArray();
    pFile->Finish();
}

void WriteStockInfo(const fs::path& folder, const GenerateOptions& options) {
    CDice dice(options.nSeed);
    ForEachStockExchange(options, [&](const StockExchangeRow& row, std::size_t nStocks) {
        const std::string_view code = row.pCode;
        if (code == "SSE") WriteShanghai(folder / "sse.json", row, nStocks, dice);
        if (code == "SZSE") WriteShenzhen(folder / "szse.json", row, nStocks, dice);
    });
}

void WritePermissions(const fs::path& file) {
    const auto pFile = std::make_unique<CGeneratedFile>(file);
    pFile->Begin("TWN");
    pFile->Begin("NORTHGATE");
    for (const auto& row : FuturesExchanges) pFile->AddNumber(row.pCode, 1);
    pFile->End();
    pFile->Begin("EASTERN");
    for (const auto& row : StockExchanges) pFile->AddNumber(row.pCode, 1);
    pFile->End();
    pFile->End();
    pFile->Finish();
}

}  // namespace

void GenerateContracts(const GenerateOptions& options) {
    const Plan plan = MakePlan(options);
    for (const char* pFolder : {"contracts", "classifications", "stkinfo", "rolls", "bars", "factors"})
        fs::create_directories(options.out / pFolder);
    CRulesWriter rules(options, plan);
    rules.Write();
    const fs::path classifications = options.out / "classifications";
    WriteProductTree(classifications, "FUTURES", "Futures", "QV.F.", rules.GetExchanges(false));
    WriteProductTree(classifications, "OPTIONS", "Options", "QV.O.", rules.GetExchanges(true));
    WriteStockTree(classifications, options);
    WriteStockInfo(options.out / "stkinfo", options);
    GenerateStockEvents(options);
    WritePermissions(options.out / "permissions.json");
}

}  // namespace qvant::refserver
