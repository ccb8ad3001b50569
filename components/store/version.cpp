#include "version.h"

namespace qvant::store {

CCurrentVersion::~CCurrentVersion() {
    const std::uint64_t nWord = m_nWord.load(std::memory_order_acquire);
    const CRetired retired(*ToVersion(nWord), static_cast<std::int64_t>(nWord & COUNT_MASK));
}

const CVersion& CCurrentVersion::Enter() const {
    const std::uint64_t nWord = m_nWord.fetch_add(1, std::memory_order_acquire);
    CVersion& version = *ToVersion(nWord);
    if ((nWord & COUNT_MASK) >= COUNT_LIMIT) MoveCount(version);
    return version;
}

/// Moves the readers who came into the version's own count before their field runs over. The caller holds the version,
/// so the count can't end meanwhile; it is raised first, for a writer may retire the version in between.
void CCurrentVersion::MoveCount(CVersion& version) const {
    std::uint64_t nWord = m_nWord.load(std::memory_order_relaxed);
    while (ToVersion(nWord) == &version && (nWord & COUNT_MASK) >= COUNT_LIMIT) {
        const auto nReaders = static_cast<std::int64_t>(nWord & COUNT_MASK);
        Add(version, nReaders);
        if (m_nWord.compare_exchange_strong(nWord, ToWord(&version), std::memory_order_acq_rel)) return;
        Add(version, -nReaders);
    }
}

bool CCurrentVersion::Add(CVersion& version, std::int64_t nCount) {
    return version.m_nCount.fetch_add(nCount, std::memory_order_acq_rel) + nCount == 0;
}

namespace {

/// Versions that readers were the last to hold, of all tables.
std::atomic<CVersion*> g_pLeft{nullptr};

}  // namespace

void CCurrentVersion::Leave(const CVersion& version) {
    auto& left = const_cast<CVersion&>(version);
    if (!Add(left, -1)) return;
    left.m_pNextLeft = g_pLeft.load(std::memory_order_relaxed);
    while (!g_pLeft.compare_exchange_weak(left.m_pNextLeft, &left, std::memory_order_release)) {
    }
}

void CCurrentVersion::Sweep() {
    if (!g_pLeft.load(std::memory_order_relaxed)) return;
    for (CVersion* pLeft = g_pLeft.exchange(nullptr, std::memory_order_acquire); pLeft;) {
        const std::unique_ptr<CVersion> pVersion(std::exchange(pLeft, pLeft->m_pNextLeft));
    }
}

CCurrentVersion::CRetired CCurrentVersion::Publish(std::unique_ptr<CVersion> pNext) {
    m_pPublished = pNext.release();
    const std::uint64_t nOld = m_nWord.exchange(ToWord(m_pPublished), std::memory_order_acq_rel);
    return CRetired(*ToVersion(nOld), static_cast<std::int64_t>(nOld & COUNT_MASK));
}

}  // namespace qvant::store
