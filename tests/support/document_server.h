/// A real HTTP server on loopback that serves documents by version, and remembers what was asked.
#pragma once

#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <httplib.h>

#include "base/text.h"

namespace qvant::test {

class CDocumentServer {
public:
    CDocumentServer();
    ~CDocumentServer();

    /// "http://127.0.0.1:PORT/"
    Text GetUrl() const { return Widen("http://127.0.0.1:" + std::to_string(m_nPort) + "/"); }

    /// The securities document: what a query with any other version gets.
    void Publish(std::string strVersion, std::string strDocument);
    /// A contract list, or another document, by the name that the server knows it by.
    void PublishList(const std::string& strCname, std::string strVersion, std::string strDocument);
    /// Every further query gets this body, whatever its version.
    void AnswerAlways(std::string strBody, int nStatus = 200);
    /// Further queries hang until the server ends or `Release` is called.
    void Hang();
    void Release();

    /// Targets of the queries so far, query strings included.
    std::vector<std::string> GetTargets() const;
    void WaitForQuery() const { WaitForQueries(1); }
    /// Waits until so many queries have come in all.
    void WaitForQueries(std::size_t nCount) const;

private:
    struct Document {
        std::string strVersion;
        std::string strText;
    };

    void Answer(const httplib::Request& request, httplib::Response& response);

    httplib::Server m_server;
    int m_nPort = 0;
    std::thread m_thread;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::map<std::string, Document> m_mapDocuments;  ///< by name; the securities document has the empty name
    std::string m_strAlways;
    int m_nStatus = 0;
    bool m_bHang = false;
    std::vector<std::string> m_arTargets;
};

}  // namespace qvant::test
