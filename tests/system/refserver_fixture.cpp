#include "system/refserver_fixture.h"

#include <cerrno>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zlib.h>

namespace qvant::test {

CSmallWorld::CSmallWorld() {
    Write("world.json", R"({"version":"v1","broker":"B","listTypes":{"FUTURES":["QV.F."]}})");
    Write("securities/CME.json", R"({
        "QV.F.CME.ES": {"Name.ENG": "E-mini", "TradeTime": "17:00~16:00"},
        "QV.O.CME.ES": {"Name.ENG": "E-mini Option"}})");
    Write("securities/TWF.json", R"({"QV.F.TWF.TXF": {"Name.CHT": "台指"}})");
}

Answer Get(const CServerProcess& server, const std::string& strTarget, bool bGzip) {
    httplib::Client client("127.0.0.1", server.GetPort());
    client.set_decompress(false);
    client.set_url_encode(false);  // targets are given as they go out
    client.set_read_timeout(30);
    const httplib::Headers headers{{"Accept-Encoding", bGzip ? "gzip,deflate" : "identity"}};
    const auto result = client.Get(strTarget, headers);
    if (!result) return {};
    return {result->status, result->body, result->get_header_value("Content-Encoding")};
}

std::string MainForm(const std::string& strVersion, const std::string& strType) {
    return "/OutsideData_getMainForm.do?lastVersion=" + strVersion + "&type=" + strType +
           "&ACCOUNT=user1&REGION=TWN&APP_NAME=SAMPLE&KEY=k1&Z=PreProcessData__093000123A&broker=";
}

std::string Gunzip(const std::string& strBytes) {
    z_stream stream{};
    if (inflateInit2(&stream, 15 + 16) != Z_OK) return {};
    std::string strIn = strBytes;
    stream.next_in = reinterpret_cast<Bytef*>(strIn.data());
    stream.avail_in = static_cast<uInt>(strIn.size());
    std::string strOut;
    int nState = Z_OK;
    for (char block[4096]; nState == Z_OK;) {
        stream.next_out = reinterpret_cast<Bytef*>(block);
        stream.avail_out = sizeof block;
        nState = inflate(&stream, Z_NO_FLUSH);
        strOut.append(block, sizeof block - stream.avail_out);
    }
    inflateEnd(&stream);
    return nState == Z_STREAM_END ? strOut : std::string();
}

rapidjson::Document ToJson(std::string_view text) {
    rapidjson::Document document;
    document.Parse(text.data(), text.size());
    return document;
}

std::string LastVersion(const CServerProcess& server) {
    const auto document = ToJson(Get(server, "/OutsideData_getMainLastVer.do").strBody);
    return document.IsObject() ? document["LastVersion"].GetString() : "";
}

CRawClient::CRawClient(const CServerProcess& server, const std::string& strTarget)
    : m_hSocket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(server.GetPort()));
    inet_pton(AF_INET, "127.0.0.1", &address.sin_addr);
    const std::string strRequest = "GET " + strTarget + " HTTP/1.1\r\nHost: loopback\r\nConnection: close\r\n\r\n";
    if (connect(m_hSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        send(m_hSocket, strRequest.data(), strRequest.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(strRequest.size())) {
        throw std::system_error(errno, std::generic_category(), "raw client");
    }
}

CRawClient::~CRawClient() { close(m_hSocket); }

std::string CRawClient::ReadAll() {
    std::string strAll;
    char block[4096];
    for (;;) {
        const auto nRead = recv(m_hSocket, block, sizeof block, 0);
        if (nRead > 0) {
            strAll.append(block, static_cast<std::size_t>(nRead));
        } else if (nRead == 0 || errno != EINTR) {
            m_nError = nRead == 0 ? 0 : errno;
            return strAll;
        }
    }
}

bool CRawClient::HasNews() const {
    pollfd entry{m_hSocket, POLLIN, 0};
    return poll(&entry, 1, 0) > 0;
}

}  // namespace qvant::test
