/// What a data folder says, made ready to be sent.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "http_message.h"
#include "world_error.h"
#include "world_history.h"

namespace qvant::refserver {

/// Files of a data folder that are documents by themselves.
inline constexpr const char* CurrencyFile = "currency.json";
inline constexpr const char* HolidayFile = "OBHoliday.txt";

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

/// A document that goes out whole or not at all: a classification, the stock info of an exchange, the trade
/// permissions.
struct VersionedDocument {
    std::string strVersion;  // as clients send it back
    ReadyBody whole;
    ReadyBody noNews;  // LastVersion alone

    const ReadyBody& AnswerTo(std::string_view version) const { return version == strVersion ? noNews : whole; }
};

using VersionedDocuments = std::map<std::string, VersionedDocument, std::less<>>;

/// One state of a data folder. Never changed once made; requests share it.
struct World {
    std::map<std::string, WorldDocument, std::less<>> mapDocuments;
    VersionedDocuments mapClassifications;  // by name
    VersionedDocuments mapStockInfo;        // by exchange, as clients spell it
    std::optional<VersionedDocument> permissions;
    std::optional<ReadyBody> currency;  // whole for everybody: its file has the version
    Body holidays;                      // the text of "OBHoliday.txt"; null: there is none
    WorldHistory history;
    std::size_t nSecurities = 0;
    std::size_t nFiles = 0;

    const WorldDocument& GetDocument(std::string_view strType) const;
};

/// The files of a data folder: "world.json" first, then those of its folders, "currency.json", "OBHoliday.txt" and
/// "permissions.json", by name.
/// @throw CWorldError  there is no "world.json"
std::vector<std::filesystem::path> ListWorldFiles(const std::filesystem::path& folder);

/// Reads a data folder whole.
/// @throw CWorldError  a file is missing, can't be read, isn't JSON or has another shape than told in sample/README.md
World ReadWorld(const std::filesystem::path& folder);

}  // namespace qvant::refserver
