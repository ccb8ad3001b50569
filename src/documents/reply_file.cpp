#include "documents/reply_file.h"

#include <algorithm>
#include <vector>

#include "documents/reply_text.h"
#include "platform/stop.h"

namespace qvant {

namespace {

constexpr std::size_t PIECE_BYTES = std::size_t{32} * 1024;  ///< so that its wide text stays in the cache

/// The next piece of a UTF-8 text, cut between two characters. @return at least one byte, unless the text is empty
std::string_view CutUtf8(std::string_view& strText) {
    constexpr std::size_t LONGEST_TAIL = 3;  // bytes of a character behind its first
    std::size_t nSize = std::min(strText.size(), PIECE_BYTES);
    const auto IsTail = [](char ch) { return (static_cast<unsigned char>(ch) & 0xC0u) == 0x80u; };
    for (std::size_t i = 0; i < LONGEST_TAIL && nSize < strText.size() && IsTail(strText[nSize]); ++i) --nSize;
    const std::string_view strPiece = strText.substr(0, nSize);
    strText.remove_prefix(nSize);
    return strPiece;
}

}  // namespace

CReplyFile::CReplyFile(TextView strPath, std::string_view strReply) : m_strPath(strPath), m_strReply(strReply) {
    if (strReply.size() < LONG_REPLY) return;
    m_pFile = std::make_unique<platform::CFileReplacement>(m_strPath);
    // Without a thread the commit writes.
    const auto run = [this] { m_bWritten = Write(*m_pFile, m_strReply, platform::CurrentStop()); };
    if (!m_thread.Start("SaveReply", run)) m_pFile.reset();
}

/// Flushes too, so that the disk works while the caller does.
bool CReplyFile::Write(platform::CFileReplacement& file, std::string_view strReply, const std::stop_token& stop) {
    std::vector<char16_t> arUnits(std::min(strReply.size(), PIECE_BYTES));
    while (!strReply.empty()) {
        const auto nUnits = WidenStrict(CutUtf8(strReply), arUnits.data());
        if (!nUnits || !file.Write(BytesOf({arUnits.data(), *nUnits})) || stop.stop_requested()) return false;
    }
    return file.Flush();
}

bool CReplyFile::Commit() {
    if (m_pFile) {
        return m_thread.Wait() == platform::WaitResult::Signalled && m_bWritten && m_pFile->Commit();
    }
    platform::CFileReplacement file(m_strPath);
    return Write(file, m_strReply, {}) && file.Commit();
}

}  // namespace qvant
