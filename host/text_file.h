/// Files that are read and written whole.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace qvant::host {

struct FileContent {
    std::string strBytes;
    std::chrono::sys_seconds written;  ///< when it was written last
};

/// Most bytes of a file that is read.
inline constexpr std::size_t FILE_LIMIT = std::size_t{16} << 20;

/// None when there is no such file.
/// @throws CFailure when it can't be read, is no ordinary file, or is larger than the limit
std::optional<FileContent> ReadWholeFile(const std::filesystem::path& path);

/// Puts a file in the place of the one that may be there: whoever reads finds the old or the new one whole.
/// @throws CFailure when it can't be written; the old one stays
void WriteWholeFile(const std::filesystem::path& path, std::string_view strBytes);

/// Takes the next line off the front, without its line end (LF or CR LF).
std::string_view TakeLine(std::string_view& strText);

}  // namespace qvant::host
