#include "reference_service.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <iterator>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "gzip.h"
#include "history_answer.h"
#include "roll_lines.h"

namespace qvant::refserver {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::string_view ControlFolder = "/_control/";
// The paths that a client that scans the network could name are without end; the counts aren't.
constexpr std::size_t MostCountedPaths = 1000;
constexpr std::size_t GzipHeaderBytes = 10;

/// A body that compression would only make longer goes as it is, which spares the client the unpacking too.
HttpReply MakeReadyReply(const ReadyBody& ready, bool bAcceptsGzip) {
    HttpReply reply;
    reply.bGzip = bAcceptsGzip && ready.gzipped->size() < ready.plain->size();
    reply.body = reply.bGzip ? ready.gzipped : ready.plain;
    return reply;
}

HttpReply MakeError(int nStatus, const std::string& strText) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.StartObject();
    writer.Key("error");
    writer.String(strText.data(), static_cast<rapidjson::SizeType>(strText.size()));
    writer.EndObject();
    return MakeReply(nStatus, buffer.GetString());
}

/// A reply of bytes that are no text.
HttpReply MakeBinaryReply(std::string strBytes) {
    HttpReply reply = MakeReply(200, std::move(strBytes));
    reply.strType = BinaryType;
    return reply;
}

HttpReply MakeLinesReply(std::string strLines, bool bAcceptsGzip) {
    HttpReply reply = MakeBinaryReply({});
    std::string strGzipped = bAcceptsGzip ? Gzip(strLines) : std::string();
    reply.bGzip = bAcceptsGzip && strGzipped.size() < strLines.size();
    reply.body = std::make_shared<const std::string>(std::move(reply.bGzip ? strGzipped : strLines));
    return reply;
}

/// A product as hot-change and expiry requests name it.
struct AskedProduct {
    std::string_view product;  // "CME.ES"
    std::string strKey;
};

/// Takes "LUM.exchange.product" of a request apart.
/// @param ending  of the name: ".HOT" or nothing
AskedProduct FindProduct(const HttpRequest& request, std::string_view ending) {
    constexpr std::string_view Prefix = "LUM.";
    auto name = request.GetQuery("p");
    if (!name.starts_with(Prefix) || !name.ends_with(ending)) return {};
    name.remove_prefix(Prefix.size());
    name.remove_suffix(std::min(ending.size(), name.size()));
    // The name is the same for a future and for the option on it.
    const char* const pClass = request.GetQuery("opt") == "1" ? "QV.O." : "QV.F.";
    return {name, pClass + std::string(name)};
}

// A gzip header that is right, and a stream behind it that is not.
void SpoilGzip(HttpReply& reply, const Body& body) {
    std::string strSpoilt("\x1f\x8b\x08\0\0\0\0\0\0\x03", GzipHeaderBytes);
    strSpoilt.append(std::max<std::size_t>(64, body ? body->size() / 8 : 0), '\xff');
    reply.body = std::make_shared<const std::string>(std::move(strSpoilt));
    reply.bGzip = true;
}

void Spoil(const FaultPlan& plan, HttpReply& reply) {
    if (plan.nStatus) reply = MakeError(*plan.nStatus, "told to fail");
    if (plan.bGarbage) reply = MakeReply(reply.nStatus, "<html>\xfe\xff{\"SecuritiesInfo\":{\"QV.F.");
    if (plan.bEmpty) reply = MakeReply(reply.nStatus, "");
    if (plan.bWrongGzip) SpoilGzip(reply, reply.body);
    if (plan.bRefresh) reply.arHeaders.emplace_back("Refresh", "0");
}

bool SendBody(CConnection& connection, const FaultPlan& plan, std::string_view body) {
    if (plan.nCutAfter) body = body.substr(0, *plan.nCutAfter);
    return plan.nRate ? connection.WriteSlowly(body, *plan.nRate) : connection.Write(body);
}

}  // namespace

const CReferenceService::Route CReferenceService::Routes[] = {
    {"/OutsideData_getMainForm.do", &CReferenceService::AnswerDocument},
    {"/OutsideData_getMainLastVer.do", &CReferenceService::AnswerProbe},
    {"/Classification_getClassification.do", &CReferenceService::AnswerClassification},
    {"/stkinfo.do", &CReferenceService::AnswerStockInfo},
    {"/AppsTradePermission.do", &CReferenceService::AnswerPermissions},
    {"/OutsideData_getDocument.do", &CReferenceService::AnswerNamed},
    {"/hx-bin/File.cgi", &CReferenceService::AnswerFile},
    {"/HotChange.do", &CReferenceService::AnswerHotChange},
    {"/ExpireDate.do", &CReferenceService::AnswerExpiry},
    {"/History.do", &CReferenceService::AnswerHistoryCommand},
};

CReferenceService::CReferenceService(CWorldKeeper& worlds, CFaultList& faults, CAccessLog& log, const CStopSignal& stop)
    : m_worlds(worlds), m_faults(faults), m_log(log), m_stop(stop) {}

bool CReferenceService::Exchange(CConnection& connection, const HttpRequest& request) {
    const auto start = Clock::now();
    const bool bControl = request.strPath.starts_with(ControlFolder);
    if (!bControl) Count(request.strPath);
    const FaultPlan plan = bControl ? FaultPlan() : m_faults.Take(request.strPath);
    AccessRecord record{request.strMethod, request.strTarget, 0, 0, false, {}, plan.strNames};
    bool bKeep = false;
    try {
        bKeep = Carry(connection, request, plan, record);
    } catch (const std::exception& error) {
        m_log.WriteNote("request dropped: " + std::string(error.what()));
    }
    record.duration = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    m_log.WriteRequest(record);
    return bKeep;
}

bool CReferenceService::Carry(CConnection& connection, const HttpRequest& request, const FaultPlan& plan,
                              AccessRecord& record) {
    if (plan.delay.count() > 0 && m_stop.WaitFor(plan.delay)) return false;
    if (plan.bHang) {
        connection.WaitForEnd();
        return false;
    }
    if (plan.bReset) {
        connection.Reset();
        return false;
    }
    HttpReply reply = Answer(request);
    Spoil(plan, reply);
    record.nStatus = reply.nStatus;
    record.bGzip = reply.bGzip;
    const bool bKeep = request.bKeepAlive && !plan.nCutAfter;
    if (!connection.Write(FormatHead(reply, bKeep))) return false;
    const std::size_t nBefore = connection.GetWritten();
    const bool bBody = reply.body && request.strMethod != "HEAD";
    const bool bSent = !bBody || SendBody(connection, plan, *reply.body);
    record.nBodyBytes = connection.GetWritten() - nBefore;
    return bSent && bKeep;
}

HttpReply CReferenceService::Answer(const HttpRequest& request) {
    if (request.strPath.starts_with(ControlFolder)) return AnswerControl(request);
    const auto* pRoute = std::find_if(std::begin(Routes), std::end(Routes),
                                      [&](const Route& route) { return route.path == request.strPath; });
    if (pRoute == std::end(Routes)) return MakeError(404, "no such document");
    if (request.strMethod != "GET" && request.strMethod != "HEAD") return MakeError(405, "documents are for GET");
    return (this->*pRoute->pAnswer)(request);
}

HttpReply CReferenceService::AnswerProbe(const HttpRequest& request) {
    return MakeReadyReply(m_worlds.GetWorld()->GetDocument(AllSecurities).probe, request.AcceptsGzip());
}

HttpReply CReferenceService::AnswerClassification(const HttpRequest& request) {
    const auto pWorld = m_worlds.GetWorld();
    const auto it = pWorld->mapClassifications.find(request.GetQuery("cname"));
    if (it == pWorld->mapClassifications.end()) return MakeError(404, "no such classification");
    return MakeReadyReply(it->second.AnswerTo(request.GetQuery("lastVersion")), request.AcceptsGzip());
}

HttpReply CReferenceService::AnswerStockInfo(const HttpRequest& request) {
    const auto pWorld = m_worlds.GetWorld();
    const auto it = pWorld->mapStockInfo.find(request.GetQuery("exg"));
    if (it == pWorld->mapStockInfo.end()) return MakeError(404, "no stock info of this exchange");
    // Clients of this document spell the member with a capital.
    return MakeReadyReply(it->second.AnswerTo(request.GetQuery("LastVersion")), request.AcceptsGzip());
}

HttpReply CReferenceService::AnswerPermissions(const HttpRequest& request) {
    const auto pWorld = m_worlds.GetWorld();
    if (!pWorld->permissions) return MakeError(404, "no permissions in this world");
    return MakeReadyReply(pWorld->permissions->AnswerTo(request.GetQuery("lastVersion")), request.AcceptsGzip());
}

HttpReply CReferenceService::AnswerNamed(const HttpRequest& request) {
    const auto pWorld = m_worlds.GetWorld();
    if (request.GetQuery("doc") != "Currency" || !pWorld->currency) return MakeError(404, "no such document");
    return MakeReadyReply(*pWorld->currency, request.AcceptsGzip());
}

/// A file server takes a path of its own; here the name at its end counts. Texts aren't compressed.
HttpReply CReferenceService::AnswerFile(const HttpRequest& request) {
    const auto pWorld = m_worlds.GetWorld();
    const auto path = request.GetQuery("ARG");
    const bool bHolidays = path.substr(path.rfind('/') + 1) == "OBHoliday.txt";
    if (!bHolidays || !pWorld->holidays) return MakeError(404, "no such file");
    HttpReply reply;
    reply.body = pWorld->holidays;
    reply.strType = "text/plain";
    return reply;
}

HttpReply CReferenceService::AnswerHotChange(const HttpRequest& request) {
    const auto pWorld = m_worlds.GetWorld();
    const auto asked = FindProduct(request, ".HOT");
    const auto* pRolls = pWorld->history.rolls.Find(asked.strKey);
    if (!pRolls || pRolls->arRolls.empty()) return MakeError(404, "no rolls of this product");
    return MakeLinesReply(MakeHotChangeLines(asked.product, *pRolls), request.AcceptsGzip());
}

HttpReply CReferenceService::AnswerExpiry(const HttpRequest& request) {
    const auto pWorld = m_worlds.GetWorld();
    const auto asked = FindProduct(request, "");
    const auto* pRolls = pWorld->history.rolls.Find(asked.strKey);
    if (!pRolls || pRolls->arExpiries.empty()) return MakeError(404, "no months of this product");
    return MakeLinesReply(MakeExpiryLines(asked.product, *pRolls), request.AcceptsGzip());
}

HttpReply CReferenceService::AnswerHistoryCommand(const HttpRequest& request) {
    const auto pWorld = m_worlds.GetWorld();
    try {
        return MakeBinaryReply(AnswerHistory(pWorld->history, std::string(request.GetQuery("cmdLine"))));
    } catch (const CCommandError& error) {
        return MakeError(400, error.what());
    }
}

HttpReply CReferenceService::AnswerDocument(const HttpRequest& request) {
    const auto pWorld = m_worlds.GetWorld();
    const auto& document = pWorld->GetDocument(request.GetQuery("type"));
    // Any difference means news, an older or unknown version as well.
    const bool bNews = request.GetQuery("lastVersion") != document.strVersion;
    return MakeReadyReply(bNews ? document.whole : document.noNews, request.AcceptsGzip());
}

HttpReply CReferenceService::AnswerControl(const HttpRequest& request) {
    if (request.strPath == "/_control/faults") return AnswerFaults(request);
    if (request.strPath != "/_control/requests") return MakeError(404, "no such control");
    if (request.strMethod != "GET") return MakeError(405, "the counts are for GET");
    return MakeReply(200, CountsToJson());
}

HttpReply CReferenceService::AnswerFaults(const HttpRequest& request) {
    try {
        if (request.strMethod == "POST") {
            m_faults.Replace(ParseFaults(request.strBody));
        } else if (request.strMethod == "DELETE") {
            m_faults.Replace({});
        } else if (request.strMethod != "GET") {
            return MakeError(405, "the faults are for GET, POST and DELETE");
        }
    } catch (const CFaultError& error) {
        return MakeError(400, error.what());
    }
    return MakeReply(200, m_faults.ToJson());
}

void CReferenceService::Count(const std::string& strPath) {
    const CLock lock(m_mutexCounts);
    if (m_mapCounts.size() >= MostCountedPaths && !m_mapCounts.contains(strPath)) return;
    ++m_mapCounts[strPath];
}

std::string CReferenceService::CountsToJson() const {
    const CLock lock(m_mutexCounts);
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.StartObject();
    for (const auto& [strPath, nCount] : m_mapCounts) {
        writer.Key(strPath.data(), static_cast<rapidjson::SizeType>(strPath.size()));
        writer.Uint64(nCount);
    }
    writer.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace qvant::refserver
