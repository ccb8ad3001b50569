#include "stock_events.h"

#include <algorithm>
#include <cmath>

#include "json_file.h"
#include "price.h"

namespace qvant::refserver {

namespace {

namespace fs = std::filesystem;

/// Reads the stocks of one file. Every refusal names the file and the stock.
class CEventsReader {
public:
    explicit CEventsReader(const fs::path& file) : m_file(file) {}

    std::vector<StockEvent> Read(const std::string& strKey, const rapidjson::Value& stock) {
        m_strWhere = m_file.string() + ": \"" + strKey + "\"";
        if (!strKey.starts_with("QV.S.")) Refuse("is no stock, QV.S.");
        if (!stock.IsObject()) Refuse("isn't an object of dates");
        std::vector<StockEvent> arEvents;
        arEvents.reserve(stock.MemberCount());
        for (const auto& event : stock.GetObject()) {
            arEvents.push_back(ReadEvent(ToView(event.name), event.value));
            const auto nCount = arEvents.size();
            if (nCount > 1 && arEvents[nCount - 2].day >= arEvents.back().day) Refuse("has dates out of order");
        }
        return arEvents;
    }

private:
    [[noreturn]] void Refuse(const std::string& strWhy) const { throw CWorldError(m_strWhere + " " + strWhy); }

    StockEvent ReadEvent(std::string_view date, const rapidjson::Value& event) const {
        const auto day = ParseDay(date);
        const std::string strDate = ToJson(date);
        if (!day) Refuse("has the date " + strDate + ", which isn't YYYYMMDD");
        if (!event.IsObject()) Refuse("has on " + strDate + " no object");
        const StockEvent read{*day, ReadAmount(event, "close", strDate), ReadAmount(event, "cash", strDate),
                              ReadAmount(event, "shares", strDate)};
        if (read.dClose <= read.dCash) Refuse("has on " + strDate + " no \"close\" above \"cash\"");
        return read;
    }

    double ReadAmount(const rapidjson::Value& event, const char* pName, const std::string& strDate) const {
        if (!event.HasMember(pName)) return 0;
        const auto amount = ParsePrice(ReadString(event, pName, m_strWhere));
        if (!amount || amount->nUnits < 0) Refuse("has on " + strDate + " no amount as \"" + pName + "\"");
        return amount->ToDouble();
    }

    const fs::path& m_file;
    std::string m_strWhere;
};

}  // namespace

double StockEvent::GetFactor() const {
    constexpr double Millionths = 1e6;
    return std::round((dClose - dCash) / (dClose * (1 + dShares)) * Millionths) / Millionths;
}

void CStockEvents::AddFile(const fs::path& file) {
    const auto root = ReadObject(file);
    CEventsReader reader(file);
    for (const auto& stock : root.GetObject()) {
        const std::string strKey(ToView(stock.name));
        if (!m_mapEvents.emplace(strKey, reader.Read(strKey, stock.value)).second) {
            throw CWorldError(file.string() + ": \"" + strKey + "\" stands twice");
        }
    }
}

const std::vector<StockEvent>* CStockEvents::Find(std::string_view key) const {
    const auto it = m_mapEvents.find(std::string(key));
    return it == m_mapEvents.end() ? nullptr : &it->second;
}

}  // namespace qvant::refserver
