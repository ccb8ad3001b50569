// Idle transfer handles with their open connections, shared by all threads of the process.
#pragma once

#include <memory>
#include <string>

#include <curl/curl.h>

namespace qvant::platform {

/// Why the certificate of a server was refused while its connection was made.
struct CertificateFault {
    bool bRefused = false;
};

/// One transfer at a time, and the connections that earlier ones left open. Belongs to who holds it.
class CInternetLane {
public:
    CInternetLane();
    ~CInternetLane();
    CInternetLane(const CInternetLane&) = delete;
    CInternetLane& operator=(const CInternetLane&) = delete;

    bool IsGood() const { return m_hMulti && m_hEasy; }

    CURLM* const m_hMulti;
    CURL* const m_hEasy;
    std::string m_strPeer;  ///< scheme, host and port that it last spoke to, the proxy included
    CertificateFault m_fault;
};

using LanePointer = std::unique_ptr<CInternetLane>;

/// An idle lane, the one that last spoke to the peer if there is one; else a new one. Null when the stack has none.
LanePointer TakeLane(const std::string& strPeer);

/// Gives a lane back; its transfer has been taken out.
void ReturnLane(LanePointer pLane);

/// The share that keeps names and secure sessions for all lanes; with cookies, the process's cookie jar too.
CURLSH* GetShare(bool bCookies);

}  // namespace qvant::platform
