#include "generator.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

#include "contract_generator.h"
#include "currency_generator.h"
#include "generator_file.h"
#include "generator_tables.h"

namespace qvant::refserver {

namespace {

namespace fs = std::filesystem;

/// A word in the three languages, and the initials of the simplified form.
struct Word {
    const char* pEnglish;
    const char* pTraditional;
    const char* pSimplified;
    const char* pInitials;
};

constexpr std::array<Word, 12> Places = {{{"Eastern", "東方", "东方", "DF"},
                                          {"Northern", "北方", "北方", "BF"},
                                          {"Golden Bay", "金灣", "金湾", "JW"},
                                          {"Long River", "長江", "长江", "CJ"},
                                          {"Blue Sea", "藍海", "蓝海", "LH"},
                                          {"White Cloud", "白雲", "白云", "BY"},
                                          {"New Century", "新世紀", "新世纪", "XSJ"},
                                          {"Great Wall", "長城", "长城", "CC"},
                                          {"Morning Star", "晨星", "晨星", "CX"},
                                          {"Southern", "南方", "南方", "NF"},
                                          {"United", "聯合", "联合", "LH"},
                                          {"Pacific", "太平洋", "太平洋", "TPY"}}};

constexpr std::array<Word, 12> Trades = {{{"Steel", "鋼鐵", "钢铁", "GT"},
                                          {"Energy", "能源", "能源", "NY"},
                                          {"Bank", "銀行", "银行", "YH"},
                                          {"Foods", "食品", "食品", "SP"},
                                          {"Electronics", "電子", "电子", "DZ"},
                                          {"Pharma", "醫藥", "医药", "YY"},
                                          {"Insurance", "保險", "保险", "BX"},
                                          {"Motors", "汽車", "汽车", "QC"},
                                          {"Airlines", "航空", "航空", "HK"},
                                          {"Chemicals", "化工", "化工", "HG"},
                                          {"Property", "地產", "地产", "DC"},
                                          {"Power", "電力", "电力", "DL"}}};

constexpr std::array<const char*, 5> MainTypes = {"Index", "Rates", "Metals", "Energy", "Grain"};

void AddNames(CGeneratedFile& file, CDice& dice, std::size_t nNumber) {
    const Word& place = dice.Pick(Places);
    const Word& trade = dice.Pick(Trades);
    const std::string strNumber = std::to_string(nNumber);
    file.Add("Name.ENG", std::string(place.pEnglish) + " " + trade.pEnglish + " " + strNumber);
    file.Add("Name.CHT", std::string(place.pTraditional) + trade.pTraditional + strNumber);
    file.Add("Name.-CN", std::string(place.pSimplified) + trade.pSimplified + strNumber);
    file.Add("pinyin", std::string(place.pInitials) + trade.pInitials + strNumber);
}

void AddProduct(CGeneratedFile& file, CDice& dice, const ExchangeRow& row, std::size_t nNumber) {
    const bool bOption = IsOptionProduct(nNumber);
    const std::string strTail = std::string(row.pCode) + "." + ProductCode(nNumber);
    file.Begin((bOption ? "QV.O." : "QV.F.") + strTail);
    AddNames(file, dice, nNumber);
    file.Add("securityMainType", dice.Pick(MainTypes));
    file.Add("EXG.NORTHGATE", row.pCode);
    if (dice.Roll(2) == 0) file.Add("EXG.HARBOUR", row.pCode);
    file.Add("Symbol.QVDATA", strTail);
    if (bOption) {
        file.Add("Underlying", "QV.F." + strTail);
        file.Add("Underlying.F", "QV.F." + strTail);
        file.Add("OptionStyle", dice.Roll(2) == 0 ? "American" : "European");
    }
    file.Add("TimeZone", row.pTimeZone);
    file.Add("TradeTime", row.pSessions);
    file.Add("OpenCloseTime", row.pSessions);
    file.Add("NewFormatOCT", row.pWeek);
    if (*row.pSpecialDay != '\0' && dice.Roll(4) == 0) file.Add("SpecificOCT", row.pSpecialDay);
    file.Add("ResetTime", row.pReset);
    file.Add("NewFormatReset", row.pWeekReset);
    file.Add("SettlementTime", row.pSettlement);
    file.End();
}

void AddStock(CGeneratedFile& file, CDice& dice, const StockExchangeRow& row, std::size_t nNumber) {
    const std::string strTail = std::string(row.pCode) + "." + StockCode(row, nNumber);
    file.Begin("QV.S." + strTail);
    AddNames(file, dice, nNumber);
    file.Add("securityMainType", "Stock");
    file.Add("EXG.EASTERN", row.pCode);
    file.Add("Symbol.QVDATA", strTail);
    file.Add("TimeZone", row.pTimeZone);
    file.Add("TradeTime", row.pTradeTime);
    file.Add("OpenCloseTime", row.pSessions);
    file.Add("ResetTime", row.pReset);
    file.Add("SettlementTime", row.pSettlement);
    file.End();
}

/// Writes a file for each row of a table, `nCount` securities shared out among them evenly.
template <typename Table, typename AddOne>
void WriteExchanges(const fs::path& folder, const Table& table, std::size_t nCount, const AddOne& addOne) {
    for (std::size_t n = 0; n < table.size(); ++n) {
        const std::size_t nShare = ShareOf(nCount, n, table.size());
        if (nShare == 0) continue;
        const auto pFile = std::make_unique<CGeneratedFile>(folder / (std::string(table[n].pCode) + ".json"));
        for (std::size_t nNumber = 0; nNumber < nShare; ++nNumber) addOne(*pFile, table[n], nNumber);
        pFile->Finish();
    }
}

void WriteText(const fs::path& file, const std::string& strText) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pFile(std::fopen(file.c_str(), "wb"), &std::fclose);
    if (!pFile || std::fwrite(strText.data(), 1, strText.size(), pFile.get()) != strText.size() ||
        std::fflush(pFile.get()) != 0) {
        throw std::runtime_error(file.string() + ": " + std::strerror(errno));
    }
}

/// New Year's Day everywhere, and two days a month on which some exchanges have a holiday.
std::string MakeHolidays(std::uint64_t nSeed) {
    CDice dice(nSeed);
    std::string strText = "# Holidays of a generated world\r\n";
    for (int nMonth = 1; nMonth <= 24; ++nMonth) {
        const std::string strMonth = std::to_string((2026 + (nMonth - 1) / 12) * 100 + (nMonth - 1) % 12 + 1);
        const std::size_t nFirst = 2 + dice.Roll(13);
        for (const std::size_t nDay : {std::size_t{1}, nFirst, nFirst + 1 + dice.Roll(13)}) {
            const bool bAll = nDay == 1 && nMonth % 12 == 1;
            std::string strExchanges;
            for (const auto& row : FuturesExchanges) {
                if (!bAll && (nDay == 1 || dice.Roll(3) != 0)) continue;
                strExchanges.append(strExchanges.empty() ? "" : ",").append(row.pCode);
            }
            if (strExchanges.empty()) continue;
            strText.append(strMonth).append(nDay < 10 ? "0" : "").append(std::to_string(nDay));
            strText.append("\tH\t").append(strExchanges).append("\r\n");
        }
    }
    return strText;
}

}  // namespace

void GenerateWorld(const GenerateOptions& options) {
    const fs::path securities = options.out / "securities";
    if (fs::exists(options.out / "world.json") || fs::exists(securities)) {
        throw std::runtime_error(options.out.string() + " holds a world already");
    }
    // First, since it refuses what can't be before it has written anything.
    GenerateContracts(options);
    fs::create_directories(securities);
    CDice dice(options.nSeed);
    WriteExchanges(securities, FuturesExchanges, options.nProducts,
                   [&](auto& file, const auto& row, std::size_t n) { AddProduct(file, dice, row, n); });
    WriteExchanges(securities, StockExchanges, options.nContracts - options.nProducts,
                   [&](auto& file, const auto& row, std::size_t n) { AddStock(file, dice, row, n); });
    GenerateCurrencyRates(options);
    WriteText(options.out / "OBHoliday.txt", MakeHolidays(options.nSeed));
    // Last, so that a folder that was cut off in the making isn't taken for a world.
    WriteText(options.out / "world.json",
              "{\n \"version\": \"seed" + std::to_string(options.nSeed) + "\",\n \"broker\": \"QVGENERATED\"\n}\n");
}

}  // namespace qvant::refserver
