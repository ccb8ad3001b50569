/// What a test may change around the process, put back at its end: a folder of its own, variables of the environment.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "base/text.h"

namespace qvant::platform {

/// A fresh folder, removed with all that is in it.
class CTestFolder {
public:
    CTestFolder() {
        std::string strPattern = (std::filesystem::temp_directory_path() / "qv-test-XXXXXX").string();
        m_path = mkdtemp(strPattern.data());
    }
    ~CTestFolder() {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
    }
    CTestFolder(const CTestFolder&) = delete;
    CTestFolder& operator=(const CTestFolder&) = delete;

    const std::filesystem::path& GetPath() const { return m_path; }
    Text operator/(const std::string& strName) const { return Widen((m_path / strName).string()); }

    std::size_t CountFiles() const {
        std::size_t nFiles = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(m_path)) ++nFiles;
        return nFiles;
    }

private:
    std::filesystem::path m_path;
};

/// Sets a variable of the environment, or removes it, until the end of the scope.
class CVariable {
public:
    CVariable(const char* pszName, const std::optional<std::string>& strValue) : m_strName(pszName) {
        if (const char* pszBefore = std::getenv(pszName)) m_strBefore = pszBefore;
        Put(strValue);
    }
    ~CVariable() { Put(m_strBefore); }
    CVariable(const CVariable&) = delete;
    CVariable& operator=(const CVariable&) = delete;

private:
    void Put(const std::optional<std::string>& strValue) const {
        if (strValue) {
            setenv(m_strName.c_str(), strValue->c_str(), 1);
        } else {
            unsetenv(m_strName.c_str());
        }
    }

    std::string m_strName;
    std::optional<std::string> m_strBefore;
};

}  // namespace qvant::platform
