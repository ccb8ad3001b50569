#include "support/document_server.h"

#include "platform/internet.h"

namespace qvant::test {

namespace {

/// The library makes some tables of its own at the first request. That must be over before several servers answer at
/// once: the thread sanitizer can't see how it keeps them apart.
void WarmUp() {
    httplib::Server server;
    const int nPort = server.bind_to_any_port("127.0.0.1");
    std::thread thread([&server] { server.listen_after_bind(); });
    httplib::Client("127.0.0.1", nPort).Get("/");
    server.stop();
    thread.join();
}

}  // namespace

CDocumentServer::CDocumentServer() {
    static std::once_flag warmedUp;
    std::call_once(warmedUp, WarmUp);
    m_server.set_tcp_nodelay(true);
    for (const char* pszPath : {"/OutsideData_getMainForm.do", "/OutsideData_getMainLastVer.do",
                                "/Classification_getClassification.do", "/OutsideData_getDocument.do"}) {
        m_server.Get(pszPath, [this](const httplib::Request& request, httplib::Response& response) {
            Answer(request, response);
        });
    }
    m_nPort = m_server.bind_to_any_port("127.0.0.1");
    m_thread = std::thread([this] { m_server.listen_after_bind(); });
    while (!m_server.is_running()) std::this_thread::yield();
}

CDocumentServer::~CDocumentServer() {
    Release();
    // A connection that the client keeps would hold the server's thread until its own time-out.
    platform::CloseIdleConnections();
    m_server.stop();
    m_thread.join();
}

void CDocumentServer::Publish(std::string strVersion, std::string strDocument) {
    PublishList("", std::move(strVersion), std::move(strDocument));
}

void CDocumentServer::PublishList(const std::string& strCname, std::string strVersion, std::string strDocument) {
    const std::lock_guard lock(m_mutex);
    m_mapDocuments[strCname] = {std::move(strVersion), std::move(strDocument)};
    m_nStatus = 0;
}

void CDocumentServer::AnswerAlways(std::string strBody, int nStatus) {
    const std::lock_guard lock(m_mutex);
    m_strAlways = std::move(strBody);
    m_nStatus = nStatus;
}

void CDocumentServer::Hang() {
    const std::lock_guard lock(m_mutex);
    m_bHang = true;
}

void CDocumentServer::Release() {
    const std::lock_guard lock(m_mutex);
    m_bHang = false;
    m_changed.notify_all();
}

std::vector<std::string> CDocumentServer::GetTargets() const {
    const std::lock_guard lock(m_mutex);
    return m_arTargets;
}

void CDocumentServer::WaitForQueries(std::size_t nCount) const {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return m_arTargets.size() >= nCount; });
}

void CDocumentServer::Answer(const httplib::Request& request, httplib::Response& response) {
    std::unique_lock lock(m_mutex);
    m_arTargets.push_back(request.target);
    m_changed.notify_all();
    m_changed.wait(lock, [this] { return !m_bHang; });
    const Document& document = m_mapDocuments[request.get_param_value(request.has_param("doc") ? "doc" : "cname")];
    if (m_nStatus != 0) {
        response.status = m_nStatus;
        response.set_content(m_strAlways, "application/json");
    } else if (request.get_param_value("lastVersion") == document.strVersion) {
        // As a server would: so little isn't worth compressing.
        response.set_content("{\"LastVersion\":\"" + document.strVersion + "\"}", "application/octet-stream");
    } else {
        response.set_content(document.strText, "application/json");
    }
}

}  // namespace qvant::test
