#include "model/contract_node.h"

namespace qvant {

namespace {

Text JoinPath(const Text& strParent, TextView strName) {
    return strParent.empty() ? Text(strName) : Concatenate({strParent, u".", strName});
}

/// The members come by name: a local name that sorts before "ENG" is there when the English one looks for it.
void ReadName(const Text& strKey, const CJsonValue& value, TextView strLanguage, stcContractListNode& node) {
    const Text* pText = value.Get<Text>();
    if (!pText) return;
    if (strKey == u"ENG") {
        node.strEng = *pText;
        if (node.strLocal.empty()) node.strLocal = *pText;
    }
    if (strKey == strLanguage) node.strLocal = *pText;
}

void ReadMember(const Text& strKey, const CJsonValue& value, stcContractListNode& node) {
    if (strKey == u"Node") {
        node.pNode = value.Get<CJsonValue::Array>();
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

std::unique_ptr<stcContractListNode> MakeRootNode(const CJsonValue& file, TextView strClassification,
                                                  TextView strLanguage) {
    const auto* pMembers = file.Get<CJsonValue::Object>();
    if (!pMembers) return nullptr;
    auto pRoot = std::make_unique<stcContractListNode>();
    bool bNamed = false;
    for (const auto& [strKey, pValue] : *pMembers) {
        if (strKey == u"Node") pRoot->pNode = pValue->Get<CJsonValue::Array>();
        if (strKey == u"ENG") bNamed = true;
        ReadName(strKey, *pValue, strLanguage, *pRoot);
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
    arChildren.reserve(node.pNode->size());
    for (const auto& pElement : *node.pNode) {
        auto& child = *arChildren.emplace_back(std::make_unique<stcContractListNode>());
        child.strParentPath = strPath;
        child.strParentLangPath = strLangPath;
        const auto* pMembers = pElement->Get<CJsonValue::Object>();
        if (!pMembers) continue;
        for (const auto& [strKey, pValue] : *pMembers) {
            ReadName(strKey, *pValue, strLanguage, child);
            ReadMember(strKey, *pValue, child);
        }
    }
    return arChildren;
}

}  // namespace qvant
