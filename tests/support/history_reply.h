/// Replies of a history server, made as a real one makes them.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include <bson/bson.h>
#include <zlib.h>

namespace qvant::test {

inline std::string GzipBytes(std::string_view strBytes) {
    constexpr int GZIP_FORM = MAX_WBITS + 16;
    z_stream stream{};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, GZIP_FORM, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::runtime_error("deflateInit2");
    }
    std::string strZipped(deflateBound(&stream, strBytes.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(strBytes.data()));
    stream.avail_in = static_cast<uInt>(strBytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(strZipped.data());
    stream.avail_out = static_cast<uInt>(strZipped.size());
    const int nResult = deflate(&stream, Z_FINISH);
    strZipped.resize(stream.total_out);
    deflateEnd(&stream);
    if (nResult != Z_STREAM_END) throw std::runtime_error("deflate");
    return strZipped;
}

/// Gzip of so many bytes of one letter, in about a thousandth of them.
inline std::string GzipOfOneLetter(std::size_t nBytes, char ch = ' ') {
    constexpr std::size_t MEMBER = std::size_t{1} << 20;
    const std::string strMember = GzipBytes(std::string(MEMBER, ch));
    std::string strZipped;
    for (; nBytes >= MEMBER; nBytes -= MEMBER) strZipped += strMember;
    return nBytes > 0 ? strZipped + GzipBytes(std::string(nBytes, ch)) : strZipped;
}

/// A document that has the bytes as the binary field "gzip" of "d".
inline std::string MakeBson(std::string_view strBinary, const char* pszOuter = "d", const char* pszInner = "gzip") {
    bson_t* pDocument = bson_new();
    bson_t inner;
    bson_append_utf8(pDocument, "s", -1, "HistoryData", -1);
    bson_append_document_begin(pDocument, pszOuter, -1, &inner);
    bson_append_binary(&inner, pszInner, -1, BSON_SUBTYPE_BINARY,
                       reinterpret_cast<const std::uint8_t*>(strBinary.data()),
                       static_cast<std::uint32_t>(strBinary.size()));
    bson_append_document_end(pDocument, &inner);
    std::string strBson(reinterpret_cast<const char*>(bson_get_data(pDocument)), pDocument->len);
    bson_destroy(pDocument);
    return strBson;
}

/// A reply of these bytes of gzip: "B", and BSON in which a marker stands before them.
inline std::string MakeReplyOfGzip(std::string_view strGzip) {
    return std::string("B").append(MakeBson(std::string(1, '\x01').append(strGzip)));
}

/// The reply whose text is this JSON.
inline std::string MakeHistoryReply(std::string_view strJson) { return MakeReplyOfGzip(GzipBytes(strJson)); }

}  // namespace qvant::test
