#include "model/contract_walk.h"

namespace qvant {

namespace {

constexpr TextView HOT = u"HOT";
constexpr TextView HOT2 = u"HOT2";

/// The word that stands in for the month of a leaf's contracts; empty for a leaf of plain months.
TextView GetHotWord(const stcContractListNode& parent, const stcContractListNode& leaf) {
    if (parent.strEng == HOT || leaf.strEng == HOT) return HOT;
    return parent.strEng == HOT2 || leaf.strEng == HOT2 ? HOT2 : TextView{};
}

void AppendItem(Text& strList, const stcContractListNode& node) {
    AppendAll(strList, {node.strEng, u",", node.strLocal, u"|"});
}

}  // namespace

void CContractWalk::Walk(std::unique_ptr<stcContractListNode> pRoot) {
    ContractListLevel arLevel;
    arLevel.push_back(std::move(pRoot));
    for (int nLevel = 0; !arLevel.empty() && nLevel < DEEPEST_LEVEL; ++nLevel) {
        ContractListLevel arNext;
        for (auto& pNode : arLevel) WalkNode(std::move(pNode), arNext);
        arLevel = std::move(arNext);
    }
    if (IsRestricted()) PublishTopCategories();
}

void CContractWalk::WalkNode(std::unique_ptr<stcContractListNode> pNode, ContractListLevel& arNext) {
    ContractListLevel arChildren = ExpandNode(*pNode, m_state.AppsLanguage);
    if (!arChildren.empty()) {
        // A branch of nameless children ends here, with the node itself.
        if (!ListChildren(*pNode, arChildren)) return;
        PublishChildren(*pNode, arChildren.front()->strParentPath);
    }
    if (IsRestricted() && pNode->strParentPath == m_strClassification) m_top.Add(std::move(pNode));
    for (auto& pChild : arChildren) {
        if (!pChild->bContracts) arNext.push_back(std::move(pChild));
    }
}

/// @return false when no child has a name
bool CContractWalk::ListChildren(stcContractListNode& node, const ContractListLevel& arChildren) {
    bool bNamed = false;
    m_strChildList.clear();
    for (const auto& pChild : arChildren) {
        if (pChild->strEng.empty()) continue;
        bNamed = true;
        if (pChild->bContracts) {
            ListLeaf(node, *pChild);
        } else {
            AppendItem(m_strChildList, *pChild);
        }
    }
    return bNamed;
}

void CContractWalk::ListLeaf(stcContractListNode& parent, const stcContractListNode& leaf) {
    if (leaf.arContracts.empty()) return;
    Text strPath = Concatenate({leaf.strParentPath, u".", leaf.strEng});
    m_recorder.RecordLeaf(leaf, strPath, GetHotWord(parent, leaf));
    const TextView strContracts = TrimRight(m_recorder.GetLeafList(), u"|");
    if (!strContracts.empty()) {
        m_mapContractListName.insert_or_assign(strPath, strContracts);
        parent.bPermitted = true;
        AppendItem(m_strChildList, leaf);
    }
    // Set for every leaf with contracts, an empty text and a leaf that its parent doesn't show included: the pickers
    // look it up by the path alone.
    m_mapContractListName.insert_or_assign(strPath.append(u"-Instrument"), ListInstruments(leaf));
}

/// The file's own instruments if it has any, else those of the stocks among the contracts.
TextView CContractWalk::ListInstruments(const stcContractListNode& leaf) {
    if (leaf.arInstrument.empty()) return TrimRight(m_recorder.GetInstrumentList(), u"|");
    m_strInstruments.clear();
    for (std::size_t i = 0; i < leaf.arInstrument.size(); ++i) {
        const TextView strInstrument = leaf.arInstrument[i];
        AppendAll(m_strInstruments, {strInstrument.empty() ? u"unknow" : strInstrument, u"|"});
    }
    return TrimRight(m_strInstruments, u"|");
}

void CContractWalk::PublishChildren(const stcContractListNode& node, TextView strPath) {
    const TextView strChildren = TrimRight(m_strChildList, u"|");
    if (strChildren.empty()) return;
    m_mapContractListName.insert_or_assign(strPath, strChildren);
    if (IsRestricted() && node.bPermitted) m_top.AddPermitted(strPath, strChildren);
}

void CContractWalk::PublishTopCategories() {
    const TextView strTopList = m_top.GetList();
    if (strTopList.empty()) {
        m_mapContractListName.erase(m_strClassification);
    } else {
        m_mapContractListName.insert_or_assign(m_strClassification, strTopList);
    }
}

}  // namespace qvant
