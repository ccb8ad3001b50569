#include "generator.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <string_view>

#include <rapidjson/filewritestream.h>
#include <rapidjson/prettywriter.h>

namespace qvant::refserver {

namespace {

namespace fs = std::filesystem;

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

constexpr std::array<ExchangeRow, 14> FuturesExchanges = {{
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

constexpr std::array<StockExchangeRow, 4> StockExchanges = {{
    {"SSE", "Asia/Shanghai", "09:15~09:25;09:30~11:30;13:00~15:00", "09:30~11:30;13:00~15:00", "09:00", "15:00", 600000,
     6},
    {"SZSE", "Asia/Shanghai", "09:15~09:25;09:30~11:30;13:00~15:00", "09:30~11:30;13:00~15:00", "09:00", "15:00", 1, 6},
    {"TSE", "Asia/Tokyo", "08:00~11:30;12:05~15:30", "09:00~11:30;12:30~15:30", "07:30", "15:30", 1301, 4},
    {"TWSE", "Asia/Taipei", "08:30~13:30", "09:00~13:30", "08:00", "13:30", 1101, 4},
}};

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

/// One file of securities, written as a stream.
class CSecuritiesFile {
public:
    explicit CSecuritiesFile(const fs::path& file)
        : m_strName(file.string()), m_pFile(std::fopen(file.c_str(), "wb"), &std::fclose) {
        if (!m_pFile) Fail();
        m_pStream = std::make_unique<rapidjson::FileWriteStream>(m_pFile.get(), m_block.data(), m_block.size());
        m_writer.Reset(*m_pStream);
        m_writer.SetIndent(' ', 1);
        m_writer.StartObject();
    }

    void Begin(std::string_view key) {
        Key(key);
        m_writer.StartObject();
    }

    void Add(std::string_view name, std::string_view value) {
        Key(name);
        m_writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
    }

    void End() { m_writer.EndObject(); }

    void Finish() {
        m_writer.EndObject();
        m_pStream->Put('\n');
        m_pStream->Flush();
        if (std::ferror(m_pFile.get()) || std::fflush(m_pFile.get()) != 0) Fail();
    }

private:
    void Key(std::string_view name) { m_writer.Key(name.data(), static_cast<rapidjson::SizeType>(name.size())); }
    [[noreturn]] void Fail() const { throw std::runtime_error(m_strName + ": " + std::strerror(errno)); }

    std::string m_strName;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_pFile;
    std::array<char, 262'144> m_block{};
    std::unique_ptr<rapidjson::FileWriteStream> m_pStream;
    rapidjson::PrettyWriter<rapidjson::FileWriteStream> m_writer;
};

// AA, AB, ... ZZ, BAA, ...
std::string ProductCode(std::size_t nNumber) {
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

void AddNames(CSecuritiesFile& file, CDice& dice, std::size_t nNumber) {
    const Word& place = dice.Pick(Places);
    const Word& trade = dice.Pick(Trades);
    const std::string strNumber = std::to_string(nNumber);
    file.Add("Name.ENG", std::string(place.pEnglish) + " " + trade.pEnglish + " " + strNumber);
    file.Add("Name.CHT", std::string(place.pTraditional) + trade.pTraditional + strNumber);
    file.Add("Name.-CN", std::string(place.pSimplified) + trade.pSimplified + strNumber);
    file.Add("pinyin", std::string(place.pInitials) + trade.pInitials + strNumber);
}

void AddProduct(CSecuritiesFile& file, CDice& dice, const ExchangeRow& row, std::size_t nNumber) {
    // Every fourth product is the option on the future before it, under the same code.
    const bool bOption = nNumber % 4 == 3;
    const std::string strCode = ProductCode(bOption ? nNumber - 1 : nNumber);
    const std::string strTail = std::string(row.pCode) + "." + strCode;
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

void AddStock(CSecuritiesFile& file, CDice& dice, const StockExchangeRow& row, std::size_t nNumber) {
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
        const std::size_t nShare = nCount / table.size() + (n < nCount % table.size() ? 1 : 0);
        if (nShare == 0) continue;
        const auto pFile = std::make_unique<CSecuritiesFile>(folder / (std::string(table[n].pCode) + ".json"));
        for (std::size_t nNumber = 0; nNumber < nShare; ++nNumber) addOne(*pFile, table[n], nNumber);
        pFile->Finish();
    }
}

void WriteSettings(const fs::path& file, std::uint64_t nSeed) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pFile(std::fopen(file.c_str(), "wb"), &std::fclose);
    const std::string strText =
        "{\n \"version\": \"seed" + std::to_string(nSeed) + "\",\n \"broker\": \"QVGENERATED\"\n}\n";
    if (!pFile || std::fwrite(strText.data(), 1, strText.size(), pFile.get()) != strText.size() ||
        std::fflush(pFile.get()) != 0) {
        throw std::runtime_error(file.string() + ": " + std::strerror(errno));
    }
}

}  // namespace

void GenerateWorld(const GenerateOptions& options) {
    const fs::path securities = options.out / "securities";
    if (fs::exists(options.out / "world.json") || fs::exists(securities)) {
        throw std::runtime_error(options.out.string() + " holds a world already");
    }
    fs::create_directories(securities);
    CDice dice(options.nSeed);
    WriteExchanges(securities, FuturesExchanges, options.nProducts,
                   [&](auto& file, const auto& row, std::size_t n) { AddProduct(file, dice, row, n); });
    WriteExchanges(securities, StockExchanges, options.nContracts - options.nProducts,
                   [&](auto& file, const auto& row, std::size_t n) { AddStock(file, dice, row, n); });
    // Last, so that a folder that was cut off in the making isn't taken for a world.
    WriteSettings(options.out / "world.json", options.nSeed);
}

}  // namespace qvant::refserver
