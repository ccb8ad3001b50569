#include "net/history_query.h"

#include <cstring>

#include <bson/bson.h>

#include "net/gzip_file.h"
#include "net/url_list.h"

namespace qvant {

namespace {

constexpr char BSON_MARK = 'B';
constexpr const char* GZIP_FIELD = "d.gzip";

bool StaysAsItIs(char ch) { return (ch >= '0' && ch <= '9') || (ch >= 'A' && ch <= 'Z') || (ch >= 'a' && ch <= 'z'); }

bool IsBlank(char ch) { return ch == ' ' || ch == '\t' || ch == '\v' || ch == '\f'; }

void AppendEncoded(Text& strEncoded, char ch) {
    constexpr TextView DIGITS = u"0123456789ABCDEF";
    if (StaysAsItIs(ch)) {
        strEncoded.push_back(static_cast<char16_t>(ch));
    } else if (ch == '\r' || ch == '\n') {
        strEncoded.append(u"%0A");
    } else if (IsBlank(ch)) {
        strEncoded.push_back(u'+');
    } else {
        const auto nByte = static_cast<std::uint8_t>(ch);
        strEncoded.append({u'%', DIGITS[nByte >> 4u], DIGITS[nByte & 0xFu]});
    }
}

/// Makes a document of the bytes' beginning, as long as its own first four bytes say. It is read where it lies: a
/// document with memory of its own would end the process when there is none.
/// @return false when the length is one that can't be
bool ReadDocument(std::string_view strBytes, bson_t& document) {
    std::uint32_t nLength = 0;
    if (strBytes.size() < sizeof nLength) return false;
    std::memcpy(&nLength, strBytes.data(), sizeof nLength);
    nLength = BSON_UINT32_FROM_LE(nLength);
    return nLength <= strBytes.size() &&
           bson_init_static(&document, reinterpret_cast<const std::uint8_t*>(strBytes.data()), nLength);
}

/// The gzip in a document, without its marker; empty when there is none.
std::string_view FindGzip(const bson_t& document) {
    bson_iter_t start;
    bson_iter_t field;
    if (!bson_iter_init(&start, &document) || !bson_iter_find_descendant(&start, GZIP_FIELD, &field) ||
        bson_iter_type(&field) != BSON_TYPE_BINARY) {
        return {};
    }
    bson_subtype_t nSubtype = BSON_SUBTYPE_BINARY;
    std::uint32_t nLength = 0;
    const std::uint8_t* pBytes = nullptr;
    bson_iter_binary(&field, &nSubtype, &nLength, &pBytes);
    if (!pBytes || nLength == 0) return {};
    return {reinterpret_cast<const char*>(pBytes) + 1, nLength - 1};
}

}  // namespace

Text EncodeCmdLine(TextView strCommand) {
    const std::string strBytes = Narrow(strCommand);
    Text strEncoded;
    strEncoded.reserve(strBytes.size() * 2);
    for (const char ch : strBytes) AppendEncoded(strEncoded, ch);
    return strEncoded;
}

HistoryReply QueryHistory(const HistoryQuery& query, Text& strError) {
    strError.clear();
    HistoryReply reply;
    AskInTurn(query.arServers, [&](const Text& strServer) {
        const Text strUrl = Concatenate({strServer, u"cmdLine=", EncodeCmdLine(query.makeRequest())});
        query.host.LogMessage(strUrl);
        reply.pBytes = DoGetHttpQuery(strUrl, &reply.nLength, query.session.GetProxy(), strError, false, 0);
        if (!reply) query.host.LogMessage(Concatenate({query.strFailure, strError, u". ", strUrl}));
        return static_cast<bool>(reply);
    });
    return reply;
}

HistoryText UnpackHistoryReply(std::string_view strReply) {
    HistoryText text;
    if (!strReply.starts_with(BSON_MARK)) return text;
    bson_t document;
    if (!ReadDocument(strReply.substr(1), document)) return text;
    const std::string_view strGzip = FindGzip(document);
    if (strGzip.empty()) return text;
    if (GunzipBuffer(text.pMemory, strGzip, std::chrono::milliseconds(0)) == 0) return text;
    text.strUtf8 = reinterpret_cast<const char*>(text.pMemory.get());
    return text;
}

}  // namespace qvant
