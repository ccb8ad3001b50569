/// The members of a security that the parser knows by name.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "model/json_document.h"

namespace qvant {

enum class SecurityMember : std::size_t {
    // Those that hold times come first, in the order of their conversion, which is also that of the stored text.
    TradeTime,
    OpenCloseTime,
    UnderlyingOpenCloseTime,
    NewFormatOCT,
    SpecificOCT,
    ResetTime,
    UserResetTime,
    NewFormatReset,
    SpecificReset,
    SettlementTime,
    TimeZone,
    Pinyin,
    MainType,
    Other
};

inline constexpr auto SECURITY_TIMES = static_cast<std::size_t>(SecurityMember::TimeZone);
inline constexpr auto SECURITY_MEMBERS = static_cast<std::size_t>(SecurityMember::Other);

TextView GetMemberName(SecurityMember member);

/// Where the known members of a security are, found in one walk. One object serves a whole pass.
class CSecurityMembers {
public:
    /// Walks the members of an object. Of several members of one name the first counts.
    void Read(const JsonValue& security);

    /// The text of a member, borrowed from the document; empty when it is missing or no string.
    TextView GetText(SecurityMember member) const {
        const JsonValue* pValue = m_arValues[static_cast<std::size_t>(member)];
        return pValue && pValue->IsString() ? qvant::GetText(*pValue) : TextView{};
    }

    /// What the n-th member of the object is.
    SecurityMember GetKind(std::size_t nMember) const { return m_arKinds[nMember]; }

private:
    std::array<const JsonValue*, SECURITY_MEMBERS> m_arValues{};
    std::vector<SecurityMember> m_arKinds;
};

}  // namespace qvant
