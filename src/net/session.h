/// Who is signed in, through which proxy the service speaks, and the ids of its document passes.
#pragma once

#include <cstdint>

#include "base/mutex.h"
#include "base/text.h"
#include "platform/clock.h"

namespace qvant {

/// The proxy that every HTTP call is given; an empty host or port 0 means a direct connection.
struct ProxySettings {
    Text strAddress;
    std::uint32_t nPort = 0;
    Text strAccount;
    Text strPassword;
};

/// The values of one sign-in. Read by every thread that fetches, written at sign-in.
class CSession {
public:
    explicit CSession(const platform::IClock& clock) : m_clock(clock) {}

    void SetProxy(ProxySettings proxy);
    ProxySettings GetProxy() const;

    /// "&ACCOUNT=%s&REGION=%s&APP_NAME=%s&KEY=%s" filled in, or empty while nobody is signed in.
    void SetSessionQuery(Text strQuery);
    Text GetSessionQuery() const;

    /// The region of the signed-in user.
    void SetRegion(Text strRegion);
    Text GetRegion() const;

    /// The request id of the running document pass, sent as `Z=`.
    void SetRequestId(Text strRequestId);
    Text GetRequestId() const;

    void SetMachineId(Text strMachineId);

    /// "%s_%s_%02d%02d%02d%03d%c": word, machine, local time with milliseconds, and a letter that runs from A to Z.
    Text BuildRequestId(TextView strWord);

private:
    const platform::IClock& m_clock;
    mutable CMutex m_mutex;
    ProxySettings m_proxy QV_GUARDED_BY(m_mutex);
    Text m_strSessionQuery QV_GUARDED_BY(m_mutex);
    Text m_strRegion QV_GUARDED_BY(m_mutex);
    Text m_strRequestId QV_GUARDED_BY(m_mutex);
    Text m_strMachineId QV_GUARDED_BY(m_mutex);
    CMutex m_mutexRequestId;
    char16_t m_chRequestSeq QV_GUARDED_BY(m_mutexRequestId) = u'A';
};

}  // namespace qvant
