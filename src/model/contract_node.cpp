#include "model/contract_node.h"

#include <algorithm>

namespace qvant {

namespace {

using Member = JsonValue::Member;

/// The members in ascending order of their names; of those that share one only the last of the text.
std::vector<const Member*> SortMembers(const JsonValue& object) {
    std::vector<const Member*> arMembers;
    arMembers.reserve(object.MemberCount());
    for (const Member& member : object.GetObject()) arMembers.push_back(&member);
    std::sort(arMembers.begin(), arMembers.end(), [](const Member* pA, const Member* pB) {
        const int nOrder = GetText(pA->name).compare(GetText(pB->name));
        return nOrder != 0 ? nOrder < 0 : pA > pB;
    });
    const auto end = std::unique(arMembers.begin(), arMembers.end(), [](const Member* pA, const Member* pB) {
        return GetText(pA->name) == GetText(pB->name);
    });
    arMembers.erase(end, arMembers.end());
    return arMembers;
}

const JsonValue* ToArray(const JsonValue& value) { return value.IsArray() ? &value : nullptr; }

Text JoinPath(const Text& strParent, TextView strName) {
    return strParent.empty() ? Text(strName) : Concatenate({strParent, u".", strName});
}

/// The members come by name: a local name that sorts before "ENG" is there when the English one looks for it.
void ReadName(TextView strKey, const JsonValue& value, TextView strLanguage, stcContractListNode& node) {
    if (!value.IsString()) return;
    if (strKey == u"ENG") {
        node.strEng = GetText(value);
        if (node.strLocal.empty()) node.strLocal = GetText(value);
    }
    if (strKey == strLanguage) node.strLocal = GetText(value);
}

void ReadMember(TextView strKey, const JsonValue& value, stcContractListNode& node) {
    if (strKey == u"Node") {
        node.pNode = ToArray(value);
    } else if (strKey == u"Contracts") {
        node.bContracts = true;
        node.arContracts = CTextArray(value);
    } else if (strKey == u"ExpirationDate") {
        node.arExpiration = CTextArray(value);
    } else if (strKey == u"LongMarginRate") {
        node.arLongMargin = CTextArray(value);
    } else if (strKey == u"ShortMarginRate") {
        node.arShortMargin = CTextArray(value);
    } else if (strKey == u"InstrumentID") {
        node.arInstrument = CTextArray(value);
    }
}

}  // namespace

std::size_t CountContracts(const JsonValue& file) {
    std::size_t nCount = 0;
    for (std::vector<const JsonValue*> arPending = {&file}; !arPending.empty();) {
        const JsonValue& node = *arPending.back();
        arPending.pop_back();
        const JsonValue* pContracts = node.IsObject() ? FindMember(node, u"Contracts") : nullptr;
        if (pContracts && pContracts->IsArray()) nCount += pContracts->Size();
        const JsonValue* pNodes = node.IsObject() ? FindMember(node, u"Node") : nullptr;
        if (!pNodes || !pNodes->IsArray()) continue;
        for (const JsonValue& child : pNodes->GetArray()) arPending.push_back(&child);
    }
    return nCount;
}

std::unique_ptr<stcContractListNode> MakeRootNode(const JsonValue& file, TextView strClassification,
                                                  TextView strLanguage) {
    if (!file.IsObject()) return nullptr;
    auto pRoot = std::make_unique<stcContractListNode>();
    bool bNamed = false;
    for (const Member* pMember : SortMembers(file)) {
        const TextView strKey = GetText(pMember->name);
        if (strKey == u"Node") pRoot->pNode = ToArray(pMember->value);
        if (strKey == u"ENG") bNamed = true;
        ReadName(strKey, pMember->value, strLanguage, *pRoot);
    }
    if (!pRoot->pNode) return nullptr;
    pRoot->strEng = bNamed ? strClassification : TextView{};
    return pRoot;
}

ContractListLevel ExpandNode(const stcContractListNode& node, TextView strLanguage) {
    ContractListLevel arChildren;
    if (node.strEng.empty() || !node.pNode) return arChildren;
    const Text strPath = JoinPath(node.strParentPath, node.strEng);
    const Text strLangPath = JoinPath(node.strParentLangPath, node.strLocal);
    arChildren.reserve(node.pNode->Size());
    for (const JsonValue& element : node.pNode->GetArray()) {
        auto& child = *arChildren.emplace_back(std::make_unique<stcContractListNode>());
        child.strParentPath = strPath;
        child.strParentLangPath = strLangPath;
        if (!element.IsObject()) continue;
        for (const Member* pMember : SortMembers(element)) {
            const TextView strKey = GetText(pMember->name);
            ReadName(strKey, pMember->value, strLanguage, child);
            ReadMember(strKey, pMember->value, child);
        }
    }
    return arChildren;
}

}  // namespace qvant
