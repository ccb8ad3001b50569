/// A server's reply on its way to the disk.
#pragma once

#include <memory>
#include <stop_token>
#include <string_view>

#include "platform/files.h"
#include "platform/thread.h"

namespace qvant {

/// Writes a reply as wide text, two bytes a unit, in place of a file. A long reply goes to a temporary file while the
/// caller reads it, on a thread of its own; whether it becomes the file is decided afterwards. Uncommitted it leaves
/// nothing behind.
class CReplyFile {
public:
    /// From here on the writing of a reply pays for its thread.
    static constexpr std::size_t LONG_REPLY = std::size_t{1} << 20;

    /// @param strReply  outlives the object
    CReplyFile(TextView strPath, std::string_view strReply);

    /// Waits for the writing and replaces the file whole.
    /// @return false when the disk or the folder refuses, when the reply isn't UTF-8, or when a stop cuts the wait
    ///         short; the file is the old one then
    bool Commit();

private:
    static bool Write(platform::CFileReplacement& file, std::string_view strReply, const std::stop_token& stop);

    const Text m_strPath;
    const std::string_view m_strReply;
    std::unique_ptr<platform::CFileReplacement> m_pFile;  ///< of a long reply
    bool m_bWritten = false;
    platform::CThread m_thread;  ///< ends before what it works with
};

}  // namespace qvant
