#include "gzip.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include <zlib.h>

namespace qvant::refserver {

namespace {

constexpr int GzipWindow = 15 + 16;
constexpr int MemoryLevel = 8;
constexpr std::size_t BlockBytes = 262'144;

class CDeflater {
public:
    CDeflater() {
        if (deflateInit2(&m_stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, GzipWindow, MemoryLevel, Z_DEFAULT_STRATEGY) !=
            Z_OK) {
            throw std::runtime_error("zlib can't start");
        }
    }
    ~CDeflater() { deflateEnd(&m_stream); }
    CDeflater(const CDeflater&) = delete;
    CDeflater& operator=(const CDeflater&) = delete;

    void Feed(std::string_view text, bool bLast, std::string& strOut) {
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
        m_stream.avail_in = static_cast<uInt>(text.size());
        do {
            m_stream.next_out = reinterpret_cast<Bytef*>(m_strBlock.data());
            m_stream.avail_out = static_cast<uInt>(m_strBlock.size());
            if (deflate(&m_stream, bLast ? Z_FINISH : Z_NO_FLUSH) == Z_STREAM_ERROR) {
                throw std::runtime_error("zlib lost its state");
            }
            strOut.append(m_strBlock, 0, m_strBlock.size() - m_stream.avail_out);
        } while (m_stream.avail_out == 0);
    }

private:
    z_stream m_stream{};
    std::string m_strBlock = std::string(BlockBytes, '\0');
};

}  // namespace

std::string Gzip(std::string_view text) {
    // zlib counts its input in 32 bits, a document of a large world may not.
    constexpr std::size_t nMost = std::numeric_limits<uInt>::max() / 2;
    CDeflater deflater;
    std::string strOut;
    do {
        const auto piece = text.substr(0, std::min(text.size(), nMost));
        text.remove_prefix(piece.size());
        deflater.Feed(piece, text.empty(), strOut);
    } while (!text.empty());
    return strOut;
}

}  // namespace qvant::refserver
