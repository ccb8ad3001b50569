/// The files of the sample data, for those tests that look at what they hold.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace qvant::test {

inline const std::filesystem::path Sample = LUMIVALE_SAMPLE;

inline std::string ReadFile(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// The pieces between the separators, empty ones too.
inline std::vector<std::string> Split(const std::string& strText, char cSeparator) {
    std::vector<std::string> arPieces(1);
    for (const char c : strText) {
        if (c == cSeparator)
            arPieces.emplace_back();
        else
            arPieces.back() += c;
    }
    return arPieces;
}

}  // namespace qvant::test
