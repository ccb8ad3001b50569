#include "rolls/last_bars.h"

#include <charconv>
#include <limits>
#include <unordered_map>
#include <utility>

#include "base/format.h"
#include "model/json_document.h"
#include "net/history_query.h"
#include "platform/stop.h"
#include "rolls/companion_file.h"
#include "rolls/roll_clock.h"
#include "store/variant.h"
#include "symbols/symbol_grammar.h"
#include "symbols/time_base.h"

namespace qvant {

namespace {

constexpr std::size_t CONTRACTS_A_BATCH = 10;

/// A close in units of 1e-10, rounded half away from zero. One beyond 64 bits is none.
std::int64_t ToUnits(double dClose) {
    constexpr double LIMIT = 9223372036854775808.0;
    const double dUnits = dClose * 1e10 + (dClose > 0 ? 0.5 : -0.5);
    return dUnits > -LIMIT && dUnits < LIMIT ? static_cast<std::int64_t>(dUnits) : NO_PRICE;
}

/// The price gap from one month to the next; none when either close is missing or their distance is beyond 64 bits.
std::int64_t Subtract(std::int64_t nNew, std::int64_t nOld) {
    std::int64_t nGap = NO_PRICE;
    if (nNew == NO_PRICE || nOld == NO_PRICE || __builtin_sub_overflow(nNew, nOld, &nGap)) return NO_PRICE;
    return nGap;
}

Text MakeKey(TextView strSymbol, std::int64_t nMoment) { return Format(u"%s_%lld", strSymbol, nMoment); }

void AppendNumber(std::string& strBytes, std::int64_t nNumber) {
    char szDigits[24];
    strBytes.append(szDigits, std::to_chars(szDigits, szDigits + sizeof szDigits, nNumber).ptr);
}

/// The moments that are asked for, contract by contract in the order in which they come up.
class CAskedMoments {
public:
    void Add(const Text& strContract, TextView strMoment) {
        const auto [found, bNew] = m_mapIndex.try_emplace(strContract, m_arContracts.size());
        if (bNew) m_arContracts.emplace_back(strContract, Text());
        Text& strMoments = m_arContracts[found->second].second;
        if (!strMoments.empty()) strMoments.push_back(u',');
        strMoments.append(strMoment);
    }

    /// Contracts and their moments as the request has them, so many in each text.
    std::vector<Text> MakeBatches() const {
        std::vector<Text> arBatches;
        for (std::size_t i = 0; i < m_arContracts.size(); ++i) {
            if (i % CONTRACTS_A_BATCH == 0) {
                arBatches.emplace_back();
            } else {
                arBatches.back().push_back(u',');
            }
            AppendAll(arBatches.back(), {u"\"", m_arContracts[i].first, u"\":[", m_arContracts[i].second, u"]"});
        }
        return arBatches;
    }

private:
    std::vector<std::pair<Text, Text>> m_arContracts;
    std::unordered_map<Text, std::size_t, TextHash, std::equal_to<>> m_mapIndex;
};

}  // namespace

std::int32_t CLastBars::QueryLastK(const UDHMNode* pNode) {
    if (!pNode) return 0;
    const std::int64_t nNow = m_getNow();
    for (const Text& strBatch : MakeBatches(*pNode, nNow)) {
        if (platform::StopRequested()) break;
        QueryBatch(strBatch);
    }
    if (!platform::StopRequested()) WriteCompanion(pNode->companionPath, MakeCompanion(*pNode, nNow));
    if (platform::StopRequested()) return 1;
    m_parts.host.LogMessage(Format(u"QueryLastK End. Symbol=%s.", pNode->title));
    CVariant empty;
    m_parts.host.SendTopic(u"API_UpdateUDHotMonth", 1, 2, pNode->title, &empty);
    return 1;
}

/// A roll counts from the very minute on in which it comes: its bar may be there before the second is.
std::vector<Text> CLastBars::MakeBatches(const UDHMNode& node, std::int64_t nNow) {
    CAskedMoments asked;
    const std::vector<UDHMRoll>& rolls = node.rolls;
    std::size_t nMapped = rolls.size();  // of the roll that strMapped belongs to
    Text strMapped;
    for (std::size_t i = 0; i + 1 < rolls.size() && !platform::StopRequested(); ++i) {
        if (nNow / 100 < rolls[i].dateTime / 100) continue;
        if (nMapped != i) strMapped = m_parts.mapping.QVContractToISymbol(rolls[i].symbol);
        const Text strMoment = Format(u"%lld", ShiftMoment(rolls[i].dateTime, CLOCK_CHINA_OFFSET) / 100);
        asked.Add(strMapped, strMoment);
        strMapped = m_parts.mapping.QVContractToISymbol(rolls[i + 1].symbol);
        nMapped = i + 1;
        asked.Add(strMapped, strMoment);
    }
    return asked.MakeBatches();
}

void CLastBars::QueryBatch(const Text& strBatch) {
    const std::vector<Text> arServers = m_parts.servers.Get(CRollServers::List::History);
    Text strError;  // nobody but the log is told
    HistoryReply reply = QueryHistory({m_parts.host, m_parts.session, arServers, u"DoQueryLastK Fail : ",
                                       [&] {
                                           return Concatenate({u"{\"s\":\"HistoryData\",\"c\":\"lastk\",\"r\":\"",
                                                               m_parts.session.BuildRequestId(u"QueryLastK"),
                                                               u"\",\"d\":{\"s\":{", strBatch, u"}}}"});
                                       }},
                                      strError);
    const std::uint32_t nLength = reply ? reply.nLength : 0;
    ParseLastK(std::move(reply.pBytes), nLength);
}

Text CLastBars::ParseLastK(ReplyBuffer pReply, std::uint32_t nLength) {
    if (nLength < 1) return {};
    JsonDocument document;
    {
        HistoryReply reply{std::move(pReply), nLength};
        const HistoryText text = UnpackHistoryReply(reply.GetBytes());
        reply.pBytes.reset();
        if (platform::StopRequested()) return {};
        if (text.strUtf8.empty()) {
            m_parts.host.LogMessage(u"ParseLastK. Fail. strData=.");
            return {};
        }
        m_parts.host.LogMessage(Widen(text.strUtf8));
        if (!ParseUtf8(document, text.strUtf8)) return {};
    }
    if (const JsonValue* pData = FindMember(document, u"data"); pData && pData->IsArray()) {
        for (const JsonValue& element : pData->GetArray()) KeepBar(element);
    }
    Text strJson;
    AppendJson(strJson, document);
    return strJson;
}

/// One element of a reply: contract, minute in China time, close. An integer is no close: servers write one with its
/// fraction, and what else they mean by a whole number is nobody's to guess.
void CLastBars::KeepBar(const JsonValue& element) {
    constexpr std::int64_t MOST = std::numeric_limits<std::int64_t>::max() / 100;
    const JsonValue* pContract = FindMember(element, u"s");
    if (!pContract || !pContract->IsString()) return;
    const JsonValue* pMinute = FindMember(element, u"dm");
    const JsonValue* pClose = FindMember(element, u"c");
    std::int64_t nMinute = pMinute && pMinute->IsInt64() ? pMinute->GetInt64() : 0;
    if (nMinute < -MOST || nMinute > MOST) nMinute = 0;
    const std::int64_t nMoment = ShiftMoment(nMinute * 100, -CLOCK_CHINA_OFFSET);
    m_mapLastK.SetAt(MakeKey(ISymbolToQVSymbol(Text(GetText(*pContract))), nMoment),
                     pClose && pClose->IsDouble() ? ToUnits(pClose->GetDouble()) : NO_PRICE);
}

std::int64_t CLastBars::GetClose(TextView strSymbol, std::int64_t nMoment) const {
    std::int64_t nClose = NO_PRICE;
    m_mapLastK.Lookup(MakeKey(strSymbol, nMoment), nClose);
    return nClose;
}

/// Text mode: a line ends as the platform's lines do.
std::string CLastBars::MakeCompanion(const UDHMNode& node, std::int64_t nNow) const {
    std::string strBytes = Narrow(COMPANION_WRITE_TIME) + "=";
    AppendNumber(strBytes, FormatLocalTime(node.lastWriteTime));
    strBytes += "\n";
    for (std::size_t i = 0; i + 1 < node.rolls.size(); ++i) {
        const std::int64_t nMoment = node.rolls[i].dateTime;
        AppendNumber(strBytes, nMoment);
        strBytes += "->";
        // To the second, unlike the question.
        const bool bPast = nNow >= nMoment;
        const std::int64_t nGap =
            bPast ? Subtract(GetClose(node.rolls[i + 1].symbol, nMoment), GetClose(node.rolls[i].symbol, nMoment))
                  : NO_PRICE;
        if (nGap != NO_PRICE) AppendNumber(strBytes, nGap);
        strBytes += "\n";
    }
    return strBytes;
}

}  // namespace qvant
