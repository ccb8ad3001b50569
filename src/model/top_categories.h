/// The top-level categories of a classification that hold a permitted contract.
#pragma once

#include <memory>
#include <unordered_map>

#include "model/contract_node.h"

namespace qvant {

/// Wanted only when permissions restrict the user. The walk comes to a category before it comes to the contracts far
/// below it, so that one without a permitted contract of its own waits here until one turns up, and stands in the list
/// where that happened.
class CTopCategories {
public:
    explicit CTopCategories(TextView strClassification) : m_strClassification(strClassification) {}

    /// Takes a top-level category that the walk is done with: into the list if it is permitted, else to wait.
    void Add(std::unique_ptr<stcContractListNode> pNode);
    /// A node was found whose leaves show permitted contracts.
    /// @param strPath      English path of the node
    /// @param strChildren  its permitted children: "eng,local|eng,local"
    void AddPermitted(TextView strPath, TextView strChildren);
    /// "eng,local|eng,local"
    TextView GetList() const { return TrimRight(m_strTopList, u"|"); }

private:
    void Append(const stcContractListNode& node);

    const TextView m_strClassification;
    Text m_strTopList;
    /// By English path.
    std::unordered_map<Text, std::unique_ptr<stcContractListNode>, TextHash, std::equal_to<>> m_mapTopLevelPending;
};

}  // namespace qvant
