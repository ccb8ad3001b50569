#include "proof_world.h"

#include <fstream>
#include <stdexcept>

namespace qvant::proof {

namespace fs = std::filesystem;

namespace {

const fs::path& SampleWorld() {
    static const fs::path path = fs::path(LUMIVALE_SAMPLE) / "world";
    return path;
}

/// A server that reads meanwhile sees the old file or the new one.
void WriteWhole(const fs::path& path, const std::string& strText) {
    const fs::path beside = path.string() + ".new";
    std::ofstream(beside, std::ios::binary) << strText;
    fs::rename(beside, path);
}

}  // namespace

CProofWorld::CProofWorld(const fs::path& folder) : m_pathWorld(folder / "world") {
    fs::copy(SampleWorld(), m_pathWorld, fs::copy_options::recursive);
    Set(Edition::Old);
    m_pServer = test::CServerProcess::Serve(m_pathWorld);
    m_strUrl = m_pServer->GetUrl();
    m_nPort = m_pServer->GetPort();
}

void CProofWorld::Start() {
    if (!m_pServer) m_pServer = test::CServerProcess::Serve(m_pathWorld, {"--port", std::to_string(m_nPort)});
}

void CProofWorld::Write(const fs::path& file, const std::string& strFrom, const std::string& strTo) const {
    std::ifstream stream(SampleWorld() / file, std::ios::binary);
    std::string strText{std::istreambuf_iterator<char>(stream), {}};
    std::size_t nFound = 0;
    for (std::size_t n = 0; (n = strText.find(strFrom, n)) != std::string::npos; n += strTo.size(), ++nFound) {
        strText.replace(n, strFrom.size(), strTo);
    }
    if (nFound == 0) throw std::runtime_error("nothing to change in the sample's " + file.string());
    WriteWhole(m_pathWorld / file, strText);
}

void CProofWorld::Set(Edition edition) const {
    const bool bNew = edition == Edition::New;
    const auto choose = [bNew](const char* pszOld, const char* pszNew) { return bNew ? pszNew : pszOld; };
    for (const auto& entry : fs::directory_iterator(SampleWorld() / "securities")) {
        Write(fs::path("securities") / entry.path().filename(), R"("Name.ENG": ")",
              choose(R"("Name.ENG": ")", R"("Name.ENG": "New )"));
    }
    for (const auto& entry : fs::directory_iterator(SampleWorld() / "classifications")) {
        Write(fs::path("classifications") / entry.path().filename(), R"("ENG": ")",
              choose(R"("ENG": ")", R"("ENG": "New )"));
    }
    WriteWhole(m_pathWorld / "classifications" / (std::string(SHORT_LIST) + ".json"),
               std::string(R"({"ENG": ")") + choose("Short", "New Short") +
                   R"(", "EachProduct": ["QV.F.CME.ES", "QV.F.SHFE.rb"]})");
    Write("stkinfo/sse.json", R"("18": "100000")", choose(R"("18": "100000")", R"("18": "200000")"));
    Write("stkinfo/szse.json", R"("BuyQtyUpperLimit": 1000000)",
          choose(R"("BuyQtyUpperLimit": 1000000)", R"("BuyQtyUpperLimit": 2000000)"));
    Write("rolls/CME.json", "\"20260910\"", choose("\"20260910\"", "\"20260909\""));
    Write("rolls/SHFE.json", "\"20260907\"", choose("\"20260907\"", "\"20260908\""));
    for (const char* pszFile : {"bars/CME.json", "bars/SHFE.json"}) {
        Write(pszFile, R"("close": ")", choose(R"("close": ")", R"("close": "1)"));
    }
    Write("OBHoliday.txt", "20271231\tH", choose("20271231\tH", "20271231\tE"));
}

}  // namespace qvant::proof
