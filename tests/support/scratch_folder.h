/// A fresh folder that goes away with the test.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "base/text.h"

namespace qvant::test {

class CScratchFolder {
public:
    CScratchFolder() {
        std::string strPattern = (std::filesystem::temp_directory_path() / "lumivale-test-XXXXXX").string();
        m_path = ::mkdtemp(strPattern.data());
    }
    ~CScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    CScratchFolder(const CScratchFolder&) = delete;
    CScratchFolder& operator=(const CScratchFolder&) = delete;

    const std::filesystem::path& GetPath() const { return m_path; }
    /// Path of a file below the folder, as wide text.
    Text operator/(std::string_view strName) const { return Widen((m_path / strName).string()); }

    void Write(std::string_view strName, std::string_view strBytes) const {
        std::filesystem::create_directories((m_path / strName).parent_path());
        std::ofstream(m_path / strName, std::ios::binary) << strBytes;
    }
    std::string Read(std::string_view strName) const {
        std::ifstream file(m_path / strName, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::filesystem::path m_path;
};

/// An environment variable for the length of a test.
class CEnvironment {
public:
    CEnvironment(const char* pszName, const std::string& strValue) : m_strName(pszName) {
        if (const char* pszOld = ::getenv(pszName)) m_strOld = pszOld, m_bOld = true;
        ::setenv(pszName, strValue.c_str(), 1);
    }
    ~CEnvironment() {
        if (m_bOld)
            ::setenv(m_strName.c_str(), m_strOld.c_str(), 1);
        else
            ::unsetenv(m_strName.c_str());
    }
    CEnvironment(const CEnvironment&) = delete;
    CEnvironment& operator=(const CEnvironment&) = delete;

private:
    std::string m_strName;
    std::string m_strOld;
    bool m_bOld = false;
};

}  // namespace qvant::test
