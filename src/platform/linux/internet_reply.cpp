#include "platform/linux/internet_reply.h"

#include <algorithm>
#include <charconv>

#include <strings.h>

namespace qvant::platform {

namespace {

constexpr std::string_view BLANKS = " \t\r\n";

std::string_view TrimBlanks(std::string_view str) {
    const std::size_t nStart = std::min(str.find_first_not_of(BLANKS), str.size());
    str.remove_prefix(nStart);
    return str.substr(0, str.find_last_not_of(BLANKS) + 1);
}

}  // namespace

void CHttpReply::AddHeaderLine(std::string_view strLine) {
    if (m_bComplete) return;
    const std::string_view strText = TrimBlanks(strLine);
    if (strText.empty()) return EndReply();
    if (strText.starts_with("HTTP/")) return BeginReply(strText);
    const std::size_t nColon = strText.find(':');
    if (nColon == std::string_view::npos) return;
    m_arHeaders.emplace_back(TrimBlanks(strText.substr(0, nColon)), TrimBlanks(strText.substr(nColon + 1)));
}

void CHttpReply::BeginReply(std::string_view strStatusLine) {
    m_arHeaders.clear();
    m_nStatus = 0;
    m_bRedirected = false;
    const std::size_t nBlank = std::min(strStatusLine.find(' '), strStatusLine.size());
    const std::string_view strStatus = TrimBlanks(strStatusLine.substr(nBlank));
    std::from_chars(strStatus.data(), strStatus.data() + strStatus.size(), m_nStatus);
}

void CHttpReply::EndReply() {
    const std::string* pLocation = FindHeader("Location");
    m_bRedirected = m_nStatus / 100 == 3 && pLocation && !pLocation->empty();
    m_bComplete = m_nStatus / 100 != 1 && !m_bRedirected;
}

void CHttpReply::CompleteWithStatus(int nStatus) {
    m_arHeaders.clear();
    m_nStatus = nStatus;
    m_bComplete = true;
}

const std::string* CHttpReply::FindHeader(std::string_view strName) const {
    for (const auto& [strHeader, strValue] : m_arHeaders) {
        if (strHeader.size() == strName.size() && strncasecmp(strHeader.data(), strName.data(), strName.size()) == 0) {
            return &strValue;
        }
    }
    return nullptr;
}

void CHttpReply::TakeBody(std::string& strTarget, std::size_t nMost) {
    const std::size_t nTake = std::min(nMost, m_strBody.size() - m_nTaken);
    strTarget.append(m_strBody, m_nTaken, nTake);
    m_nTaken += nTake;
    if (HasBody()) return;
    m_strBody.clear();
    m_nTaken = 0;
}

}  // namespace qvant::platform
