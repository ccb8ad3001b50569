#include "model/security_members.h"

#include <algorithm>

#include "base/same_text.h"

namespace qvant {

namespace {

constexpr std::array<TextView, SECURITY_MEMBERS> NAMES = {u"TradeTime",
                                                          u"OpenCloseTime",
                                                          u"Underlying.OpenCloseTime",
                                                          u"NewFormatOCT",
                                                          u"SpecificOCT",
                                                          u"ResetTime",
                                                          u"ResetTime.UDHotMonth",
                                                          u"NewFormatReset",
                                                          u"SpecificReset",
                                                          u"SettlementTime",
                                                          u"TimeZone",
                                                          u"pinyin",
                                                          u"securityMainType"};

constexpr std::size_t LONGEST_NAME = 24;

/// The known members of each length of name: two at most, `Other` where there is none.
using NamesByLength = std::array<std::array<SecurityMember, 2>, LONGEST_NAME + 1>;

constexpr NamesByLength SortByLength() {
    NamesByLength arByLength{};
    for (auto& arMembers : arByLength) arMembers = {SecurityMember::Other, SecurityMember::Other};
    for (std::size_t i = 0; i < NAMES.size(); ++i) {
        auto& arMembers = arByLength[NAMES[i].size()];
        arMembers[arMembers[0] == SecurityMember::Other ? 0 : 1] = static_cast<SecurityMember>(i);
    }
    return arByLength;
}

constexpr NamesByLength BY_LENGTH = SortByLength();

SecurityMember FindKind(TextView strName) {
    if (strName.size() > LONGEST_NAME) return SecurityMember::Other;
    for (const SecurityMember member : BY_LENGTH[strName.size()]) {
        if (member != SecurityMember::Other && IsSame(GetMemberName(member), strName)) return member;
    }
    return SecurityMember::Other;
}

}  // namespace

TextView GetMemberName(SecurityMember member) { return NAMES[static_cast<std::size_t>(member)]; }

void CSecurityMembers::Read(const JsonValue& security) {
    m_arValues.fill(nullptr);
    m_arKinds.clear();
    for (auto pMember = security.MemberBegin(); pMember != security.MemberEnd(); ++pMember) {
        SecurityMember kind = FindKind(qvant::GetText(pMember->name));
        if (kind != SecurityMember::Other) {
            const JsonValue*& pValue = m_arValues[static_cast<std::size_t>(kind)];
            if (pValue) kind = SecurityMember::Other;
            if (!pValue) pValue = &pMember->value;
        }
        m_arKinds.push_back(kind);
    }
}

}  // namespace qvant
