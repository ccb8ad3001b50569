/// The server of a proof: a copy of the sample world that comes in two editions.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "system/server_process.h"

namespace qvant::proof {

/// In the new edition every security has another name, every category of the pickers, a holiday, the order limits, the
/// rolls and the closes are others: so the two differ in each row and file that comes of them.
enum class Edition { Old, New };

/// A classification of two products besides those of the sample, for a refresh that is short.
constexpr const char* SHORT_LIST = "SHORT";

class CProofWorld {
public:
    explicit CProofWorld(const std::filesystem::path& folder);

    /// Serves this edition from the next request on.
    void Set(Edition edition) const;

    const std::string& GetUrl() const { return m_strUrl; }
    void Stop() { m_pServer.reset(); }
    /// Has the server back at its address.
    void Start();

private:
    /// Writes a file of the sample with each occurrence of a text replaced.
    void Write(const std::filesystem::path& file, const std::string& strFrom, const std::string& strTo) const;

    const std::filesystem::path m_pathWorld;
    std::unique_ptr<test::CServerProcess> m_pServer;
    std::string m_strUrl;
    int m_nPort = 0;
};

}  // namespace qvant::proof
