#include "history_reply.h"

#include <cstdint>
#include <stdexcept>

#include <bson/bson.h>

#include "gzip.h"

namespace qvant::refserver {

namespace {

// In front of the bytes: what kind of packing follows. There is one.
constexpr char GzipMarker = 'G';

class CBsonDocument {
public:
    CBsonDocument() : m_pBson(bson_new()) {}
    ~CBsonDocument() { bson_destroy(m_pBson); }
    CBsonDocument(const CBsonDocument&) = delete;
    CBsonDocument& operator=(const CBsonDocument&) = delete;

    void Add(const char* pName, const std::string& strText) {
        Check(bson_append_utf8(m_pBson, pName, -1, strText.data(), static_cast<int>(strText.size())));
    }
    void AddBinary(const char* pName, const std::string& strBytes) {
        Check(bson_append_binary(m_pBson, pName, -1, BSON_SUBTYPE_BINARY,
                                 reinterpret_cast<const std::uint8_t*>(strBytes.data()),
                                 static_cast<std::uint32_t>(strBytes.size())));
    }
    void Add(const char* pName, const CBsonDocument& document) {
        Check(bson_append_document(m_pBson, pName, -1, document.m_pBson));
    }

    std::string_view GetBytes() const { return {reinterpret_cast<const char*>(bson_get_data(m_pBson)), m_pBson->len}; }

private:
    static void Check(bool bAdded) {
        if (!bAdded) throw std::runtime_error("a reply is too large for BSON");
    }

    bson_t* m_pBson;
};

}  // namespace

std::string PackHistory(const HistoryHead& head, const std::string* pText) {
    CBsonDocument data;
    if (pText) data.AddBinary("gzip", GzipMarker + Gzip(*pText));
    CBsonDocument reply;
    reply.Add("s", head.strService);
    reply.Add("c", head.strCommand);
    reply.Add("r", head.strId);
    reply.Add("d", data);
    return std::string("B").append(reply.GetBytes());
}

}  // namespace qvant::refserver
