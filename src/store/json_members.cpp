#include "store/json_members.h"

#include <rapidjson/reader.h>

#include "store/json_stream.h"

namespace qvant {
namespace {

/// Sees the members go by; keeps views into the text, which is parsed in place.
class CMemberPicker : public rapidjson::BaseReaderHandler<WideEncoding, CMemberPicker> {
public:
    explicit CMemberPicker(std::span<const TextView> arFields) : m_arFields(arFields), m_arMembers(arFields.size()) {}

    bool Default() { return Take({}, false); }
    bool String(const char16_t* psz, rapidjson::SizeType nLength, bool) { return Take({psz, nLength}, true); }
    bool Key(const char16_t* psz, rapidjson::SizeType nLength, bool) {
        if (m_nDepth == 1) m_strKey = {psz, nLength};
        return true;
    }
    bool StartObject() { return Enter(); }
    bool StartArray() { return Enter(); }
    bool EndObject(rapidjson::SizeType) { return Leave(); }
    bool EndArray(rapidjson::SizeType) { return Leave(); }

    /// A root that is an array has no keys, so nothing was taken from it.
    std::vector<Text> GetTexts() const {
        std::vector<Text> arTexts;
        arTexts.reserve(m_arMembers.size());
        for (const Member& member : m_arMembers) arTexts.emplace_back(member.strValue);
        return arTexts;
    }

private:
    struct Member {
        bool bSeen = false;
        TextView strValue;
    };

    bool Enter() {
        Take({}, false);
        ++m_nDepth;
        return true;
    }
    bool Leave() {
        --m_nDepth;
        return true;
    }

    /// The first member of a name settles it, be it a string or not.
    bool Take(TextView strValue, bool bString) {
        if (m_nDepth != 1 || !m_strKey.data()) return true;
        for (std::size_t i = 0; i < m_arFields.size(); ++i) {
            Member& member = m_arMembers[i];
            if (member.bSeen || m_arFields[i] != m_strKey) continue;
            member.bSeen = true;
            if (bString) member.strValue = strValue;
        }
        return true;
    }

    std::span<const TextView> m_arFields;
    std::vector<Member> m_arMembers;
    TextView m_strKey;
    std::size_t m_nDepth = 0;
};

}  // namespace

std::vector<Text> PickJsonMembers(char16_t* pszJson, std::span<const TextView> arFields) {
    CMemberPicker picker(arFields);
    CInPlaceJson stream(pszJson, TextView(pszJson).size());
    rapidjson::GenericReader<WideEncoding, WideEncoding> reader;
    constexpr unsigned nFlags = rapidjson::kParseInsituFlag | rapidjson::kParseIterativeFlag;
    if (!reader.Parse<nFlags>(stream, picker)) return std::vector<Text>(arFields.size());
    return picker.GetTexts();
}

}  // namespace qvant
