/// Wide JSON text as RapidJSON reads it in place, many units at a time where nothing is escaped.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <rapidjson/encodings.h>
#include <rapidjson/stream.h>

#include "base/text.h"

namespace qvant {

/// UTF-16 that takes half of a surrogate pair for what it is. The escapes of a document may name one, which RapidJSON's
/// own encoding takes for a fault of the program.
struct WideEncoding : rapidjson::UTF16<char16_t> {
    template <class Stream>
    static void Encode(Stream& stream, unsigned nPoint) {
        if (nPoint > 0xFFFF) {
            stream.Put(static_cast<char16_t>(0xD800 + ((nPoint - 0x10000) >> 10)));
            stream.Put(static_cast<char16_t>(0xDC00 + ((nPoint - 0x10000) & 0x3FF)));
        } else {
            stream.Put(static_cast<char16_t>(nPoint));
        }
    }
    template <class Stream>
    static void EncodeUnsafe(Stream& stream, unsigned nPoint) {
        Encode(stream, nPoint);
    }
};

/// Whether a unit can't stand in a JSON string as it is.
inline bool NeedsEscape(char16_t ch) { return ch < u' ' || ch == u'"' || ch == u'\\'; }

/// Length of the part in front that needs no escape. Looks at many units at once as far as they go.
inline std::size_t CountPlain(const char16_t* pUnits, std::size_t nUnits) {
    std::size_t i = 0;
#ifdef __SSE2__
    const __m128i quotes = _mm_set1_epi16(u'"');
    const __m128i slashes = _mm_set1_epi16(u'\\');
    const __m128i lastControl = _mm_set1_epi16(u' ' - 1);
    for (__m128i eight; i + 8 <= nUnits; i += 8) {
        std::memcpy(&eight, pUnits + i, sizeof eight);
        const __m128i controls = _mm_cmpeq_epi16(_mm_subs_epu16(eight, lastControl), _mm_setzero_si128());
        const __m128i marks = _mm_or_si128(_mm_cmpeq_epi16(eight, quotes), _mm_cmpeq_epi16(eight, slashes));
        const auto nHits = static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(controls, marks)));
        if (nHits != 0) return i + static_cast<std::size_t>(std::countr_zero(nHits)) / 2;
    }
#endif
    // Each test leaves the top bit of a unit's lane set where it hits, and a borrow from the lane below can only follow
    // a hit there.
    constexpr std::uint64_t LANES = 0x0001000100010001;
    for (std::uint64_t nFour = 0; i + 4 <= nUnits; i += 4) {
        std::memcpy(&nFour, pUnits + i, sizeof nFour);
        const std::uint64_t nQuotes = nFour ^ (LANES * u'"');
        const std::uint64_t nSlashes = nFour ^ (LANES * u'\\');
        const std::uint64_t nHits =
            ((nFour - LANES * u' ') & ~nFour) | ((nQuotes - LANES) & ~nQuotes) | ((nSlashes - LANES) & ~nSlashes);
        if ((nHits & (LANES << 15)) != 0) break;
    }
    while (i < nUnits && !NeedsEscape(pUnits[i])) ++i;
    return i;
}

/// The stream of RapidJSON's in-place parsing, under the names that it asks for. A string's beginning, up to its first
/// escape, is already where it belongs, and is stepped over at once.
class CInPlaceJson {
public:
    using Ch = char16_t;

    /// @param pszJson  ends in a NUL at `nUnits`; overwritten while it is read
    CInPlaceJson(char16_t* pszJson, std::size_t nUnits)
        : m_pRead(pszJson), m_pBegin(pszJson), m_pEnd(pszJson + nUnits) {}

    Ch Peek() const { return *m_pRead; }
    Ch Take() { return *m_pRead++; }
    std::size_t Tell() const { return static_cast<std::size_t>(m_pRead - m_pBegin); }

    Ch* PutBegin() {
        Ch* pString = m_pRead;
        m_pRead += CountPlain(m_pRead, static_cast<std::size_t>(m_pEnd - m_pRead));
        m_pWrite = m_pRead;
        return pString;
    }
    void Put(Ch ch) { *m_pWrite++ = ch; }
    std::size_t PutEnd(const Ch* pString) const { return static_cast<std::size_t>(m_pWrite - pString); }
    void Flush() {}

private:
    Ch* m_pRead;
    Ch* m_pWrite = nullptr;
    Ch* m_pBegin;
    Ch* m_pEnd;
};

}  // namespace qvant

namespace rapidjson {

/// Parsing works on a copy of the stream, which the compiler keeps in registers.
template <>
struct StreamTraits<qvant::CInPlaceJson> {
    enum { copyOptimization = 1 };
};

}  // namespace rapidjson
