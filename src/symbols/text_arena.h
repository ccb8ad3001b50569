/// Memory for many texts that come and go together.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "base/text.h"
#include "platform/large_memory.h"

namespace qvant {

/// A text in an arena, or none at all, which differs from an empty one. It takes the place of a pointer: the length
/// stands in front of the units.
class CStoredText {
public:
    CStoredText() = default;

    explicit operator bool() const { return m_pUnits != nullptr; }
    /// Empty when there is none.
    TextView Get() const {
        if (!m_pUnits) return {};
        std::uint32_t nLength = 0;
        std::memcpy(&nLength, m_pUnits - HEADER, sizeof nLength);
        return {m_pUnits, nLength};
    }

private:
    friend class CTextArena;
    static constexpr std::size_t HEADER = sizeof(std::uint32_t) / sizeof(char16_t);
    explicit CStoredText(const char16_t* pUnits) : m_pUnits(pUnits) {}

    const char16_t* m_pUnits = nullptr;
};

/// Keeps copies of texts, one behind the other in large blocks. A text stays where it is until the arena lets it go,
/// whatever is added behind it, and the memory serves the next texts.
///
/// Belongs to one thread while texts are added; any thread may read them.
class CTextArena {
public:
    CTextArena() = default;
    CTextArena(const CTextArena&) = delete;
    CTextArena& operator=(const CTextArena&) = delete;

    /// @throw std::length_error  for more than 4 Gi units
    CStoredText Add(TextView strText);
    /// Lets all go that was added after a text.
    /// @param text  of this arena
    void CutBehind(const CStoredText& text);
    void Clear();

private:
    struct FreeBlock {
        std::size_t nUnits = 0;
        void operator()(char16_t* pUnits) const {
            platform::CLargeArrayAllocator<char16_t>().deallocate(pUnits, nUnits);
        }
    };
    using Block = std::unique_ptr<char16_t[], FreeBlock>;

    void StartBlock(std::size_t nBlock);
    void FindRoom(std::size_t nUnits);

    std::vector<Block> m_arBlocks;
    std::size_t m_nBlock = 0;     ///< the one that is being filled
    char16_t* m_pNext = nullptr;  ///< its first free unit
    std::size_t m_nFree = 0;      ///< how many units are free from there on
};

}  // namespace qvant
