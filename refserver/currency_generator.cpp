#include "currency_generator.h"

#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "generator_file.h"
#include "generator_tables.h"

namespace qvant::refserver {

namespace {

/// Ten-thousandths: what one dollar buys, and per cent for a year.
struct CurrencyRow {
    const char* pCode;
    std::size_t nRate;
    std::size_t nInterest;
};

constexpr std::array<CurrencyRow, 14> Currencies = {{{"AUD", 15'270, 36'000},
                                                     {"BRL", 53'400, 150'000},
                                                     {"CHF", 8'030, 1'000},
                                                     {"EUR", 8'620, 20'000},
                                                     {"GBP", 7'530, 37'500},
                                                     {"HKD", 77'760, 30'000},
                                                     {"INR", 885'200, 52'500},
                                                     {"JPY", 1'548'200, 5'000},
                                                     {"KRW", 14'523'000, 25'000},
                                                     {"RMB", 70'920, 14'000},
                                                     {"SGD", 12'960, 13'000},
                                                     {"THB", 324'100, 12'500},
                                                     {"TWD", 312'400, 16'250},
                                                     {"USD", 10'000, 38'750}}};

constexpr std::uint64_t Day = 20261120;

/// Within a fiftieth of the number, as text with four decimals.
std::string NearbyRate(CDice& dice, std::size_t nTenThousandths) {
    const std::size_t nSpread = nTenThousandths / 50;
    const std::size_t nRate = nTenThousandths - nSpread + dice.Roll(2 * nSpread + 1);
    char rate[32];
    std::snprintf(rate, sizeof rate, "%zu.%04zu", nRate / 10'000, nRate % 10'000);
    return rate;
}

}  // namespace

void GenerateCurrencyRates(const GenerateOptions& options) {
    CDice dice(options.nSeed);
    const auto pFile = std::make_unique<CGeneratedFile>(options.out / "currency.json");
    pFile->Begin("FX");
    pFile->Begin("USD");
    for (const auto& row : Currencies) {
        if (std::string_view(row.pCode) != "USD") pFile->Add(row.pCode, NearbyRate(dice, row.nRate));
    }
    pFile->End();
    pFile->End();
    pFile->Begin("RF");
    for (const auto& row : Currencies) pFile->Add(row.pCode, NearbyRate(dice, row.nInterest));
    pFile->End();
    pFile->AddNumber("LastVersion", Day);
    pFile->Finish();
}

}  // namespace qvant::refserver
