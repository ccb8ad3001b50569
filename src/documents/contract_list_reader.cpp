#include "documents/contract_list_reader.h"

#include <algorithm>

#include "model/contract_file.h"
#include "platform/files.h"

namespace qvant {

namespace {

/// The lines of a text, without their ends, one behind the other.
void JoinLines(Text& strText) {
    if (strText.find_first_of(u"\r\n") == Text::npos) return;
    std::size_t nEnd = 0;
    for (std::size_t nStart = 0; nStart < strText.size();) {
        const std::size_t nNext = std::min(strText.find(u'\n', nStart), strText.size());
        const bool bReturn = nNext > nStart && strText[nNext - 1] == u'\r';
        const std::size_t nLength = nNext - nStart - (bReturn ? 1 : 0);
        std::copy_n(strText.begin() + static_cast<std::ptrdiff_t>(nStart), nLength,
                    strText.begin() + static_cast<std::ptrdiff_t>(nEnd));
        nEnd += nLength;
        nStart = nNext + 1;
    }
    strText.resize(nEnd);
}

}  // namespace

const JsonValue* CContractListReader::ReadNext() {
    m_pList.reset();
    m_thread.StopAndJoin();
    m_pList = std::move(m_pAhead);
    if (!m_pList) m_pList = Read(m_arPaths[m_nNext]);
    ++m_nNext;
    ReadAhead();
    return m_pList->bRead ? &m_pList->file : nullptr;
}

std::unique_ptr<CContractListReader::List> CContractListReader::Read(const Text& strPath) {
    auto pList = std::make_unique<List>();
    auto strText = strPath.empty() ? std::nullopt : platform::ReadWholeText(strPath);
    if (!strText) return pList;
    pList->bRead = true;
    pList->strText = std::move(*strText);
    JoinLines(pList->strText);
    ParseContractFile(pList->file, pList->strText);
    return pList;
}

/// A failure ends the thread without a list, and shows when the list's turn has come.
void CContractListReader::ReadAhead() {
    if (m_nNext == m_arPaths.size()) return;
    m_thread.Start("ContractList", [this] { m_pAhead = Read(m_arPaths[m_nNext]); });
}

}  // namespace qvant
