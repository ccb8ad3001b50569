/// Versions of a table's content: readers hold one, a writer publishes the next.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "trie.h"

namespace qvant::store {

/// The three sections as they were after one commit. Immutable once it is published.
struct CVersion {
    CTrie rows;
    std::int32_t nRowCount = 0;  ///< one above the highest index; rows that nobody wrote are empty
    CTrie values;
    CTrie tables;

    CVersion() = default;
    CVersion(const CVersion&) = delete;
    CVersion& operator=(const CVersion&) = delete;

    /// Takes over all sections of another version, without a copy.
    void Share(const CVersion& other) {
        rows = other.rows;
        nRowCount = other.nRowCount;
        values = other.values;
        tables = other.tables;
    }

private:
    friend class CCurrentVersion;

    /// While it is published, the current pointer itself counts as this many; readers that left count below it.
    static constexpr std::int64_t PUBLISHED = std::int64_t{1} << 48;
    std::atomic<std::int64_t> m_nCount{PUBLISHED};
};

/// The published version. Readers take hold of it with one addition and never wait, neither for the writer nor for each
/// other: pointer and number of the readers who came stand in one word, those who left are counted in the version.
class CCurrentVersion {
public:
    CCurrentVersion() : m_nWord(ToWord(new CVersion)) {}
    ~CCurrentVersion();
    CCurrentVersion(const CCurrentVersion&) = delete;
    CCurrentVersion& operator=(const CCurrentVersion&) = delete;

    /// The published version; the caller gives it back with `Leave`. Any thread.
    const CVersion& Enter() const;
    static void Leave(const CVersion& version) { Add(const_cast<CVersion&>(version), -1); }

    /// For the writer, which alone can replace it.
    const CVersion& Peek() const { return *ToVersion(m_nWord.load(std::memory_order_relaxed)); }

    /// An old version on its way out; whoever has it last deletes what only it held.
    class CRetired {
    public:
        CRetired(CVersion& version, std::int64_t nReaders) : m_pVersion(&version), m_nReaders(nReaders) {}
        CRetired(CRetired&& other) noexcept
            : m_pVersion(std::exchange(other.m_pVersion, nullptr)), m_nReaders(other.m_nReaders) {}
        CRetired& operator=(CRetired&&) = delete;
        ~CRetired() {
            if (m_pVersion) Add(*m_pVersion, m_nReaders - CVersion::PUBLISHED);
        }

    private:
        CVersion* m_pVersion;
        std::int64_t m_nReaders;
    };

    /// Publishes the next version. One writer at a time.
    /// @return the old one; it may hold the last references of tables, so let it go outside of every lock
    [[nodiscard]] CRetired Publish(std::unique_ptr<CVersion> pNext);

private:
    static constexpr unsigned COUNT_BITS = 16;
    static constexpr std::uint64_t COUNT_MASK = (std::uint64_t{1} << COUNT_BITS) - 1;
    /// Readers move the count over at half its room, so that those who come meanwhile have the other half.
    static constexpr std::uint64_t COUNT_LIMIT = COUNT_MASK / 2;

    static std::uint64_t ToWord(CVersion* p) { return reinterpret_cast<std::uint64_t>(p) << COUNT_BITS; }
    static CVersion* ToVersion(std::uint64_t nWord) { return reinterpret_cast<CVersion*>(nWord >> COUNT_BITS); }
    static void Add(CVersion& version, std::int64_t nCount);
    void MoveCount(CVersion& version) const;

    mutable std::atomic<std::uint64_t> m_nWord;
};

/// A reader's hold on one version.
class CSnapshot {
public:
    explicit CSnapshot(const CCurrentVersion& current) : m_version(current.Enter()) {}
    ~CSnapshot() { CCurrentVersion::Leave(m_version); }
    CSnapshot(const CSnapshot&) = delete;
    CSnapshot& operator=(const CSnapshot&) = delete;

    const CVersion* operator->() const { return &m_version; }
    const CVersion& operator*() const { return m_version; }

private:
    const CVersion& m_version;
};

}  // namespace qvant::store
