/// One category of a contract list file, as the walk over the file meets it.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "base/text.h"
#include "net/wide_json.h"

namespace qvant {

/// An array of texts in the parsed file. What isn't a text reads as an empty one, so that the places of the others
/// stay; what isn't an array reads as an empty array.
class CTextArray {
public:
    CTextArray() = default;
    explicit CTextArray(const CJsonValue& value) : m_pValues(value.Get<CJsonValue::Array>()) {}

    std::size_t size() const { return m_pValues ? m_pValues->size() : 0; }
    bool empty() const { return size() == 0; }
    TextView operator[](std::size_t nIndex) const {
        const Text* pText = (*m_pValues)[nIndex]->Get<Text>();
        return pText ? TextView(*pText) : TextView{};
    }

private:
    const CJsonValue::Array* m_pValues = nullptr;
};

/// Names and arrays are borrowed from the parsed file, which outlives the node.
struct stcContractListNode {
    bool bContracts = false;  ///< a leaf: "Contracts" is there, whatever it holds
    bool bPermitted = false;  ///< one of its leaves shows a permitted contract
    Text strParentPath;       ///< English names from the root to the parent, "." between them
    Text strParentLangPath;   ///< local names
    TextView strEng;
    TextView strLocal;
    const CJsonValue::Array* pNode = nullptr;  ///< its sub-categories
    CTextArray arContracts;
    CTextArray arExpiration;  ///< this and the next three by position in `arContracts`
    CTextArray arLongMargin;
    CTextArray arShortMargin;
    CTextArray arInstrument;
};

using ContractListLevel = std::vector<std::unique_ptr<stcContractListNode>>;

/// The root of a file, which goes by the classification's name.
/// @return null when the file has no categories
std::unique_ptr<stcContractListNode> MakeRootNode(const CJsonValue& file, TextView strClassification,
                                                  TextView strLanguage);

/// The children of a node, in the order of the file. A node without a name has none.
ContractListLevel ExpandNode(const stcContractListNode& node, TextView strLanguage);

}  // namespace qvant
