#include "rolls/rolling_data.h"

#include <cerrno>
#include <exception>
#include <unordered_map>

#include "base/format.h"
#include "net/http_query.h"
#include "net/quote_message.h"
#include "net/url_list.h"
#include "platform/stop.h"
#include "symbols/symbol_fields.h"

namespace qvant {

struct CRollingData::Query {
    TextView strName;      ///< in the log, and the word of its request ids
    TextView strClassEnd;  ///< behind the class in the URL
    std::size_t nDateField;
    CRollServers::List list;
    TextView strListName;  ///< in the log
    RollFileKind file;
    TextView strTopic;
};

constexpr CRollingData::Query CRollingData::HOT_CHANGE{.strName = u"QueryHotChange",
                                                       .strClassEnd = u".HOT",
                                                       .nDateField = 22,
                                                       .list = CRollServers::List::HotChange,
                                                       .strListName = u"m_strHotChangeURL",
                                                       .file = HOT_CHANGE_FILE,
                                                       .strTopic = u"HOTCHANGE.REQUEST"};
constexpr CRollingData::Query CRollingData::EXPIRE_DATE{.strName = u"QueryExpireDate",
                                                        .strClassEnd = u"",
                                                        .nDateField = 104,
                                                        .list = CRollServers::List::Expire,
                                                        .strListName = u"m_strExpireURL",
                                                        .file = EXPIRE_DATE_FILE,
                                                        .strTopic = u"EXPIREDATE.REQUEST"};

namespace {

constexpr std::size_t FIELD_CONTRACT = 14;

/// "%I64d->%s" for each usable line of a reply. A line without the date writes the null.
std::string CollectRolls(std::string_view strReply, std::size_t nDateField) {
    std::string strRolls;
    ForEachQuoteMessage(strReply, [&](const CLum_QuoteMsg2U& message) {
        const std::string_view strContract = message.GetString(FIELD_CONTRACT).value_or(std::string_view());
        if (strContract.empty()) return;
        strRolls.append(std::to_string(message.GetInteger(nDateField)))
            .append("->")
            .append(Narrow(GetMonthField(Widen(strContract))))
            .append("\r\n");
    });
    return strRolls;
}

}  // namespace

template <class... Arguments>
void CRollingData::Log(TextView strFormat, const Arguments&... arguments) {
    m_parts.host.LogMessage(Format(strFormat, arguments...));
}

void CRollingData::EnqueueRequery(TextView strTopic, TextView strSymbol) {
    int nError = 0;
    {
        const CLock lock(m_mutexRequery);
        if (m_bStopping || m_mapRequeryPending.contains(strSymbol) || Contains(strSymbol, u"QV.S.")) return;
        const bool bWasEmpty = m_listRequery.empty();
        m_mapRequeryPending.emplace(strSymbol);
        m_listRequery.emplace_back(strSymbol);
        // A worker that is at the last symbol still comes back. Only an empty list starts one: behind a thread that
        // couldn't be had the list stays as it is until a stop, and the other modules' requests with it.
        if (!bWasEmpty || m_bWorking) return;
        m_bWorking = m_thread.Start("RollingData", [this] { ProcessRequeryList(); });
        nError = m_bWorking ? 0 : errno;
    }
    if (nError != 0) Log(u"%s CreateThread fail. strParam=%s. GetLastError()=%d.", strTopic, strSymbol, nError);
}

void CRollingData::ProcessRequeryList() {
    while (const auto strSymbol = TakeHead()) Serve(*strSymbol);
}

/// @return nothing when the list is empty, and this worker's work is over then; a stop empties it
std::optional<Text> CRollingData::TakeHead() {
    const CLock lock(m_mutexRequery);
    if (platform::StopRequested()) {
        m_listRequery.clear();
        m_mapRequeryPending.clear();
    }
    if (m_listRequery.empty()) {
        m_bWorking = false;
        return std::nullopt;
    }
    Text strSymbol = std::move(m_listRequery.front());
    m_listRequery.pop_front();
    return strSymbol;
}

/// Whatever happens to one symbol, the others get their turn.
void CRollingData::Serve(const Text& strSymbol) {
    try {
        QueryHotChange(strSymbol);
        if (!platform::StopRequested()) QueryExpireDate(strSymbol);
    } catch (const std::exception& failure) {
        Forget(strSymbol);
        try {
            Log(u"ProcessRequeryList Fail. strMsg=%s", Widen(failure.what()));
        } catch (const std::exception&) {
            return;  // there is nobody left to tell
        }
    }
}

void CRollingData::QueryHotChange(TextView strSymbol) { Run(HOT_CHANGE, m_nHotChangeURLIndex, strSymbol); }

void CRollingData::QueryExpireDate(TextView strSymbol) { Run(EXPIRE_DATE, m_nExpireURLIndex, strSymbol); }

void CRollingData::Run(const Query& query, ServerIndex& nIndex, TextView strSymbol) {
    Log(u"%s. strSymbol=%s.", query.strName, strSymbol);
    std::string strRolls;
    const auto ask = [&](const Text& strUrl) { return AskServer(query, strUrl, strSymbol, strRolls); };
    const auto nAnswered = AskInTurn(m_parts.servers.Get(query.list), ask, static_cast<std::size_t>(nIndex.load()));
    if (nAnswered) nIndex = static_cast<std::int32_t>(*nAnswered);
    if (nAnswered && !strRolls.empty()) {
        Save(query, strSymbol, strRolls);
    } else {
        if (nAnswered) Log(u"%s Empty.", query.strName);
        Forget(strSymbol);
    }
    Log(u"%s End. strSymbol=%s.", query.strName, strSymbol);
}

/// @param strRolls  out: what the answer holds; an answer without anything usable is one all the same
bool CRollingData::AskServer(const Query& query, const Text& strUrl, TextView strSymbol, std::string& strRolls) {
    if (strUrl.empty()) {
        Log(u"%s Fail. %s empty.", query.strName, query.strListName);
        return false;
    }
    const bool bOption = Contains(strSymbol, u"QV.O.");
    const Text strQuery =
        Format(bOption ? u"%sp=%s%s%s&opt=1&Z=%s" : u"%sp=%s%s%s&Z=%s", strUrl, ToServerClass(strSymbol),
               query.strClassEnd, m_parts.session.GetSessionQuery(), m_parts.session.BuildRequestId(query.strName));
    // The expiry query's line too: those who read logs know both by this one text.
    Log(u"QueryHotChange URL=%s.", strQuery);
    std::uint32_t nLength = 0;
    Text strError;
    const ReplyBuffer pReply = DoGetHttpQuery(strQuery, &nLength, m_parts.session.GetProxy(), strError, true, 0);
    if (!pReply) {
        Log(u"%s Fail. strMsg=%s", query.strName, strError);
        return false;
    }
    strRolls = CollectRolls({reinterpret_cast<const char*>(pReply.get()), nLength - 1}, query.nDateField);
    return true;
}

void CRollingData::Save(const Query& query, TextView strSymbol, const std::string& strRolls) {
    const Text strKey = GetSecurityKey(strSymbol);
    const RollFileResult result = m_files.Write(query.file, strKey, m_parts.resetTimes.Get(strKey), strRolls);
    if (!result.bWritten) {
        Log(u"%s. OpenFile fail. strPath=%s, GetLastError()=%d.", query.strName, m_files.GetPath(query.file, strKey),
            result.nError);
    }
    // The symbol stays pending if its file can't even be created. The twin that runs next lets it go, unless it fails
    // likewise; then nobody is served with it until the next start, as those who ask again and again are to be held
    // off a folder that takes nothing.
    if (!result.bCreated) return;
    Forget(strSymbol);
    if (result.bWritten) m_parts.host.SendTopic(query.strTopic, 1, 1, strSymbol, nullptr);
}

void CRollingData::Forget(TextView strSymbol) {
    const CLock lock(m_mutexRequery);
    if (const auto found = m_mapRequeryPending.find(strSymbol); found != m_mapRequeryPending.end()) {
        m_mapRequeryPending.erase(found);
    }
}

void CRollingData::ProcessRequeryData() {
    Log(u"ProcessRequeryData.");
    for (const Text& strKey : FindMoved()) {
        if (platform::StopRequested()) break;
        QueryHotChange(strKey + u".HOT");
        if (!platform::StopRequested()) QueryExpireDate(strKey);
    }
    Log(u"ProcessRequeryData End.");
}

/// The keys of the products that have moved, each once, in the order in which their contracts were met. A file is read
/// once, however many contracts its product has.
std::vector<Text> CRollingData::FindMoved() const {
    struct Product {
        HotChangeState file;
        bool bMoved = false;
    };
    std::unordered_map<Text, Product, TextHash, std::equal_to<>> mapProducts;
    std::vector<Text> arMoved;
    for (const HotMonth& hotMonth : m_getHotMonths()) {
        if (platform::StopRequested()) break;
        if (Contains(hotMonth.strHot, u"HOT2")) continue;
        Text strKey = GetSecurityKey(hotMonth.strContract);
        const auto [it, bNew] = mapProducts.try_emplace(strKey);
        Product& product = it->second;
        if (bNew) product.file = m_files.ReadHotChange(strKey, m_parts.resetTimes.Get(strKey));
        if (product.bMoved) continue;
        const TextView strMonth = SplitOption(SplitSymbol(hotMonth.strContract).strRest).strMonth;
        const auto& strHotMonth = product.file.strHotMonth;
        product.bMoved = product.file.bResetMoved || (strHotMonth && *strHotMonth != strMonth);
        if (product.bMoved) arMoved.push_back(std::move(strKey));
    }
    return arMoved;
}

void CRollingData::RequestStop() {
    const CLock lock(m_mutexRequery);
    m_thread.RequestStop();
}

void CRollingData::StopAndJoin() {
    {
        const CLock lock(m_mutexRequery);
        m_bStopping = true;
        m_thread.RequestStop();
    }
    // Without the lock, which the worker takes on its way out; nobody starts another one meanwhile.
    m_thread.StopAndJoin();
    const CLock lock(m_mutexRequery);
    m_listRequery.clear();
    m_mapRequeryPending.clear();
    m_bWorking = false;
    m_bStopping = false;
}

}  // namespace qvant
