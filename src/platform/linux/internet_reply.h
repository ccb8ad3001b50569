// A reply as it arrives: header lines of one or more replies, then the body of the last.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvant::platform {

/// Belongs to the request that it answers.
class CHttpReply {
public:
    /// Takes one line. A status line begins the next reply; the blank line of one that is neither interim nor followed
    /// elsewhere completes the headers, and lines after it (trailers) are left out.
    void AddHeaderLine(std::string_view strLine);
    void AddBody(std::string_view strBytes) { m_strBody.append(strBytes); }
    /// Stands in for a reply that has nothing but a status.
    void CompleteWithStatus(int nStatus);

    bool AreHeadersComplete() const { return m_bComplete; }
    /// Whether the last complete reply sends the client elsewhere.
    bool IsRedirected() const { return m_bRedirected; }
    int GetStatus() const { return m_nStatus; }
    /// A header without regard to case, or null.
    const std::string* FindHeader(std::string_view strName) const;

    bool HasBody() const { return m_nTaken < m_strBody.size(); }
    /// Moves at most `nMost` bytes of the body to the end of `strTarget`.
    void TakeBody(std::string& strTarget, std::size_t nMost);

private:
    void BeginReply(std::string_view strStatusLine);
    void EndReply();

    int m_nStatus = 0;
    bool m_bComplete = false;
    bool m_bRedirected = false;
    std::vector<std::pair<std::string, std::string>> m_arHeaders;
    std::string m_strBody;
    std::size_t m_nTaken = 0;
};

}  // namespace qvant::platform
