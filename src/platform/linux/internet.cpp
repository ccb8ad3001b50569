#include "platform/internet.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stop_token>
#include <string>
#include <utility>

#include <curl/curl.h>

#include "base/format.h"
#include "platform/internet_limits.h"
#include "platform/linux/internet_certificates.h"
#include "platform/linux/internet_errors.h"
#include "platform/linux/internet_lanes.h"
#include "platform/linux/internet_reply.h"
#include "platform/stop.h"

namespace qvant::platform {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr long MOST_REDIRECTS = 10;
constexpr long RECEIVE_BUFFER = 65536;  // documents run to megabytes
constexpr std::size_t MOST_HEADERS = std::size_t{1} << 20;
constexpr milliseconds LONGEST_POLL{1000};

std::atomic<milliseconds> g_connectLimit{InternetLimits{}.connect};
std::atomic<milliseconds> g_silenceLimit{InternetLimits{}.silence};
std::atomic<std::size_t> g_nMostBody{InternetLimits{}.nMostBody};

InternetLimits LimitsOf(const RequestOptions& options) {
    InternetLimits limits = GetInternetLimits();
    if (options.timeout > milliseconds(0)) limits.connect = limits.silence = options.timeout;
    return limits;
}

// Bytes that no URL may carry go as the platform's stack sends them: escaped, in UTF-8.
std::string EscapeUrl(TextView strUrl) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string strEscaped;
    for (const char ch : Narrow(strUrl)) {
        const auto nByte = static_cast<unsigned char>(ch);
        if (nByte > ' ' && nByte < 127 && ch != '"' && ch != '<' && ch != '>') {
            strEscaped += ch;
            continue;
        }
        strEscaped += '%';
        strEscaped += DIGITS[nByte >> 4];
        strEscaped += DIGITS[nByte & 15];
    }
    return strEscaped;
}

std::string PeerOf(const UrlParts& parts, const RequestOptions& options) {
    Text strPeer = Format(u"%s://%s:%d", parts.strScheme, parts.strHost, parts.nPort);
    if (options.proxy) strPeer += Format(u"@%s:%d", options.proxy->strHost, options.proxy->nPort);
    return Narrow(strPeer);
}

class CHttpRequest final : public IHttpRequest {
public:
    explicit CHttpRequest(const RequestOptions& options) : m_options(options), m_limits(LimitsOf(options)) {}
    ~CHttpRequest() override {
        if (!m_pLane) return;
        curl_multi_remove_handle(m_pLane->m_hMulti, m_pLane->m_hEasy);
        curl_slist_free_all(m_pHeaders);
        ReturnLane(std::move(m_pLane));
    }

    int Send() override {
        const int nError = Begin();
        if (nError != INTERNET_OK) return nError;
        while (!m_reply.AreHeadersComplete() && !m_bDone) Step();
        if (m_reply.AreHeadersComplete()) return INTERNET_OK;
        // The stack takes a connection that closes between two headers for a good end.
        return m_nError != INTERNET_OK ? m_nError : INTERNET_CLOSED_EARLY;
    }

    int GetStatus() const override { return m_reply.AreHeadersComplete() ? m_reply.GetStatus() : 0; }

    int QueryHeader(TextView strName, Text& strValue) const override {
        const std::string* pValue = m_reply.FindHeader(Narrow(strName));
        if (!pValue) return INTERNET_NO_SUCH_HEADER;
        strValue = Widen(*pValue);
        return INTERNET_OK;
    }

    int Read(std::string& strBody, std::size_t nMost) override {
        if (!m_reply.AreHeadersComplete()) return INTERNET_WRONG_HANDLE;
        if (SaysItIsTooLong()) return INTERNET_CLOSED_EARLY;
        while (!m_reply.HasBody() && !m_bDone) Step();
        // What came before a failure is handed out first.
        if (m_reply.HasBody()) {
            m_reply.TakeBody(strBody, nMost);
            return INTERNET_OK;
        }
        return m_nError;
    }

private:
    int Begin() {
        UrlParts parts;
        if (StopRequested()) return INTERNET_STOPPED;
        if (!CrackUrl(m_options.strUrl, parts)) return INTERNET_BAD_URL;
        if (parts.strScheme != u"http" && parts.strScheme != u"https") return INTERNET_UNKNOWN_SCHEME;
        m_pLane = TakeLane(PeerOf(parts, m_options));
        if (!m_pLane) return INTERNET_OTHER;
        SetTransferOptions();
        SetPeerOptions();
        SetCallbacks();
        m_lastProgress = Clock::now();
        const bool bAdded = curl_multi_add_handle(m_pLane->m_hMulti, m_pLane->m_hEasy) == CURLM_OK;
        return bAdded ? INTERNET_OK : INTERNET_OTHER;
    }

    template <class T>
    void Set(CURLoption option, T value) {
        curl_easy_setopt(m_pLane->m_hEasy, option, value);
    }

    void SetTransferOptions() {
        Set(CURLOPT_URL, EscapeUrl(m_options.strUrl).c_str());
        Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
        Set(CURLOPT_USERAGENT, Narrow(m_options.strAgent).c_str());
        m_pHeaders = curl_slist_append(nullptr, "Accept:");
        if (m_options.bAcceptGzip) m_pHeaders = curl_slist_append(m_pHeaders, "Accept-Encoding:gzip,deflate");
        Set(CURLOPT_HTTPHEADER, m_pHeaders);
        Set(CURLOPT_FOLLOWLOCATION, 1L);
        Set(CURLOPT_MAXREDIRS, MOST_REDIRECTS);
        Set(CURLOPT_PROTOCOLS_STR, "http,https");
        Set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
        Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(m_limits.connect.count()));
        Set(CURLOPT_BUFFERSIZE, RECEIVE_BUFFER);
        Set(CURLOPT_NOSIGNAL, 1L);
        // A look-up of a name that hangs is left to itself when the transfer is given up.
        Set(CURLOPT_QUICK_EXIT, 1L);
        Set(CURLOPT_SHARE, GetShare(m_options.bCookies));
        // No file: it turns the handle's cookies on, which then are the share's.
        if (m_options.bCookies) Set(CURLOPT_COOKIEFILE, "");
    }

    void SetPeerOptions() {
        // An empty proxy keeps those of the environment out, an empty list lets no host past a named one.
        Set(CURLOPT_NOPROXY, "");
        Set(CURLOPT_PROXY, m_options.proxy ? Narrow(m_options.proxy->strHost).c_str() : "");
        Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
        if (m_options.proxy) {
            Set(CURLOPT_PROXYPORT, static_cast<long>(m_options.proxy->nPort));
            Set(CURLOPT_PROXYAUTH, static_cast<long>(CURLAUTH_BASIC));
            SetCredentials(CURLOPT_PROXYUSERNAME, m_options.proxy->strAccount, CURLOPT_PROXYPASSWORD,
                           m_options.proxy->strPassword);
        }
        Set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
        SetCredentials(CURLOPT_USERNAME, m_options.strAccount, CURLOPT_PASSWORD, m_options.strPassword);
        CheckCertificates(m_pLane->m_hEasy, m_pLane->m_fault);
    }

    void SetCredentials(CURLoption account, const Text& strAccount, CURLoption password, const Text& strPassword) {
        if (strAccount.empty()) return;
        Set(account, Narrow(strAccount).c_str());
        Set(password, Narrow(strPassword).c_str());
    }

    void SetCallbacks() {
        Set(CURLOPT_HEADERFUNCTION, &CHttpRequest::OnHeader);
        Set(CURLOPT_HEADERDATA, this);
        Set(CURLOPT_WRITEFUNCTION, &CHttpRequest::OnBody);
        Set(CURLOPT_WRITEDATA, this);
        Set(CURLOPT_PREREQFUNCTION, &CHttpRequest::OnConnected);
        Set(CURLOPT_PREREQDATA, this);
        Set(CURLOPT_ERRORBUFFER, m_szError);
    }

    static std::size_t OnHeader(char* pData, std::size_t, std::size_t nSize, void* pUser) {
        auto& request = *static_cast<CHttpRequest*>(pUser);
        request.NoteProgress();
        request.m_nHeaders += nSize;
        if (request.m_nHeaders > MOST_HEADERS) return 0;
        request.m_reply.AddHeaderLine({pData, nSize});
        if (request.m_reply.IsRedirected()) request.m_bConnected = false;
        return nSize;
    }

    static std::size_t OnBody(char* pData, std::size_t, std::size_t nSize, void* pUser) {
        auto& request = *static_cast<CHttpRequest*>(pUser);
        request.NoteProgress();
        request.m_bTooLong = nSize > request.m_limits.nMostBody - request.m_nBody;
        if (request.m_bTooLong) return 0;
        request.m_nBody += nSize;
        request.m_reply.AddBody({pData, nSize});
        return nSize;
    }

    static int OnConnected(void* pUser, char*, char*, int, int) {
        auto& request = *static_cast<CHttpRequest*>(pUser);
        request.NoteProgress();
        request.m_bConnected = true;
        return CURL_PREREQFUNC_OK;
    }

    /// A body whose end is known beforehand needn't be read to be refused. It counts as broken off, as a longer one of
    /// unknown length does where it passes the limit.
    bool SaysItIsTooLong() const {
        curl_off_t nLength = -1;
        curl_easy_getinfo(m_pLane->m_hEasy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &nLength);
        return nLength > 0 && static_cast<std::uint64_t>(nLength) > m_limits.nMostBody;
    }

    void NoteProgress() {
        m_lastProgress = Clock::now();
        m_bMoved = true;
    }

    // Moves the transfer on by what has arrived, or waits for something to arrive.
    void Step() {
        int nRunning = 0;
        if (StopRequested()) return End(INTERNET_STOPPED);
        m_bMoved = false;
        if (curl_multi_perform(m_pLane->m_hMulti, &nRunning) != CURLM_OK) return End(INTERNET_OTHER);
        if (nRunning == 0) return TakeResult();
        if (m_bMoved) return;
        const auto left = TimeLeft();
        if (left <= milliseconds(0)) return End(INTERNET_TIMEOUT);
        Wait(std::min(left, LONGEST_POLL));
    }

    // The silence of a peer counts once it is connected; before, the stack's own limit holds.
    milliseconds TimeLeft() const {
        if (!m_bConnected) return LONGEST_POLL;
        const auto silence = std::chrono::duration_cast<milliseconds>(Clock::now() - m_lastProgress);
        return m_limits.silence - silence;
    }

    void Wait(milliseconds most) {
        CURLM* const hMulti = m_pLane->m_hMulti;
        const std::stop_callback wake(CurrentStop(), [hMulti] { curl_multi_wakeup(hMulti); });
        curl_multi_poll(hMulti, nullptr, 0, static_cast<int>(most.count()), nullptr);
    }

    void TakeResult() {
        int nLeft = 0;
        const CURLMsg* pMessage = curl_multi_info_read(m_pLane->m_hMulti, &nLeft);
        if (!pMessage || pMessage->msg != CURLMSG_DONE) return End(INTERNET_OTHER);
        if (m_bTooLong) return End(INTERNET_CLOSED_EARLY);
        const CURLcode result = pMessage->data.result;
        if (const int nRefusal = ReadTunnelRefusal(m_pLane->m_hEasy, result); nRefusal != 0) {
            m_reply.CompleteWithStatus(nRefusal);
            return End(INTERNET_OK);
        }
        End(ToInternetError({m_pLane->m_hEasy, result, m_szError, m_pLane->m_fault.bRefused, m_reply.IsRedirected()}));
    }

    void End(int nError) {
        m_bDone = true;
        m_nError = nError;
    }

    const RequestOptions m_options;
    const InternetLimits m_limits;
    LanePointer m_pLane;
    curl_slist* m_pHeaders = nullptr;
    CHttpReply m_reply;
    char m_szError[CURL_ERROR_SIZE] = {};
    Clock::time_point m_lastProgress;
    bool m_bConnected = false;
    bool m_bMoved = false;  ///< something came during the last step
    bool m_bDone = false;
    std::size_t m_nHeaders = 0;  ///< bytes of all replies' header lines, those of redirections and interim ones too
    std::size_t m_nBody = 0;     ///< bytes of the body that have come
    bool m_bTooLong = false;     ///< the body went on behind the most that it may have
    int m_nError = INTERNET_OK;
};

}  // namespace

std::unique_ptr<IHttpRequest> OpenRequest(const RequestOptions& options) {
    return std::make_unique<CHttpRequest>(options);
}

InternetLimits GetInternetLimits() { return {g_connectLimit, g_silenceLimit, g_nMostBody}; }

void SetInternetLimits(const InternetLimits& limits) {
    g_connectLimit = limits.connect;
    g_silenceLimit = limits.silence;
    g_nMostBody = limits.nMostBody;
}

void SetMostBody(std::size_t nBytes) { g_nMostBody = nBytes; }

}  // namespace qvant::platform
