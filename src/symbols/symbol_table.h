/// What is known of each symbol: one table for all of it, with the symbols as its keys.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

#include "base/same_text.h"
#include "base/text.h"
#include "platform/large_memory.h"
#include "symbols/text_arena.h"

namespace qvant {

class CSymbolColumn;

/// Holds each symbol once, and beside it its values, in columns that read as maps from symbol to text. Whoever has many
/// values of a symbol finds its row once and goes by that.
///
/// Rows stand in the order in which their symbols were entered. `Clear` keeps the memory, and remembers the symbols: as
/// long as the next ones come in the same order, as they do in a pass over lists that changed little, entering one is a
/// comparison with the symbol that is expected next. The first that isn't makes the table forget the others.
///
/// Symbols and values stay where they are until `Clear`. Any thread may read a table that nobody changes.
class CSymbolTable {
public:
    using Row = std::uint32_t;
    static constexpr Row NO_ROW = UINT32_MAX;
    static constexpr std::size_t COLUMNS = 7;

    /// A symbol on its way into the table, with what was found out about it on the way.
    struct Key {
        explicit Key(TextView strSymbol) : strText(strSymbol) {}

        TextView strText;
        std::optional<std::uint32_t> nHash;  ///< made when it is needed
    };

    CSymbolTable() = default;
    CSymbolTable(const CSymbolTable&) = delete;
    CSymbolTable& operator=(const CSymbolTable&) = delete;

    /// The number of rows, those without any value included.
    std::size_t GetSize() const { return m_nSize; }
    TextView GetSymbol(Row row) const { return m_arRecords[row].symbol.Get(); }
    /// @return `NO_ROW` when the symbol isn't there
    Row Find(TextView strSymbol) const;

    /// The row of a symbol; a new one has no values.
    Row Enter(Key& key);
    Row Enter(TextView strSymbol) {
        Key key(strSymbol);
        return Enter(key);
    }
    /// Asks the machine for the memory that `Enter` will need, some time before.
    void Prepare(Key& key) const;

    void Clear();
    /// Makes room for so many rows.
    void Reserve(std::size_t nRows);

private:
    friend class CSymbolColumn;

    /// Fills a cache line.
    struct Record {
        CStoredText symbol;
        std::array<CStoredText, COLUMNS> arValues;
    };
    /// A row and 1, 0 where it is free; with the hash, so that other rows needn't be looked at.
    struct Slot {
        std::uint32_t nRow = 0;
        std::uint32_t nHash = 0;
    };
    using Slots = std::vector<Slot, platform::CLargeArrayAllocator<Slot>>;

    static std::uint32_t MakeHash(TextView strSymbol) { return static_cast<std::uint32_t>(TextHash()(strSymbol)); }
    bool IsNext(TextView strSymbol) const {
        return m_nSize < m_arRecords.size() && IsSame(m_arRecords[m_nSize].symbol.Get(), strSymbol);
    }
    std::size_t FindSlot(TextView strSymbol, std::uint32_t nHash) const;
    Row Append(const Key& key);
    void ForgetNext();
    void Rehash(std::size_t nSlots, std::size_t nRecords);

    /// Beyond `m_nSize` lie the symbols of the pass before that this one hasn't come to.
    std::vector<Record, platform::CLargeArrayAllocator<Record>> m_arRecords;
    Slots m_arSlots;  ///< each record stands at its hash or behind it; at most half of them is used
    std::size_t m_nSize = 0;
    std::array<std::size_t, COLUMNS> m_arCounts{};      ///< values of each column
    std::array<CStoredText, COLUMNS> m_arLastValues{};  ///< the value that was last stored in each column
    CTextArena m_symbols;
    CTextArena m_values;
};

/// One column of a table, as a map from symbol to text: it holds the symbols that have a value in it, an empty one
/// included, and speaks as the standard maps do, as far as it goes. Its texts stay until the table is cleared.
class CSymbolColumn {
public:
    using Row = CSymbolTable::Row;
    using value_type = std::pair<TextView, TextView>;

    class const_iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = CSymbolColumn::value_type;
        using difference_type = std::ptrdiff_t;
        using pointer = const value_type*;
        using reference = const value_type&;

        const value_type& operator*() const { return m_entry; }
        const value_type* operator->() const { return &m_entry; }
        const_iterator& operator++() {
            MoveTo(m_nRow + 1);
            return *this;
        }
        const_iterator operator++(int) {
            const const_iterator before = *this;
            ++*this;
            return before;
        }
        bool operator==(const const_iterator& other) const { return m_nRow == other.m_nRow; }

    private:
        friend class CSymbolColumn;
        const_iterator(const CSymbolColumn& column, std::size_t nRow) : m_pColumn(&column) { MoveTo(nRow); }
        void MoveTo(std::size_t nRow);

        const CSymbolColumn* m_pColumn;
        std::size_t m_nRow = 0;
        value_type m_entry;
    };
    using iterator = const_iterator;

    /// @param table    outlives the column
    /// @param nColumn  below `CSymbolTable::COLUMNS`
    CSymbolColumn(CSymbolTable& table, std::size_t nColumn) : m_table(table), m_nColumn(nColumn) {}
    CSymbolColumn(const CSymbolColumn&) = delete;
    CSymbolColumn& operator=(const CSymbolColumn&) = delete;

    const_iterator begin() const { return {*this, 0}; }
    const_iterator end() const { return {*this, m_table.m_nSize}; }
    std::size_t size() const { return m_table.m_arCounts[m_nColumn]; }
    bool empty() const { return size() == 0; }

    const_iterator find(TextView strSymbol) const;
    bool contains(TextView strSymbol) const { return HasValue(m_table.Find(strSymbol)); }
    std::size_t count(TextView strSymbol) const { return contains(strSymbol) ? 1 : 0; }
    /// @throw std::out_of_range  for a symbol that isn't there
    TextView at(TextView strSymbol) const;
    void insert_or_assign(TextView strSymbol, TextView strValue) { SetValue(m_table.Enter(strSymbol), strValue); }

    bool HasValue(Row row) const { return row != CSymbolTable::NO_ROW && GetCell(row); }
    /// @return empty when the row has no value here, or is none
    TextView GetValue(Row row) const { return row == CSymbolTable::NO_ROW ? TextView() : GetCell(row).Get(); }
    void SetValue(Row row, TextView strValue);

private:
    CStoredText GetCell(std::size_t nRow) const { return m_table.m_arRecords[nRow].arValues[m_nColumn]; }

    CSymbolTable& m_table;
    const std::size_t m_nColumn;
};

/// Finds the rows of symbols that mostly come in the order of the table, or several times in a row: then the row is at
/// hand, and neither a hash nor memory far away is needed. Other symbols are found as well.
///
/// Belongs to one thread; the table doesn't change under it.
class CSymbolFinder {
public:
    explicit CSymbolFinder(const CSymbolTable& table) : m_table(table) {}

    /// @return `NO_ROW` when the symbol isn't there
    CSymbolTable::Row Find(TextView strSymbol);

private:
    const CSymbolTable& m_table;
    CSymbolTable::Row m_nNext = 0;  ///< behind the row that was found last
};

}  // namespace qvant
