#include "store/json_members.h"

#include <cstddef>
#include <new>

#include <rapidjson/allocators.h>
#include <rapidjson/reader.h>

#include "store/json_stream.h"

namespace qvant {
namespace {

struct Member {
    bool bSeen = false;
    TextView strValue;
};

std::span<Member> MakeMembers(rapidjson::MemoryPoolAllocator<>& memory, std::size_t nCount) {
    if (nCount == 0) return {};
    void* pMemory = memory.Malloc(nCount * sizeof(Member));
    if (!pMemory) throw std::bad_alloc();
    return {new (pMemory) Member[nCount]{}, nCount};
}

/// Sees the members go by; keeps views into the text, which is parsed in place.
class CMemberPicker : public rapidjson::BaseReaderHandler<WideEncoding, CMemberPicker> {
public:
    CMemberPicker(std::span<const TextView> arFields, std::span<Member> arMembers)
        : m_arFields(arFields), m_arMembers(arMembers) {}

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
    TextView GetText(std::size_t nField) const { return m_arMembers[nField].strValue; }

private:
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
    std::span<Member> m_arMembers;
    TextView m_strKey;
    std::size_t m_nDepth = 0;
};

}  // namespace

void PickJsonMembers(char16_t* pszJson, std::span<const TextView> arFields, std::vector<Text>& arTexts) {
    using Memory = rapidjson::MemoryPoolAllocator<>;
    // Enough for all but the oddest documents, so that a reader of many needn't ask for memory for each.
    alignas(std::max_align_t) std::byte arBuffer[2048];
    Memory memory(arBuffer, sizeof arBuffer);
    CMemberPicker picker(arFields, MakeMembers(memory, arFields.size()));
    CInPlaceJson stream(pszJson, TextView(pszJson).size());
    rapidjson::GenericReader<WideEncoding, WideEncoding, Memory> reader(&memory);
    constexpr unsigned nFlags = rapidjson::kParseInsituFlag | rapidjson::kParseIterativeFlag;
    const bool bParsed = !reader.Parse<nFlags>(stream, picker).IsError();
    arTexts.resize(arFields.size());
    for (std::size_t i = 0; i < arFields.size(); ++i) arTexts[i] = bParsed ? picker.GetText(i) : TextView{};
}

}  // namespace qvant
