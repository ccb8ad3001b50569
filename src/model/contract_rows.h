/// The rows of the table "ContractList", as a pass over the contract lists leaves them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

#include "base/text.h"

namespace qvant {

/// A row is "classification|symbol#@symbol#@path#@local path#@flag". Only where its symbol lies and its flag are kept
/// for each contract, and what the rows of a leaf share is kept once: whole, the rows of a million contracts would take
/// more memory than everything else that is known of them. A row is made when it is read.
class CContractRows {
public:
    using value_type = Text;

    class const_iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Text;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = Text;

        Text operator*() const { return m_pRows->Make(m_nLeaf, m_nRow); }
        const_iterator& operator++() {
            ++m_nRow;
            m_nLeaf = m_pRows->FindLeaf(m_nLeaf, m_nRow);
            return *this;
        }
        const_iterator operator++(int) {
            const const_iterator before = *this;
            ++*this;
            return before;
        }
        bool operator==(const const_iterator& other) const { return m_nRow == other.m_nRow; }

    private:
        friend class CContractRows;
        const_iterator(const CContractRows& rows, std::size_t nRow) : m_pRows(&rows), m_nRow(nRow) {}

        const CContractRows* m_pRows;
        std::size_t m_nRow;
        std::size_t m_nLeaf = 0;
    };
    using iterator = const_iterator;

    /// The rows from now on are those of another leaf.
    /// @param strStart  what they begin with: "classification|"
    /// @param strEnd    what stands between the symbol and the flag: "#@path#@local path#@"
    void StartLeaf(TextView strStart, TextView strEnd);
    /// Adds a row of the leaf.
    /// @param strSymbol   borrowed as long as the rows are read
    /// @param bPermitted  its flag
    void Add(TextView strSymbol, bool bPermitted);

    std::size_t size() const { return m_arRows.size(); }
    bool empty() const { return m_arRows.empty(); }
    const_iterator begin() const { return {*this, 0}; }
    const_iterator end() const { return {*this, size()}; }

    /// Keeps the memory for the next pass.
    void clear();
    /// Makes room for so many rows.
    void reserve(std::size_t nRows) { m_arRows.reserve(nRows); }
    std::size_t capacity() const { return m_arRows.capacity(); }

private:
    struct Row {
        const char16_t* pSymbol = nullptr;
        std::uint32_t nLength = 0;
        bool bPermitted = false;
    };
    struct Leaf {
        std::size_t nRowsEnd = 0;  ///< behind its last row
        Text strStart;
        Text strEnd;
    };

    std::size_t FindLeaf(std::size_t nLeaf, std::size_t nRow) const;
    Text Make(std::size_t nLeaf, std::size_t nRow) const;

    std::vector<Row> m_arRows;
    std::vector<Leaf> m_arLeaves;  ///< those with rows, and the one that is being filled
};

}  // namespace qvant
