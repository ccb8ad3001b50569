#include "store/json_members.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include <rapidjson/allocators.h>
#include <rapidjson/reader.h>

#include "base/same_text.h"
#include "store/json_stream.h"

namespace qvant {
namespace {

struct Member {
    bool bSeen = false;
    TextView strValue;
};

/// The names asked for, and what was found for each of them.
class CWanted {
public:
    CWanted(std::span<const TextView> arFields, std::span<Member> arMembers)
        : m_arFields(arFields), m_arMembers(arMembers) {
        Reset();
    }

    void Reset() { std::fill(m_arMembers.begin(), m_arMembers.end(), Member()); }

    /// The first member of a name settles it, be it a string or not.
    void Take(TextView strName, TextView strValue) {
        for (std::size_t i = 0; i < m_arFields.size(); ++i) {
            if (!IsSame(m_arFields[i], strName) || m_arMembers[i].bSeen) continue;
            m_arMembers[i] = {.bSeen = true, .strValue = strValue};
        }
    }

private:
    std::span<const TextView> m_arFields;
    std::span<Member> m_arMembers;
};

/// Reads the form that the securities are stored in: one object of strings, without escapes and blanks. Everything else
/// is left to the reader of all JSON, broken texts too.
class CPlainReader {
public:
    CPlainReader(const char16_t* pszJson, std::size_t nUnits) : m_pRead(pszJson), m_pEnd(pszJson + nUnits) {}

    /// @return whether the whole text is of that form
    bool Read(CWanted& wanted) {
        if (!Skip(u'{')) return false;
        do {
            const TextView strName = ReadString();
            if (!strName.data() || !Skip(u':')) return false;
            const TextView strValue = ReadString();
            if (!strValue.data()) return false;
            wanted.Take(strName, strValue);
        } while (Skip(u','));
        return Skip(u'}') && (m_pRead == m_pEnd || *m_pRead == u'\0');
    }

private:
    bool Skip(char16_t ch) {
        if (m_pRead == m_pEnd || *m_pRead != ch) return false;
        ++m_pRead;
        return true;
    }

    /// @return a view without data where there is no such string
    TextView ReadString() {
        if (!Skip(u'"')) return {};
        const char16_t* const pBegin = m_pRead;
        m_pRead += CountPlain(m_pRead, static_cast<std::size_t>(m_pEnd - m_pRead));
        const TextView strText(pBegin, static_cast<std::size_t>(m_pRead - pBegin));
        return Skip(u'"') ? strText : TextView{};
    }

    const char16_t* m_pRead;
    const char16_t* m_pEnd;
};

/// Sees the members go by; keeps views into the text, which is parsed in place.
class CMemberPicker : public rapidjson::BaseReaderHandler<WideEncoding, CMemberPicker> {
public:
    explicit CMemberPicker(CWanted& wanted) : m_wanted(wanted) {}

    bool Default() { return Take({}); }
    /// A number that is too big for its type is a fault, which the reader doesn't see in all of them.
    bool Double(double d) { return std::isfinite(d) && Take({}); }
    bool String(const char16_t* psz, rapidjson::SizeType nLength, bool) { return Take({psz, nLength}); }
    bool Key(const char16_t* psz, rapidjson::SizeType nLength, bool) {
        if (m_nDepth == 1) m_strKey = {psz, nLength};
        return true;
    }
    bool StartObject() { return Enter(); }
    bool StartArray() { return Enter(); }
    bool EndObject(rapidjson::SizeType) { return Leave(); }
    bool EndArray(rapidjson::SizeType) { return Leave(); }

private:
    bool Enter() {
        Take({});
        ++m_nDepth;
        return true;
    }
    bool Leave() {
        --m_nDepth;
        return true;
    }

    /// A root that is an array has no keys, so nothing is taken from it.
    bool Take(TextView strValue) {
        if (m_nDepth == 1 && m_strKey.data()) m_wanted.Take(m_strKey, strValue);
        return true;
    }

    CWanted& m_wanted;
    TextView m_strKey;
    std::size_t m_nDepth = 0;
};

bool ReadAnyJson(char16_t* pszJson, CWanted& wanted) {
    using Memory = rapidjson::MemoryPoolAllocator<>;
    // Enough for all but the oddest documents, so that a reader of many needn't ask for memory for each.
    alignas(std::max_align_t) std::byte arBuffer[2048];
    Memory memory(arBuffer, sizeof arBuffer);
    CMemberPicker picker(wanted);
    CInPlaceJson stream(pszJson, TextView(pszJson).size());
    rapidjson::GenericReader<WideEncoding, WideEncoding, Memory> reader(&memory);
    constexpr unsigned nFlags = rapidjson::kParseInsituFlag | rapidjson::kParseIterativeFlag;
    return !reader.Parse<nFlags>(stream, picker).IsError();
}

}  // namespace

void PickJsonMembers(char16_t* pszJson, std::size_t nUnits, std::span<const TextView> arFields,
                     std::vector<Text>& arTexts) {
    constexpr std::size_t FEW = 8;
    std::array<Member, FEW> arFew;
    std::vector<Member> arMany(arFields.size() > FEW ? arFields.size() : 0);
    const std::span<Member> arMembers = arMany.empty() ? std::span(arFew).first(arFields.size()) : std::span(arMany);
    CWanted wanted(arFields, arMembers);
    bool bRead = CPlainReader(pszJson, nUnits).Read(wanted);
    if (!bRead) {
        wanted.Reset();
        bRead = ReadAnyJson(pszJson, wanted);
    }
    arTexts.resize(arFields.size());
    for (std::size_t i = 0; i < arFields.size(); ++i) arTexts[i] = bRead ? arMembers[i].strValue : TextView{};
}

}  // namespace qvant
