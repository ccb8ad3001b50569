/// What tests of the fetching layer share: a temporary folder of their own, and one call with its results.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "net/http_query.h"
#include "platform/internet.h"

namespace qvant::test {

/// A fresh folder that the process's temporary files go to as well.
class CTempFolder {
public:
    CTempFolder() {
        std::string strName = (std::filesystem::temp_directory_path() / "qv-net-XXXXXX").string();
        m_strPath = mkdtemp(strName.data());
        setenv("TMPDIR", m_strPath.c_str(), 1);
    }
    ~CTempFolder() {
        unsetenv("TMPDIR");
        std::filesystem::remove_all(m_strPath);
    }
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;

    const std::string& GetPath() const { return m_strPath; }
    std::vector<std::string> ListNames() const {
        std::vector<std::string> arNames;
        for (const auto& entry : std::filesystem::directory_iterator(m_strPath)) {
            arNames.push_back(entry.path().filename().string());
        }
        std::sort(arNames.begin(), arNames.end());
        return arNames;
    }
    std::string Write(const std::string& strName, const std::string& strBytes) const {
        const std::string strFile = m_strPath + "/" + strName;
        std::ofstream(strFile, std::ios::binary) << strBytes;
        return strFile;
    }

private:
    std::string m_strPath;
};

/// The results of one `DoGetHttpQuery`, with outs that show whether they were written.
struct Fetched {
    static constexpr std::uint32_t UNTOUCHED = 4711;

    ReplyBuffer pReply;
    std::uint32_t nLength = UNTOUCHED;
    Text strError = u"untouched";

    /// The reply without its NUL.
    std::string GetContent() const {
        if (!pReply) return "(null)";
        return std::string(reinterpret_cast<const char*>(pReply.get()), nLength - 1);
    }
};

inline Fetched Fetch(const Text& strUrl, bool bGzip = false, const ProxySettings& proxy = {},
                     std::int32_t nTimeout = 0) {
    Fetched fetched;
    fetched.pReply = DoGetHttpQuery(strUrl, &fetched.nLength, proxy, fetched.strError, bGzip, nTimeout);
    return fetched;
}

/// The bytes that the gzip program makes of some others.
inline std::string Gzip(const CTempFolder& folder, const std::string& strBytes) {
    const std::string strFile = folder.Write("plain.bin", strBytes);
    if (std::system(("gzip -c -n '" + strFile + "' > '" + strFile + ".out'").c_str()) != 0) return {};
    std::ifstream file(strFile + ".out", std::ios::binary);
    std::string strZipped((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::filesystem::remove(strFile);
    std::filesystem::remove(strFile + ".out");
    return strZipped;
}

/// Tests that fetch start without idle connections and leave none.
class NetTest : public ::testing::Test {
protected:
    ~NetTest() override { platform::CloseIdleConnections(); }

    CTempFolder m_folder;
};

}  // namespace qvant::test
