/// What a data folder says, made ready to be sent.
#pragma once

#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "http_message.h"

namespace qvant::refserver {

/// The list type that holds every security, and that an unknown one is answered with.
inline constexpr std::string_view AllSecurities = "ALL";

/// A body in both forms.
struct ReadyBody {
    Body plain;
    Body gzipped;
};

/// The securities document of one list type.
struct WorldDocument {
    std::string strVersion;  // as clients send it back
    ReadyBody whole;         // with SecuritiesInfo
    ReadyBody noNews;        // the answer to a client that holds this version
    ReadyBody probe;         // LastVersion alone
};

/// One state of a data folder. Never changed once made; requests share it.
struct World {
    std::map<std::string, WorldDocument, std::less<>> mapDocuments;
    std::size_t nSecurities = 0;
    std::size_t nFiles = 0;

    const WorldDocument& GetDocument(std::string_view strType) const;
};

/// A data folder that can't be served; the text names the file and what is wrong with it.
class CWorldError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The files of a data folder: "world.json" first, then those of "securities", by name.
/// @throw CWorldError  there is no "world.json"
std::vector<std::filesystem::path> ListWorldFiles(const std::filesystem::path& folder);

/// Reads a data folder whole.
/// @throw CWorldError  a file is missing, can't be read, isn't JSON or has another shape than told in sample/README.md
World ReadWorld(const std::filesystem::path& folder);

}  // namespace qvant::refserver
