#include "system/quote_line_reader.h"

#include <stdexcept>
#include <string_view>

namespace qvant::test {

namespace {

/// The bytes between the first and the last of a line. Reading beyond them throws.
class CBytes {
public:
    explicit CBytes(std::string_view bytes) : m_bytes(bytes) {}

    bool IsEmpty() const { return m_bytes.empty(); }

    int Take() {
        if (m_bytes.empty()) throw std::out_of_range("the line ends within a field");
        const int nByte = static_cast<unsigned char>(m_bytes.front());
        m_bytes.remove_prefix(1);
        return nByte;
    }

    int TakeDigit() {
        const int nByte = Take();
        if (nByte < 32) throw std::out_of_range("a digit is a control character");
        return nByte - 32;
    }

    std::string TakeText(int nLength) {
        std::string strText;
        for (; nLength > 0; --nLength) strText += static_cast<char>(Take());
        return strText;
    }

private:
    std::string_view m_bytes;
};

/// Where the numbers of a sign and a length begin.
struct NumberStart {
    int nFirst;
    bool bNegative;
    int nMore;  // bytes behind the first one
};

constexpr NumberStart NumberStarts[] = {
    {240, true, 8},  {224, true, 4},  {208, true, 2},  {192, true, 1}, {160, true, 0},
    {144, false, 8}, {128, false, 4}, {112, false, 2}, {96, false, 1}, {32, false, 0},
};

std::optional<std::int64_t> TakeInteger(CBytes& bytes) {
    const int nFirst = bytes.Take();
    for (const auto& start : NumberStarts) {
        if (nFirst < start.nFirst) continue;
        auto nValue = static_cast<std::uint64_t>(nFirst - start.nFirst);
        for (int n = 0; n < start.nMore; ++n) nValue = nValue * 224 + static_cast<std::uint64_t>(bytes.TakeDigit());
        return static_cast<std::int64_t>(start.bNegative ? 0 - nValue : nValue);
    }
    return {};
}

void TakeField(CBytes& bytes, QuoteLine& line) {
    const int nByte = bytes.Take();
    if (nByte < 32) throw std::out_of_range("no field begins so");
    if (nByte < 128) {
        line.mapIntegers[nByte - 32] = TakeInteger(bytes);
    } else if (nByte < 144) {
        const int nField = (nByte - 128) * 224 + bytes.TakeDigit();
        line.mapIntegers[nField] = TakeInteger(bytes);
    } else if (nByte < 160) {
        const int nField = (nByte - 144) * 224 + bytes.TakeDigit();
        const int nHigh = bytes.TakeDigit();
        line.mapStrings[nField] = bytes.TakeText(nHigh * 224 + bytes.TakeDigit());
    } else if (nByte < 192) {
        line.mapStrings[nByte - 160] = bytes.TakeText(bytes.TakeDigit());
    } else {
        line.mapStrings[(nByte - 192) / 16] = bytes.TakeText(nByte & 15);
    }
}

}  // namespace

std::optional<QuoteLine> ReadQuoteLine(const std::string& strLine) {
    if (strLine.size() < 2 || strLine.find_first_of("\r\n") != std::string::npos) return {};
    int nSum = 0;
    for (std::size_t n = 1; n + 1 < strLine.size(); ++n) nSum += strLine[n] & 0x7F;
    nSum %= 128;
    if (static_cast<unsigned char>(strLine.back()) != nSum + (nSum < 64 ? 48 : 112)) return {};
    QuoteLine line;
    line.cType = strLine.front();
    try {
        for (CBytes bytes(std::string_view(strLine).substr(1, strLine.size() - 2)); !bytes.IsEmpty();) {
            TakeField(bytes, line);
        }
    } catch (const std::out_of_range&) {
        return {};
    }
    return line;
}

std::vector<QuoteLine> ReadQuoteLines(const std::string& strReply) {
    std::vector<QuoteLine> arLines;
    for (std::size_t nBegin = 0; nBegin < strReply.size();) {
        const auto nEnd = strReply.find('\n', nBegin);
        if (nEnd == std::string::npos) throw std::runtime_error("the last line has no end");
        auto line = ReadQuoteLine(strReply.substr(nBegin, nEnd - nBegin));
        if (!line) throw std::runtime_error("line " + std::to_string(arLines.size()) + " is wrong");
        arLines.push_back(std::move(*line));
        nBegin = nEnd + 1;
    }
    return arLines;
}

}  // namespace qvant::test
