#include "rolls/factor_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "model/json_document.h"
#include "platform/stop.h"
#include "rolls/json_tokens.h"
#include "symbols/time_base.h"

namespace qvant {

namespace {

/// What is read of an element.
enum class Field { None, AdjustedDate, Date, Time, Factor };

Field FindField(std::string_view strName) {
    if (strName == "od") return Field::AdjustedDate;
    if (strName == "d") return Field::Date;
    if (strName == "t") return Field::Time;
    return strName == "sxd" ? Field::Factor : Field::None;
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

/// Reads a document once, and writes it down with what it adds. What comes out as it went in is copied in stretches
/// that are as long as they can be.
class CEnrichment {
public:
    /// @param strJson  ends in a NUL
    CEnrichment(std::string_view strJson, bool bRescale, TextView strBefore)
        : m_psz(strJson.data()), m_pKept(m_psz), m_bRescale(bRescale) {
        m_strOut.reserve(strBefore.size() + strJson.size() * 3 / 2);
        m_strOut.append(strBefore);
    }

    /// @return false for a text that isn't JSON, and when a stop comes first
    bool Run() {
        if (!ReadValue(Place::Root, nullptr, Field::None)) return false;
        SkipBlanks();
        if (*m_psz != '\0') return false;
        Flush();
        return true;
    }
    Text TakeText() { return std::move(m_strOut); }

private:
    static constexpr std::uint32_t OBJECTS_AT_A_TIME = 1024;

    /// Where a value stands.
    enum class Place { Root, Data, Element, Elsewhere };

    /// @param pElement  whose member the value is, when `field` is one
    bool ReadValue(Place place, CElement* pElement, Field field) {
        SkipBlanks();
        switch (*m_psz) {
            case '{':
                return ReadObject(place);
            case '[':
                return ReadArray(place);
            case '"':
                return ReadString(nullptr);
            case 't':
                return ReadWord("true");
            case 'f':
                return ReadWord("false");
            case 'n':
                return ReadWord("null");
            default:
                return ReadNumber(pElement, field);
        }
    }

    bool ReadObject(Place place) {
        if (!Descend()) return false;
        CElement element;
        bool bFirst = true;
        while (!IsAt('}')) {
            if (!bFirst && !Take(',')) return false;
            bFirst = false;
            if (!ReadMember(place, element)) return false;
        }
        if (place == Place::Element) AppendUtc(element, bFirst);
        return GoesOn() && Ascend();
    }

    bool ReadMember(Place place, CElement& element) {
        std::string_view strName;
        if (!IsAt('"') || !ReadString(&strName)) return false;
        const Field field = place == Place::Element ? element.Enter(strName) : Field::None;
        const bool bData = place == Place::Root && !m_bMet && strName == "data";
        m_bMet |= bData;
        return Take(':') && ReadValue(bData ? Place::Data : Place::Elsewhere, &element, field);
    }

    bool ReadArray(Place place) {
        if (!Descend()) return false;
        const Place inside = place == Place::Data ? Place::Element : Place::Elsewhere;
        for (bool bFirst = true; !IsAt(']'); bFirst = false) {
            if (!bFirst && !Take(',')) return false;
            if (!ReadValue(inside, nullptr, Field::None)) return false;
        }
        return Ascend();
    }

    /// @param pName  out: what the string says, until the next one is read; may be null
    bool ReadString(std::string_view* pName) {
        const JsonToken token = FindJsonString(m_psz);
        if (token.strText.empty()) return false;
        if (token.bPlain) {
            m_psz += token.strText.size();
            if (pName) *pName = token.strText.substr(1, token.strText.size() - 2);
            return true;
        }
        if (!Replace(token)) return false;
        if (pName) *pName = {m_value.GetString(), m_value.GetStringLength()};
        return true;
    }

    bool ReadNumber(CElement* pElement, Field field) {
        const JsonToken token = FindJsonNumber(m_psz);
        if (token.strText.empty()) return false;
        if (field != Field::None && token.bWhole) NoteNumber(token.strText, *pElement, field);
        if (token.bPlain && (field != Field::Factor || !m_bRescale)) {
            m_psz += token.strText.size();
            return true;
        }
        return Replace(token, field == Field::Factor && m_bRescale);
    }

    static void NoteNumber(std::string_view strNumber, CElement& element, Field field) {
        std::int64_t nValue = 0;
        const auto result = std::from_chars(strNumber.data(), strNumber.data() + strNumber.size(), nValue);
        if (result.ec == std::errc()) element.Set(field, nValue);
    }

    bool ReadWord(std::string_view strWord) {
        for (const char ch : strWord) {
            if (*m_psz++ != ch) return false;
        }
        return true;
    }

    /// Writes a token by way of RapidJSON, which leaves it in `m_value`.
    bool Replace(const JsonToken& token, bool bRescale = false) {
        if (!ReadJsonToken(token, m_value)) return false;
        if (bRescale && m_value.IsDouble()) {
            const double dScaled = m_value.GetDouble() * FACTOR_SCALE;
            if (std::isfinite(dScaled)) m_value.SetDouble(dScaled);
        }
        Flush();
        AppendWidened(m_strOut, WriteJsonValue(m_value));
        m_pKept = m_psz += token.strText.size();
        return true;
    }

    void AppendUtc(const CElement& element, bool bAlone) {
        Flush();
        m_strOut.append(bAlone ? u"\"odt_utc\":" : u",\"odt_utc\":");
        AppendWidened(m_strOut, std::to_string(element.GetUtc()));
    }

    void SkipBlanks() {
        if (!IsBlank(*m_psz)) return;
        Flush();
        while (IsBlank(*m_psz)) ++m_psz;
        m_pKept = m_psz;
    }
    static bool IsBlank(char ch) { return ch == ' ' || ch == '\n' || ch == '\r' || ch == '\t'; }

    /// Writes what was read and not written yet. It ends at a token's end, never within a sequence of bytes.
    void Flush() {
        AppendWidened(m_strOut, {m_pKept, static_cast<std::size_t>(m_psz - m_pKept)});
        m_pKept = m_psz;
    }

    bool IsAt(char ch) {
        SkipBlanks();
        return *m_psz == ch;
    }
    bool Take(char ch) {
        if (!IsAt(ch)) return false;
        ++m_psz;
        return true;
    }
    /// Now and then whether the thread is told to stop: the largest replies take a second.
    bool GoesOn() { return ++m_nObjects % OBJECTS_AT_A_TIME != 0 || !platform::StopRequested(); }
    bool Descend() {
        ++m_psz;
        return ++m_nDepth <= JSON_DEEPEST;
    }
    bool Ascend() {
        ++m_psz;
        --m_nDepth;
        return true;
    }

    const char* m_psz;    ///< what is read next
    const char* m_pKept;  ///< what is written next
    const bool m_bRescale;
    Text m_strOut;
    rapidjson::Document m_value;  ///< the last token that RapidJSON has read
    int m_nDepth = 0;
    std::uint32_t m_nObjects = 0;  ///< those that were read to their end
    bool m_bMet = false;           ///< the member "data" was there
};

}  // namespace

Text EnrichFactors(HistoryText text, bool bRescale, TextView strBefore) {
    if (text.strUtf8.empty()) return {};
    CEnrichment enrichment(text.strUtf8, bRescale, strBefore);
    return enrichment.Run() ? enrichment.TakeText() : Text();
}

}  // namespace qvant
