/// The walk over the categories of one contract list file, level by level.
#pragma once

#include <memory>

#include "model/contract_node.h"
#include "model/contract_recorder.h"
#include "model/top_categories.h"

namespace qvant {

/// Fills the pickers' tree and has the contracts of each leaf recorded. One for each file.
class CContractWalk {
public:
    /// Categories further down are left out. The pickers' tree is keyed by whole paths, so that its size grows with the
    /// square of the depth, and the depth is the sender's choice.
    static constexpr int DEEPEST_LEVEL = 512;

    /// @param recorder             takes the contracts
    /// @param mapContractListName  the pickers' tree
    CContractWalk(CContractRecorder& recorder, TextMap& mapContractListName, const RunState& state,
                  TextView strClassification)
        : m_recorder(recorder),
          m_mapContractListName(mapContractListName),
          m_state(state),
          m_strClassification(strClassification),
          m_top(strClassification) {}

    void Walk(std::unique_ptr<stcContractListNode> pRoot);

private:
    void WalkNode(std::unique_ptr<stcContractListNode> pNode, ContractListLevel& arNext);
    bool ListChildren(stcContractListNode& node, const ContractListLevel& arChildren);
    void ListLeaf(stcContractListNode& parent, const stcContractListNode& leaf);
    TextView ListInstruments(const stcContractListNode& leaf);
    void PublishChildren(const stcContractListNode& node, TextView strPath);
    void PublishTopCategories();
    bool IsRestricted() const { return !m_state.m_mapExchanges.empty(); }

    CContractRecorder& m_recorder;
    TextMap& m_mapContractListName;
    const RunState& m_state;
    const TextView m_strClassification;
    CTopCategories m_top;
    Text m_strChildList;    ///< of the node at hand: "eng,local|"
    Text m_strInstruments;  ///< of the leaf at hand: "id|"
};

}  // namespace qvant
