#include "http_message.h"

#include <algorithm>
#include <charconv>

namespace qvant::refserver {

namespace {

constexpr std::size_t LineLimit = 65'536;
constexpr std::size_t HeaderLimit = 100;
constexpr std::size_t BodyLimit = 1'048'576;

char ToLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string Lower(std::string_view text) {
    std::string strLower(text);
    std::transform(strLower.begin(), strLower.end(), strLower.begin(), ToLower);
    return strLower;
}

std::string_view Trim(std::string_view text) {
    const auto nFirst = text.find_first_not_of(" \t");
    if (nFirst == std::string_view::npos) return {};
    return text.substr(nFirst, text.find_last_not_of(" \t") - nFirst + 1);
}

std::string Decode(std::string_view text) {
    std::string strPlain;
    strPlain.reserve(text.size());
    for (std::size_t n = 0; n < text.size(); ++n) {
        unsigned nCode = 0;
        if (text[n] == '%' && n + 2 < text.size() &&
            std::from_chars(text.data() + n + 1, text.data() + n + 3, nCode, 16).ptr == text.data() + n + 3) {
            strPlain += static_cast<char>(nCode);
            n += 2;
        } else {
            strPlain += text[n] == '+' ? ' ' : text[n];
        }
    }
    return strPlain;
}

void ParseQuery(std::string_view query, HttpRequest& request) {
    while (!query.empty()) {
        const auto nEnd = std::min(query.find('&'), query.size());
        const auto pair = query.substr(0, nEnd);
        const auto nEqual = std::min(pair.find('='), pair.size());
        if (!pair.empty()) {
            request.mapQuery.emplace(Decode(pair.substr(0, nEqual)),
                                     nEqual < pair.size() ? Decode(pair.substr(nEqual + 1)) : std::string());
        }
        query.remove_prefix(std::min(nEnd + 1, query.size()));
    }
}

bool ParseRequestLine(std::string_view line, HttpRequest& request) {
    const auto nFirst = line.find(' ');
    const auto nLast = line.rfind(' ');
    if (nFirst == std::string_view::npos || nLast == nFirst) return false;
    const auto version = line.substr(nLast + 1);
    request.strMethod = line.substr(0, nFirst);
    request.strTarget = line.substr(nFirst + 1, nLast - nFirst - 1);
    if (!version.starts_with("HTTP/1.") || !request.strTarget.starts_with('/')) return false;
    if (request.strTarget.find(' ') != std::string::npos) return false;
    request.bKeepAlive = version != "HTTP/1.0";
    const std::string_view target = request.strTarget;
    const auto nQuery = std::min(target.find('?'), target.size());
    request.strPath = Decode(target.substr(0, nQuery));
    ParseQuery(target.substr(std::min(nQuery + 1, target.size())), request);
    return true;
}

RequestState ReadHeaders(CConnection& connection, HttpRequest& request) {
    std::string strLine;
    for (std::size_t nHeaders = 0; nHeaders <= HeaderLimit; ++nHeaders) {
        if (!connection.ReadLine(strLine, LineLimit)) return RequestState::Gone;
        if (strLine.empty()) return RequestState::Complete;
        const std::string_view line = strLine;
        const auto nColon = line.find(':');
        if (nColon == std::string_view::npos) return RequestState::Bad;
        request.mapHeaders.emplace(Lower(line.substr(0, nColon)), Trim(line.substr(nColon + 1)));
    }
    return RequestState::Bad;
}

RequestState ReadBody(CConnection& connection, HttpRequest& request) {
    if (request.mapHeaders.contains("transfer-encoding")) return RequestState::Bad;
    const auto it = request.mapHeaders.find("content-length");
    if (it == request.mapHeaders.end()) return RequestState::Complete;
    std::size_t nLength = 0;
    const char* pEnd = it->second.data() + it->second.size();
    const auto result = std::from_chars(it->second.data(), pEnd, nLength);
    if (result.ec != std::errc() || result.ptr != pEnd || nLength > BodyLimit) return RequestState::Bad;
    return connection.ReadBytes(request.strBody, nLength) ? RequestState::Complete : RequestState::Gone;
}

std::string_view Reason(int nStatus) {
    static const std::map<int, std::string_view> mapReasons = {{200, "OK"},
                                                               {204, "No Content"},
                                                               {301, "Moved"},
                                                               {302, "Found"},
                                                               {304, "Not Modified"},
                                                               {400, "Bad Request"},
                                                               {401, "Unauthorized"},
                                                               {403, "Forbidden"},
                                                               {404, "Not Found"},
                                                               {405, "Method Not Allowed"},
                                                               {500, "Internal Server Error"},
                                                               {502, "Bad Gateway"},
                                                               {503, "Service Unavailable"},
                                                               {504, "Gateway Timeout"}};
    const auto it = mapReasons.find(nStatus);
    return it == mapReasons.end() ? "Status" : it->second;
}

}  // namespace

std::string_view HttpRequest::GetQuery(const std::string& strName) const {
    const auto it = mapQuery.find(strName);
    return it == mapQuery.end() ? std::string_view() : it->second;
}

bool HttpRequest::AcceptsGzip() const {
    const auto it = mapHeaders.find("accept-encoding");
    return it != mapHeaders.end() && it->second.find("gzip") != std::string::npos;
}

RequestState ReadRequest(CConnection& connection, HttpRequest& request) {
    request = {};
    std::string strLine;
    if (!connection.ReadLine(strLine, LineLimit)) return RequestState::Gone;
    if (!ParseRequestLine(strLine, request)) return RequestState::Bad;
    const auto state = ReadHeaders(connection, request);
    if (state != RequestState::Complete) return state;
    const auto it = request.mapHeaders.find("connection");
    if (it != request.mapHeaders.end()) request.bKeepAlive = Lower(it->second) != "close";
    return ReadBody(connection, request);
}

HttpReply MakeReply(int nStatus, std::string strBody) {
    HttpReply reply;
    reply.nStatus = nStatus;
    reply.body = std::make_shared<const std::string>(std::move(strBody));
    return reply;
}

std::string FormatHead(const HttpReply& reply, bool bKeepAlive) {
    std::string strHead = "HTTP/1.1 " + std::to_string(reply.nStatus) + " ";
    strHead += Reason(reply.nStatus);
    strHead.append("\r\nContent-Type: ").append(reply.strType);
    if (reply.strType != BinaryType) strHead += "; charset=utf-8";
    strHead += "\r\nCache-Control: no-store\r\nContent-Length: " + std::to_string(reply.body ? reply.body->size() : 0) +
               "\r\n";
    if (reply.bGzip) strHead += "Content-Encoding: gzip\r\n";
    for (const auto& [strName, strValue] : reply.arHeaders)
        strHead.append(strName).append(": ").append(strValue).append("\r\n");
    strHead += bKeepAlive ? "Connection: keep-alive\r\n\r\n" : "Connection: close\r\n\r\n";
    return strHead;
}

}  // namespace qvant::refserver
