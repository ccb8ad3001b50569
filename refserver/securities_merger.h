/// The files of securities, checked and put together into the one object that a document holds.
#pragma once

#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace qvant::refserver {

/// Reads file after file as a stream: a large world needs no more memory than its text.
class CSecuritiesMerger {
public:
    /// Adds one file: an object whose members are securities, objects themselves.
    /// @throw CWorldError  the file can't be read, isn't JSON, has another shape, or repeats a key
    void AddFile(const std::filesystem::path& file);

    /// Compact JSON of all securities whose key begins with one of the prefixes, in order.
    std::string Select(const std::vector<std::string>& arPrefixes) const;

    /// Calls `call(key, compact JSON of the security)` for each security, in order.
    void ForEach(const std::function<void(const std::string&, std::string_view)>& call) const;

    /// Compact JSON of all securities. Nothing can be added or selected afterwards.
    std::string TakeAll();

    std::size_t GetCount() const { return m_arSecurities.size(); }

private:
    friend class CSecuritiesReader;

    struct Security {
        std::size_t nBegin;
        std::size_t nValue;  // where its object begins, behind the key and the colon
        std::size_t nEnd;
        const std::string* pKey;  // in m_setKeys
    };

    std::string m_strText;  // `"key":{...}` after `"key":{...}`, joined by ","
    std::vector<Security> m_arSecurities;
    std::unordered_set<std::string> m_setKeys;
};

}  // namespace qvant::refserver
