#include "symbols/text_arena.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <stdexcept>

namespace qvant {

namespace {

constexpr std::size_t FIRST_BLOCK = 2048;
constexpr std::size_t LARGEST_BLOCK = platform::LARGE_ARRAY / sizeof(char16_t);

}  // namespace

CStoredText CTextArena::Add(TextView strText) {
    if (strText.size() > std::numeric_limits<std::uint32_t>::max()) throw std::length_error("text too long");
    const auto nLength = static_cast<std::uint32_t>(strText.size());
    const std::size_t nUnits = CStoredText::HEADER + strText.size();
    if (nUnits > m_nFree) FindRoom(nUnits);
    std::memcpy(m_pNext, &nLength, sizeof nLength);
    char16_t* const pUnits = m_pNext + CStoredText::HEADER;
    if (nLength != 0) std::memcpy(pUnits, strText.data(), strText.size() * sizeof(char16_t));
    m_pNext += nUnits;
    m_nFree -= nUnits;
    return CStoredText(pUnits);
}

/// A block that is too small for the text is passed over.
void CTextArena::FindRoom(std::size_t nUnits) {
    while (nUnits > m_nFree && m_nBlock + 1 < m_arBlocks.size()) StartBlock(m_nBlock + 1);
    if (nUnits <= m_nFree) return;
    const std::size_t nLast = m_arBlocks.empty() ? 0 : m_arBlocks.back().get_deleter().nUnits;
    const std::size_t nSize = std::max(nUnits, std::clamp(2 * nLast, FIRST_BLOCK, LARGEST_BLOCK));
    m_arBlocks.reserve(m_arBlocks.size() + 1);
    m_arBlocks.push_back(Block(platform::CLargeArrayAllocator<char16_t>().allocate(nSize), FreeBlock{nSize}));
    StartBlock(m_arBlocks.size() - 1);
}

void CTextArena::StartBlock(std::size_t nBlock) {
    m_nBlock = nBlock;
    m_pNext = m_arBlocks[nBlock].get();
    m_nFree = m_arBlocks[nBlock].get_deleter().nUnits;
}

void CTextArena::CutBehind(const CStoredText& text) {
    const TextView strText = text.Get();
    const char16_t* const pStart = strText.data() - CStoredText::HEADER;
    const auto Holds = [pStart](const Block& block) {
        const char16_t* const pEnd = block.get() + block.get_deleter().nUnits;
        return !std::less<>()(pStart, block.get()) && std::less<>()(pStart, pEnd);
    };
    const auto found = std::find_if(m_arBlocks.begin(), m_arBlocks.end(), Holds);
    StartBlock(static_cast<std::size_t>(found - m_arBlocks.begin()));
    const std::size_t nUsed = static_cast<std::size_t>(strText.data() - m_pNext) + strText.size();
    m_pNext += nUsed;
    m_nFree -= nUsed;
}

void CTextArena::Clear() {
    if (!m_arBlocks.empty()) StartBlock(0);
}

}  // namespace qvant
