#include "documents/text_archive.h"

#include <cstdint>
#include <cstring>
#include <string_view>

#include "documents/reply_text.h"

namespace qvant {

namespace {

constexpr std::string_view WIDE_MARK = "\xFF\xFE\xFF";

/// Takes the bytes of an archive for their number alone.
class CMeasure {
public:
    void Append(std::string_view strBytes) { m_nSize += strBytes.size(); }
    std::size_t GetSize() const { return m_nSize; }

private:
    std::size_t m_nSize = 0;
};

/// Puts them where they are to lie.
class CPlace {
public:
    explicit CPlace(char* pOut) : m_pOut(pOut) {}
    void Append(std::string_view strBytes) {
        std::memcpy(m_pOut, strBytes.data(), strBytes.size());
        m_pOut += strBytes.size();
    }

private:
    char* m_pOut;
};

template <class Number, class Out>
void AppendNumber(Out& out, std::size_t nValue) {
    char szBytes[sizeof(Number)];
    for (std::size_t i = 0; i < sizeof(Number); ++i) szBytes[i] = static_cast<char>(nValue >> (8 * i) & 0xFF);
    out.Append({szBytes, sizeof(Number)});
}

template <class Out>
void AppendCount(Out& out, std::size_t nCount) {
    if (nCount < 0xFFFF) return AppendNumber<std::uint16_t>(out, nCount);
    AppendNumber<std::uint16_t>(out, 0xFFFF);
    AppendNumber<std::uint32_t>(out, nCount);
}

template <class Out>
void AppendLength(Out& out, std::size_t nLength) {
    if (nLength < 0xFF) return AppendNumber<std::uint8_t>(out, nLength);
    AppendNumber<std::uint8_t>(out, 0xFF);
    // One less than the count's limit: 0xFFFE marks a text as wide in this place.
    if (nLength < 0xFFFE) return AppendNumber<std::uint16_t>(out, nLength);
    AppendNumber<std::uint16_t>(out, 0xFFFF);
    AppendNumber<std::uint32_t>(out, nLength);
}

template <class Out>
void AppendText(Out& out, TextView strText) {
    out.Append(WIDE_MARK);
    AppendLength(out, strText.size());
    out.Append(BytesOf(strText));
}

template <class Out>
void AppendMap(Out& out, const CTextMap& map) {
    AppendCount(out, map.size());
    for (const auto& [strKey, strValue] : map) {
        AppendText(out, strKey);
        AppendText(out, strValue);
    }
}

}  // namespace

std::size_t MeasureArchive(const CTextMap& map) {
    CMeasure measure;
    AppendMap(measure, map);
    return measure.GetSize();
}

void WriteArchive(const CTextMap& map, char* pOut) {
    CPlace place(pOut);
    AppendMap(place, map);
}

}  // namespace qvant
