#include "system/history_client.h"

#include <cstdint>
#include <cstdio>
#include <stdexcept>

#include <bson/bson.h>

namespace qvant::test {

namespace {

constexpr auto ValidateFlags = static_cast<bson_validate_flags_t>(BSON_VALIDATE_UTF8 | BSON_VALIDATE_UTF8_ALLOW_NULL);

std::string ReadText(const bson_t& document, const char* pName) {
    bson_iter_t it;
    std::uint32_t nLength = 0;
    if (!bson_iter_init_find(&it, &document, pName) || !BSON_ITER_HOLDS_UTF8(&it)) {
        throw std::runtime_error(std::string("the reply has no text ") + pName);
    }
    const char* pText = bson_iter_utf8(&it, &nLength);
    return {pText, nLength};
}

void ReadData(const bson_t& document, HistoryReply& reply) {
    bson_iter_t it;
    bson_iter_t found;
    if (!bson_iter_init(&it, &document) || !bson_iter_find_descendant(&it, "d.gzip", &found)) return;
    bson_subtype_t nSubtype{};
    std::uint32_t nLength = 0;
    const std::uint8_t* pBytes = nullptr;
    if (!BSON_ITER_HOLDS_BINARY(&found)) throw std::runtime_error("d.gzip isn't binary");
    bson_iter_binary(&found, &nSubtype, &nLength, &pBytes);
    if (nLength < 1) throw std::runtime_error("d.gzip has no marker");
    reply.bData = true;
    reply.strJson = Gunzip(std::string(reinterpret_cast<const char*>(pBytes) + 1, nLength - 1));
    reply.json.Parse(reply.strJson.data(), reply.strJson.size());
}

}  // namespace

std::string EncodeCommand(const std::string& strCommand) {
    std::string strEncoded;
    for (const char c : strCommand) {
        const bool bPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        char code[4];
        std::snprintf(code, sizeof code, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
        strEncoded += bPlain ? std::string(1, c) : c == ' ' ? std::string("+") : std::string(code);
    }
    return strEncoded;
}

HistoryReply AskHistory(const CServerProcess& server, const std::string& strCommand) {
    const auto answer = Get(server, "/History.do?cmdLine=" + EncodeCommand(strCommand));
    HistoryReply reply;
    reply.nStatus = answer.nStatus;
    if (answer.nStatus != 200) {
        reply.strError = answer.strBody;
        return reply;
    }
    bson_t document;
    const auto* pBytes = reinterpret_cast<const std::uint8_t*>(answer.strBody.data());
    if (!answer.strBody.starts_with('B') || !bson_init_static(&document, pBytes + 1, answer.strBody.size() - 1) ||
        !bson_validate(&document, ValidateFlags, nullptr)) {
        throw std::runtime_error("the reply is no B with a BSON document");
    }
    reply.strCommand = ReadText(document, "c");
    reply.strId = ReadText(document, "r");
    ReadData(document, reply);
    return reply;
}

HistoryReply AskFactors(const CServerProcess& server, const std::string& strClass) {
    return AskHistory(server, R"({"s":"HistoryData", "c":"cqyz", "r":"QueryCQYZ__1A", "d":{"s":")" + strClass + "\"}}");
}

HistoryReply AskCloses(const CServerProcess& server, const std::string& strMoments) {
    return AskHistory(server, R"({"s":"HistoryData","c":"lastk","r":"QueryLastK__1A","d":{"s":{)" + strMoments + "}}}");
}

}  // namespace qvant::test
