#include "soak/soak_world.h"

#include <chrono>
#include <sstream>
#include <stdexcept>
#include <vector>

#include <httplib.h>

namespace qvant::test {

CSoakWorld::CSoakWorld(const std::filesystem::path& folder) : m_pathWorld(folder / "world") {
    std::filesystem::copy(std::filesystem::path(LUMIVALE_SAMPLE) / "world", m_pathWorld,
                          std::filesystem::copy_options::recursive);
    for (std::size_t n = 0; n < SERVERS; ++n) {
        m_arServers[n] = CServerProcess::Serve(m_pathWorld);
        m_arPorts[n] = m_arServers[n]->GetPort();
    }
}

Text CSoakWorld::GetUrls() const {
    std::string strUrls;
    for (const int nPort : m_arPorts) strUrls += "http://127.0.0.1:" + std::to_string(nPort) + "/|";
    strUrls.pop_back();
    return Widen(strUrls);
}

void CSoakWorld::Revive(std::size_t nServer) {
    m_arServers.at(nServer).reset();
    m_arServers[nServer] = CServerProcess::Serve(m_pathWorld, {"--port", std::to_string(m_arPorts.at(nServer))});
}

void CSoakWorld::ReviveAll() {
    for (std::size_t n = 0; n < SERVERS; ++n) Revive(n);
}

void CSoakWorld::HangAt(const std::string& strPath) const {
    for (const auto& pServer : m_arServers) {
        if (!PostFaults(*pServer, R"([{"match":")" + strPath + R"(","kind":"hang"}])")) {
            throw std::runtime_error("a server doesn't take the fault of " + strPath);
        }
    }
}

bool CSoakWorld::WaitForRequest(const std::string& strPath) const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (std::chrono::steady_clock::now() < end) {
        for (const int nPort : m_arPorts) {
            const auto result = httplib::Client("127.0.0.1", nPort).Get("/_control/requests");
            if (result && result->body.find(strPath) != std::string::npos) return true;
        }
    }
    return false;
}

void CSoakWorld::Publish(const std::string& strDocument) const {
    std::vector<std::string> arArguments{"publish", "--data", m_pathWorld.string()};
    std::istringstream words(strDocument);
    for (std::string strWord; words >> strWord;) arArguments.push_back(strWord);
    CServerProcess publisher(arArguments);
    if (publisher.Wait() == 0) return;
    std::string strWhy = "\"" + strDocument + "\" isn't published:";
    for (const std::string& strLine : publisher.GetErrors().GetLines()) strWhy += "\n" + strLine;
    throw std::runtime_error(strWhy);
}

}  // namespace qvant::test
