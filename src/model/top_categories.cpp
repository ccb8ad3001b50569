#include "model/top_categories.h"

namespace qvant {

namespace {

/// The path down to the top-level category: what stands before the second ".".
TextView CutTopLevelKey(TextView strPath) {
    const std::size_t nFirst = strPath.find(u'.');
    return nFirst == TextView::npos ? strPath : strPath.substr(0, strPath.find(u'.', nFirst + 1));
}

}  // namespace

void CTopCategories::Add(std::unique_ptr<stcContractListNode> pNode) {
    if (pNode->bPermitted) {
        Append(*pNode);
    } else {
        m_mapTopLevelPending[Concatenate({m_strClassification, u".", pNode->strEng})] = std::move(pNode);
    }
}

void CTopCategories::AddPermitted(TextView strPath, TextView strChildren) {
    if (strPath == m_strClassification) {
        m_strTopList.append(strChildren).push_back(u'|');
        return;
    }
    const auto found = m_mapTopLevelPending.find(CutTopLevelKey(strPath));
    if (found == m_mapTopLevelPending.end()) return;
    Append(*found->second);
    m_mapTopLevelPending.erase(found);
}

/// A category that occurs in the list already, be it as a part of another one's text, isn't listed again.
void CTopCategories::Append(const stcContractListNode& node) {
    const Text strItem = Concatenate({node.strEng, u",", node.strLocal});
    if (!Contains(m_strTopList, strItem)) AppendAll(m_strTopList, {strItem, u"|"});
}

}  // namespace qvant
