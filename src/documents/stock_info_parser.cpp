#include "documents/stock_info_parser.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "base/format.h"
#include "base/numbers.h"
#include "documents/reply_text.h"

namespace qvant {

namespace {

constexpr std::int32_t LEAST = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t MOST = std::numeric_limits<std::int32_t>::max();

/// The product classes of Shanghai whose quantities are told in tens.
constexpr TextView CLASSES_IN_TENS[] = {u"ORP", u"BRP", u"CRP", u"OBD", u"CBD", u"CPF",
                                        u"CCF", u"CBF", u"DVP", u"DST", u"GBZ", u"GBF"};

/// The stock whose lots are written to the log whenever they are read. Those who watch the feed look for this line.
constexpr TextView TRACED_SYMBOL = u"QV.S.SSE.588100";

/// A number, or a text in its place; nothing for any other value.
std::optional<std::int32_t> ReadNumber(const JsonValue& value) {
    if (value.IsString()) return ToInt(GetText(value));
    if (value.IsInt()) return value.GetInt();
    if (!value.IsNumber()) return std::nullopt;
    return static_cast<std::int32_t>(
        std::clamp(value.GetDouble(), static_cast<double>(LEAST), static_cast<double>(MOST)));
}

/// Takes a member over when it holds a number; otherwise what the element before it left stands.
void TakeNumber(const JsonValue& value, std::int32_t& nNumber) { nNumber = ReadNumber(value).value_or(nNumber); }

/// Ten times the number, or the number; what doesn't fit wraps as 32-bit numbers do.
std::int32_t Multiply(std::int32_t nNumber, std::uint32_t nFactor) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(nNumber) * nFactor);
}

/// Most feeds list their stocks in order, so that a new one goes to the end.
void Store(StockLimitMap& mapLimits, Text strSymbol, const StockLimits& limits) {
    mapLimits.insert_or_assign(mapLimits.end(), std::move(strSymbol), limits);
}

/// The elements of a Shanghai document.
///
/// Numbers live as long as the document: one that an element lacks is that of the element before, as the feed told it
/// there, whatever the product class of either.
class CShanghaiReader {
public:
    CShanghaiReader(StockLimitMap& mapLimits, IHost& host) : m_mapLimits(mapLimits), m_host(host) {}

    void Read(const JsonValue& element) {
        if (!element.IsObject()) return;
        Text strId;
        TextView strClass;
        for (auto pMember = element.MemberBegin(); pMember != element.MemberEnd(); ++pMember) {
            const TextView strName = GetText(pMember->name);
            if (strName == u"0") {
                strId = RenderName(pMember->value).value_or(Text());
            } else if (strName == u"8") {
                strClass = pMember->value.IsString() ? GetText(pMember->value) : TextView();
            } else {
                ReadQuantity(strName, pMember->value);
            }
        }
        if (!strId.empty()) StoreStock(u"QV.S.SSE." + strId, strClass);
    }

private:
    void ReadQuantity(TextView strName, const JsonValue& value) {
        if (strName == u"18") TakeNumber(value, m_nUpperLimit);
        if (strName == u"15") TakeNumber(value, m_nBuyUnit);
        if (strName == u"16") TakeNumber(value, m_nSellUnit);
        if (strName == u"17") TakeNumber(value, m_nLowerLimit);
    }

    void StoreStock(Text strSymbol, TextView strClass) {
        const bool bInTens =
            std::find(std::begin(CLASSES_IN_TENS), std::end(CLASSES_IN_TENS), strClass) != std::end(CLASSES_IN_TENS);
        const std::uint32_t nFactor = bInTens ? 10 : 1;
        StockLimits limits;
        limits.BuyQtyUpperLimit = limits.SellQtyUpperLimit = Multiply(m_nUpperLimit, nFactor);
        limits.BuyQtyUnit = Multiply(m_nBuyUnit, nFactor);
        limits.SellQtyUnit = Multiply(m_nSellUnit, nFactor);
        const std::int32_t nLowerLimit = Multiply(m_nLowerLimit, nFactor);
        // An order below the lower limit is no order, so a lot below it can't be right. The exchange's word counts.
        if (nLowerLimit > limits.BuyQtyUnit || nLowerLimit > limits.SellQtyUnit)
            m_host.LogMessage(u"strSecurityIDSource error-" + strSymbol);
        if (strSymbol == TRACED_SYMBOL) {
            m_host.LogMessage(Format(u"strSecurityIDSource:%s, lBuyUnit=%d, lSellUnit=%d", strSymbol, limits.BuyQtyUnit,
                                     limits.SellQtyUnit));
        }
        Store(m_mapLimits, std::move(strSymbol), limits);
    }

    StockLimitMap& m_mapLimits;
    IHost& m_host;
    std::int32_t m_nUpperLimit = 0;
    std::int32_t m_nBuyUnit = 0;
    std::int32_t m_nSellUnit = 0;
    std::int32_t m_nLowerLimit = 0;
};

Text MakeShenzhenSymbol(const JsonValue& element) {
    const JsonValue* pId = FindMember(element, u"SecurityID");
    const auto strId = pId ? RenderName(*pId) : std::nullopt;
    return strId && !strId->empty() ? u"QV.S.SZSE." + *strId : Text();
}

/// As in Shanghai, a number that is left out is that of the element before; only the maturity starts anew.
void ReadShenzhen(const JsonValue& document, StockLimitMap& mapLimits) {
    StockLimits limits;
    for (auto pElement = document.Begin(); pElement != document.End(); ++pElement) {
        if (!pElement->IsObject()) continue;
        for (auto pMember = pElement->MemberBegin(); pMember != pElement->MemberEnd(); ++pMember) {
            const TextView strName = GetText(pMember->name);
            if (strName == u"BuyQtyUpperLimit") TakeNumber(pMember->value, limits.BuyQtyUpperLimit);
            if (strName == u"SellQtyUpperLimit") TakeNumber(pMember->value, limits.SellQtyUpperLimit);
            if (strName == u"BuyQtyUnit") TakeNumber(pMember->value, limits.BuyQtyUnit);
            if (strName == u"SellQtyUnit") TakeNumber(pMember->value, limits.SellQtyUnit);
        }
        Text strSymbol = MakeShenzhenSymbol(*pElement);
        if (!strSymbol.empty()) Store(mapLimits, std::move(strSymbol), limits);
    }
}

void ReadShenzhenBonds(const JsonValue& document, StockLimitMap& mapLimits) {
    for (auto pElement = document.Begin(); pElement != document.End(); ++pElement) {
        const auto pFound = mapLimits.find(MakeShenzhenSymbol(*pElement));
        if (pFound == mapLimits.end()) continue;
        const JsonValue* pBond = FindMember(*pElement, u"BondParams");
        const JsonValue* pDate = pBond ? FindMember(*pBond, u"MaturityDate") : nullptr;
        if (pDate) TakeNumber(*pDate, pFound->second.MaturityDate);
    }
}

}  // namespace

void ParseJsonStkInofData(const JsonValue& document, TextView strCode, StockLimitMap& mapLimits, IHost& host) {
    if (!document.IsArray()) return;
    host.LogMessage(Format(u"ParseJsonStkInofData:%s(%d)", strCode, document.Size()));
    if (strCode == u"sse") {
        CShanghaiReader reader(mapLimits, host);
        for (auto pElement = document.Begin(); pElement != document.End(); ++pElement) reader.Read(*pElement);
    } else if (strCode == u"szse") {
        ReadShenzhen(document, mapLimits);
    } else if (strCode == u"szse-2") {
        ReadShenzhenBonds(document, mapLimits);
    }
}

}  // namespace qvant
