/// One category of a contract list file, as the walk over the file meets it.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "base/text.h"
#include "model/json_document.h"

namespace qvant {

/// An array of texts in the parsed file. What isn't a text reads as an empty one, so that the places of the others
/// stay; what isn't an array reads as an empty array.
class CTextArray {
public:
    CTextArray() = default;
    explicit CTextArray(const JsonValue& value) : m_pArray(value.IsArray() ? &value : nullptr) {}

    std::size_t size() const { return m_pArray ? m_pArray->Size() : 0; }
    bool empty() const { return size() == 0; }
    TextView operator[](std::size_t nIndex) const {
        const JsonValue& value = (*m_pArray)[static_cast<rapidjson::SizeType>(nIndex)];
        return value.IsString() ? GetText(value) : TextView{};
    }

private:
    const JsonValue* m_pArray = nullptr;
};

/// Names and arrays are borrowed from the parsed file, which outlives the node.
struct stcContractListNode {
    bool bContracts = false;  ///< a leaf: "Contracts" is there, whatever it holds
    bool bPermitted = false;  ///< one of its leaves shows a permitted contract
    Text strParentPath;       ///< English names from the root to the parent, "." between them
    Text strParentLangPath;   ///< local names
    TextView strEng;
    TextView strLocal;
    const JsonValue* pNode = nullptr;  ///< the array of its sub-categories
    CTextArray arContracts;
    CTextArray arExpiration;  ///< this and the next three by position in `arContracts`
    CTextArray arLongMargin;
    CTextArray arShortMargin;
    CTextArray arInstrument;
};

using ContractListLevel = std::vector<std::unique_ptr<stcContractListNode>>;

/// The number of contracts in a file, give or take those that no walk comes to.
std::size_t CountContracts(const JsonValue& file);

/// The root of a file, which goes by the classification's name.
/// @return null when the file has no categories
std::unique_ptr<stcContractListNode> MakeRootNode(const JsonValue& file, TextView strClassification,
                                                  TextView strLanguage);

/// The children of a node, in the order of the file. A node without a name has none.
ContractListLevel ExpandNode(const stcContractListNode& node, TextView strLanguage);

}  // namespace qvant
