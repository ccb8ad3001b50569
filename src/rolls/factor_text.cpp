#include "rolls/factor_text.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>
#include <optional>
#include <string_view>

#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "model/json_document.h"
#include "symbols/time_base.h"

namespace qvant {

namespace {

/// Strings are read where they lie. Numbers are read to their last digit, so that what isn't touched comes out as it
/// went in.
constexpr unsigned PARSE_FLAGS = rapidjson::kParseInsituFlag | rapidjson::kParseFullPrecisionFlag;

/// RapidJSON's memory, with a failure that doesn't go unnoticed.
class CHeap {
public:
    // NOLINTBEGIN(readability-convert-member-functions-to-static): the library calls them on an object
    static constexpr bool kNeedFree = true;
    void* Malloc(std::size_t nBytes) { return Realloc(nullptr, 0, nBytes); }
    void* Realloc(void* pMemory, std::size_t /*nBefore*/, std::size_t nBytes) {
        if (nBytes == 0) {
            Free(pMemory);
            return nullptr;
        }
        void* pNew = std::realloc(pMemory, nBytes);
        if (!pNew) throw std::bad_alloc();
        return pNew;
    }
    // NOLINTEND(readability-convert-member-functions-to-static)
    static void Free(void* pMemory) noexcept { std::free(pMemory); }
};

using Buffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, CHeap>;
using Writer = rapidjson::Writer<Buffer, rapidjson::UTF8<>, rapidjson::UTF8<>, CHeap>;
using Reader = rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, CHeap>;

/// What is read of an element.
enum class Field { None, AdjustedDate, Date, Time, Factor };

struct FieldName {
    std::string_view strName;
    Field field;
};
constexpr std::array<FieldName, 4> FIELDS = {
    {{"od", Field::AdjustedDate}, {"d", Field::Date}, {"t", Field::Time}, {"sxd", Field::Factor}}};

Field FindField(std::string_view strName) {
    for (const FieldName& name : FIELDS) {
        if (name.strName == strName) return name.field;
    }
    return Field::None;
}

/// The numbers of one element; a field that was met doesn't count again.
class CElement {
public:
    /// The field that the member's value is for; none when one of that name went before.
    Field Enter(std::string_view strName) {
        const Field field = FindField(strName);
        const auto nField = static_cast<std::size_t>(field);
        if (field == Field::None || m_arMet[nField]) return Field::None;
        m_arMet[nField] = true;
        return field;
    }
    void Set(Field field, std::int64_t nValue) { m_arNumbers[static_cast<std::size_t>(field)] = nValue; }

    std::int64_t GetUtc() const {
        const std::int64_t nAdjusted = Get(Field::AdjustedDate);
        const std::int64_t nDate = nAdjusted != 0 ? nAdjusted : Get(Field::Date);
        const std::int64_t nTime = Get(Field::Time);
        // A value beyond the calendar must not come back into it by being cut.
        if (!Fits(nDate) || !Fits(nTime)) return 0;
        const std::int64_t nClock = MakeClockMs(static_cast<std::int32_t>(nDate), static_cast<std::int32_t>(nTime));
        return RenderClock(nClock - CLOCK_CHINA_OFFSET);
    }

private:
    static constexpr std::size_t FIELD_COUNT = 5;

    static bool Fits(std::int64_t nValue) { return nValue >= 0 && nValue <= std::numeric_limits<std::int32_t>::max(); }
    std::int64_t Get(Field field) const { return m_arNumbers[static_cast<std::size_t>(field)]; }

    std::array<std::int64_t, FIELD_COUNT> m_arNumbers{};
    std::array<bool, FIELD_COUNT> m_arMet{};
};

/// Writes a document down as its parts are read, and adds to the elements on the way.
class CEnrichment {
public:
    CEnrichment(Writer& writer, bool bRescale) : m_writer(writer), m_bRescale(bRescale) {}

    bool Null() { return Leave() && m_writer.Null(); }
    bool Bool(bool b) { return Leave() && m_writer.Bool(b); }
    bool Int(int n) { return Note(n) && m_writer.Int(n); }
    bool Uint(unsigned n) { return Note(n) && m_writer.Uint(n); }
    bool Int64(std::int64_t n) { return Note(n) && m_writer.Int64(n); }
    bool Uint64(std::uint64_t n) {
        const bool bSigned = n <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
        return (bSigned ? Note(static_cast<std::int64_t>(n)) : Leave()) && m_writer.Uint64(n);
    }
    bool Double(double d) {
        const double dScaled = m_field == Field::Factor && m_bRescale ? d * FACTOR_SCALE : d;
        return Leave() && m_writer.Double(std::isfinite(dScaled) ? dScaled : d);
    }
    bool RawNumber(const char* psz, rapidjson::SizeType nLength, bool bCopy) {
        return Leave() && m_writer.RawNumber(psz, nLength, bCopy);
    }
    bool String(const char* psz, rapidjson::SizeType nLength, bool bCopy) {
        return Leave() && m_writer.String(psz, nLength, bCopy);
    }
    bool Key(const char* psz, rapidjson::SizeType nLength, bool bCopy) {
        const std::string_view strName(psz, nLength);
        if (m_nDepth == ROOT && !m_bMet) m_bMet = m_bNext = strName == "data";
        if (m_nDepth == ELEMENT && m_bInside) m_field = m_element.Enter(strName);
        return m_writer.Key(psz, nLength, bCopy);
    }
    bool StartObject() {
        if (m_nDepth + 1 == ELEMENT && m_bInside) m_element = {};
        return Descend() && m_writer.StartObject();
    }
    bool EndObject(rapidjson::SizeType nMembers) {
        if (m_nDepth == ELEMENT && m_bInside) {
            m_writer.Key(UTC_NAME.data(), static_cast<rapidjson::SizeType>(UTC_NAME.size()));
            m_writer.Int64(m_element.GetUtc());
        }
        --m_nDepth;
        return m_writer.EndObject(nMembers);
    }
    bool StartArray() {
        if (m_bNext) m_bInside = true;
        return Descend() && m_writer.StartArray();
    }
    bool EndArray(rapidjson::SizeType nElements) {
        if (--m_nDepth == ROOT) m_bInside = false;
        return m_writer.EndArray(nElements);
    }

private:
    static constexpr int ROOT = 1;     ///< within the outermost object
    static constexpr int ELEMENT = 3;  ///< within an object of the array
    static constexpr std::string_view UTC_NAME = "odt_utc";

    /// Notes that a value goes by that is for no field.
    bool Leave() {
        m_field = Field::None;
        m_bNext = false;
        return true;
    }
    bool Note(std::int64_t nValue) {
        m_element.Set(m_field, nValue);
        return Leave();
    }
    bool Descend() { return ++m_nDepth <= JSON_DEEPEST && Leave(); }

    Writer& m_writer;
    const bool m_bRescale;
    int m_nDepth = 0;
    bool m_bMet = false;          ///< the member "data" was there
    bool m_bNext = false;         ///< its value comes next
    bool m_bInside = false;       ///< within its array
    Field m_field = Field::None;  ///< of the value that comes next
    CElement m_element;
};

/// @param pszJson  ends in a NUL; overwritten
/// @return false for a text that isn't JSON
bool Enrich(char* pszJson, bool bRescale, Buffer& buffer) {
    Writer writer(buffer);
    CEnrichment enrichment(writer, bRescale);
    rapidjson::InsituStringStream stream(pszJson);
    Reader reader;
    return !reader.Parse<PARSE_FLAGS>(stream, enrichment).IsError();
}

}  // namespace

Text EnrichFactors(HistoryText text, bool bRescale) {
    if (text.strUtf8.empty()) return {};
    Buffer buffer(nullptr, text.strUtf8.size() * 3 / 2);
    if (!Enrich(reinterpret_cast<char*>(text.pMemory.get()), bRescale, buffer)) return {};
    text.pMemory.reset();
    return Widen({buffer.GetString(), buffer.GetSize()});
}

}  // namespace qvant
