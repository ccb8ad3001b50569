#include "symbols/symbol_table.h"

#include <algorithm>
#include <bit>
#include <stdexcept>

namespace qvant {

namespace {

constexpr std::size_t LEAST_SLOTS = 16;

}  // namespace

/// The slot of the symbol, or the free one where it belongs. There are slots.
std::size_t CSymbolTable::FindSlot(TextView strSymbol, std::uint32_t nHash) const {
    const std::size_t nMask = m_arSlots.size() - 1;
    std::size_t nSlot = nHash & nMask;
    for (; m_arSlots[nSlot].nRow != 0; nSlot = (nSlot + 1) & nMask) {
        const Slot& slot = m_arSlots[nSlot];
        if (slot.nHash == nHash && IsSame(GetSymbol(slot.nRow - 1), strSymbol)) break;
    }
    return nSlot;
}

/// A symbol that is only remembered isn't there.
CSymbolTable::Row CSymbolTable::Find(TextView strSymbol) const {
    if (m_nSize == 0) return NO_ROW;
    const std::uint32_t nFound = m_arSlots[FindSlot(strSymbol, MakeHash(strSymbol))].nRow;
    return nFound == 0 || nFound > m_nSize ? NO_ROW : nFound - 1;
}

CSymbolTable::Row CSymbolTable::Enter(Key& key) {
    if (IsNext(key.strText)) {
        m_arRecords[m_nSize].arValues = {};
        return static_cast<Row>(m_nSize++);
    }
    if (!key.nHash) key.nHash = MakeHash(key.strText);
    if (m_nSize > 0) {
        const std::uint32_t nFound = m_arSlots[FindSlot(key.strText, *key.nHash)].nRow;
        if (nFound != 0 && nFound <= m_nSize) return nFound - 1;
    }
    if (m_nSize < m_arRecords.size()) ForgetNext();
    return Append(key);
}

CSymbolTable::Row CSymbolTable::Append(const Key& key) {
    if (2 * (m_nSize + 1) > m_arSlots.size()) Rehash(std::max(LEAST_SLOTS, m_arSlots.size() * 2), m_nSize);
    const CStoredText symbol = m_symbols.Add(key.strText);
    m_arRecords.push_back({symbol, {}});
    m_arSlots[FindSlot(key.strText, *key.nHash)] = {.nRow = static_cast<std::uint32_t>(++m_nSize), .nHash = *key.nHash};
    return static_cast<Row>(m_nSize - 1);
}

void CSymbolTable::ForgetNext() {
    if (m_nSize == 0) {
        std::fill(m_arSlots.begin(), m_arSlots.end(), Slot());
        m_symbols.Clear();
    } else {
        Rehash(m_arSlots.size(), m_nSize);
        m_symbols.CutBehind(m_arRecords[m_nSize - 1].symbol);
    }
    m_arRecords.resize(m_nSize);
}

void CSymbolTable::Prepare(Key& key) const {
    if (IsNext(key.strText)) return;
    if (!key.nHash) key.nHash = MakeHash(key.strText);
    if (!m_arSlots.empty()) __builtin_prefetch(&m_arSlots[*key.nHash & (m_arSlots.size() - 1)]);
}

void CSymbolTable::Clear() {
    m_nSize = 0;
    m_arCounts = {};
    m_arLastValues = {};
    m_values.Clear();
}

void CSymbolTable::Reserve(std::size_t nRows) {
    // At least twice what there was: whoever makes room little by little doesn't move everything each time.
    if (nRows > m_arRecords.capacity()) m_arRecords.reserve(std::max(nRows, 2 * m_arRecords.capacity()));
    if (2 * nRows > m_arSlots.size()) Rehash(std::bit_ceil(2 * nRows), m_arRecords.size());
}

/// @param nSlots    a power of two
/// @param nRecords  how many of the records are entered
void CSymbolTable::Rehash(std::size_t nSlots, std::size_t nRecords) {
    Slots arSlots(nSlots);
    const std::size_t nMask = arSlots.size() - 1;
    for (const Slot& slot : m_arSlots) {
        if (slot.nRow == 0 || slot.nRow > nRecords) continue;
        std::size_t nSlot = slot.nHash & nMask;
        while (arSlots[nSlot].nRow != 0) nSlot = (nSlot + 1) & nMask;
        arSlots[nSlot] = slot;
    }
    m_arSlots = std::move(arSlots);
}

void CSymbolColumn::const_iterator::MoveTo(std::size_t nRow) {
    const CSymbolTable& table = m_pColumn->m_table;
    for (m_nRow = nRow; m_nRow < table.m_nSize; ++m_nRow) {
        const CSymbolTable::Record& record = table.m_arRecords[m_nRow];
        const CStoredText value = record.arValues[m_pColumn->m_nColumn];
        if (!value) continue;
        m_entry = {record.symbol.Get(), value.Get()};
        return;
    }
}

CSymbolColumn::const_iterator CSymbolColumn::find(TextView strSymbol) const {
    const Row row = m_table.Find(strSymbol);
    return HasValue(row) ? const_iterator(*this, row) : end();
}

TextView CSymbolColumn::at(TextView strSymbol) const {
    const Row row = m_table.Find(strSymbol);
    if (!HasValue(row)) throw std::out_of_range("no such symbol");
    return GetCell(row).Get();
}

/// Neighbours often have the same value, such as those of one expiry, and share it then.
void CSymbolColumn::SetValue(Row row, TextView strValue) {
    CStoredText& last = m_table.m_arLastValues[m_nColumn];
    if (!last || !IsSame(last.Get(), strValue)) last = m_table.m_values.Add(strValue);
    CStoredText& cell = m_table.m_arRecords[row].arValues[m_nColumn];
    if (!cell) ++m_table.m_arCounts[m_nColumn];
    cell = last;
}

CSymbolTable::Row CSymbolFinder::Find(TextView strSymbol) {
    const auto IsAt = [&](CSymbolTable::Row row) {
        const TextView strAt = m_table.GetSymbol(row);
        return strAt.data() == strSymbol.data() ? strAt.size() == strSymbol.size() : IsSame(strAt, strSymbol);
    };
    if (m_nNext < m_table.GetSize() && IsAt(m_nNext)) return m_nNext++;
    if (m_nNext > 0 && IsAt(m_nNext - 1)) return m_nNext - 1;
    const CSymbolTable::Row row = m_table.Find(strSymbol);
    if (row != CSymbolTable::NO_ROW) m_nNext = row + 1;
    return row;
}

}  // namespace qvant
