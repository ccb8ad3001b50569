#include "net/session.h"

#include <utility>

#include "base/format.h"

namespace qvant {

void CSession::SetProxy(ProxySettings proxy) {
    const CLock lock(m_mutex);
    m_proxy = std::move(proxy);
}

ProxySettings CSession::GetProxy() const {
    const CLock lock(m_mutex);
    return m_proxy;
}

void CSession::SetSessionQuery(Text strQuery) {
    const CLock lock(m_mutex);
    m_strSessionQuery = std::move(strQuery);
}

Text CSession::GetSessionQuery() const {
    const CLock lock(m_mutex);
    return m_strSessionQuery;
}

void CSession::SetRegion(Text strRegion) {
    const CLock lock(m_mutex);
    m_strRegion = std::move(strRegion);
}

Text CSession::GetRegion() const {
    const CLock lock(m_mutex);
    return m_strRegion;
}

void CSession::SetRequestId(Text strRequestId) {
    const CLock lock(m_mutex);
    m_strRequestId = std::move(strRequestId);
}

Text CSession::GetRequestId() const {
    const CLock lock(m_mutex);
    return m_strRequestId;
}

void CSession::SetMachineId(Text strMachineId) {
    const CLock lock(m_mutex);
    m_strMachineId = std::move(strMachineId);
}

Text CSession::BuildRequestId(TextView strWord) {
    const platform::SystemTime now = platform::ToLocal(m_clock.NowMilliseconds());
    Text strMachineId;
    {
        const CLock lock(m_mutex);
        strMachineId = m_strMachineId;
    }
    const CLock lock(m_mutexRequestId);
    const char16_t chSequence = m_chRequestSeq;
    m_chRequestSeq = chSequence == u'Z' ? u'A' : static_cast<char16_t>(chSequence + 1);
    return Format(u"%s_%s_%02d%02d%02d%03d%c", strWord, strMachineId, now.nHour, now.nMinute, now.nSecond,
                  now.nMilliseconds, chSequence);
}

}  // namespace qvant
