#include "publisher.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "document_versions.h"
#include "json_file.h"
#include "world.h"

namespace qvant::refserver {

namespace {

namespace fs = std::filesystem;

constexpr const char* VersionsMember = "versions";

/// One publisher at a time. The lock is the folder's own, so that it leaves nothing behind.
class CFolderLock {
public:
    explicit CFolderLock(const fs::path& folder) : m_hFolder(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (m_hFolder < 0) throw CWorldError(folder.string() + ": " + std::strerror(errno));
        while (flock(m_hFolder, LOCK_EX) != 0) {
            if (errno != EINTR) throw CWorldError(folder.string() + ": " + std::strerror(errno));
        }
    }
    CFolderLock(const CFolderLock&) = delete;
    CFolderLock& operator=(const CFolderLock&) = delete;
    ~CFolderLock() { close(m_hFolder); }

private:
    int m_hFolder;
};

/// The documents that the options mean, by their names in "versions".
std::vector<std::string> ListDocuments(const World& world, const PublishOptions& options) {
    std::vector<std::string> arDocuments;
    switch (options.nFamily) {
        case DocumentFamily::Securities:
            arDocuments.emplace_back(SecuritiesDocument);
            break;
        case DocumentFamily::Contracts:
            if (!world.mapClassifications.contains(options.strName)) {
                throw CWorldError("there is no classification \"" + options.strName + "\"");
            }
            arDocuments.push_back(ClassificationDocument(options.strName));
            break;
        case DocumentFamily::Stocks:
            for (const auto& [strExchange, document] : world.mapStockInfo) {
                arDocuments.push_back(StockInfoDocument(strExchange));
            }
            if (arDocuments.empty()) throw CWorldError("there is no stock info");
            break;
    }
    return arDocuments;
}

std::string FindVersion(const World& world, const std::string& strDocument) {
    if (strDocument == SecuritiesDocument) return world.GetDocument(AllSecurities).strVersion;
    for (const auto& [strName, document] : world.mapClassifications) {
        if (strDocument == ClassificationDocument(strName)) return document.strVersion;
    }
    for (const auto& [strExchange, document] : world.mapStockInfo) {
        if (strDocument == StockInfoDocument(strExchange)) return document.strVersion;
    }
    return {};
}

/// "2026.11" is followed by "2026.11.r1", that by "2026.11.r2".
std::string NextBeginning(const std::string& strBeginning) {
    const auto nDigits = strBeginning.find_last_not_of("0123456789") + 1;
    const bool bCounted = nDigits < strBeginning.size() && strBeginning.size() - nDigits <= 9 && nDigits > 0 &&
                          strBeginning[nDigits - 1] == 'r' && (nDigits == 1 || strBeginning[nDigits - 2] == '.');
    if (bCounted) return strBeginning.substr(0, nDigits) + std::to_string(std::stoul(strBeginning.substr(nDigits)) + 1);
    return strBeginning.empty() ? "r1" : strBeginning + ".r1";
}

rapidjson::Value& MakeVersions(rapidjson::Document& root) {
    if (!root.HasMember(VersionsMember)) {
        root.AddMember(rapidjson::StringRef(VersionsMember), rapidjson::Value(rapidjson::kObjectType),
                       root.GetAllocator());
    }
    return root[VersionsMember];
}

void SetVersion(rapidjson::Document& root, const std::string& strDocument, const std::string& strBeginning) {
    auto& allocator = root.GetAllocator();
    const auto copy = [&allocator](const std::string& strText) {
        return rapidjson::Value(strText.data(), static_cast<rapidjson::SizeType>(strText.size()), allocator);
    };
    rapidjson::Value& versions = MakeVersions(root);
    versions.RemoveMember(copy(strDocument));
    versions.AddMember(copy(strDocument), copy(strBeginning), allocator);
}

/// A new beginning for each document's version.
void RaiseVersions(const PublishOptions& options, const std::vector<std::string>& arDocuments) {
    const fs::path file = options.data / "world.json";
    auto root = ReadObject(file);
    const CDocumentVersions versions(root, file);
    if (!versions.GetFixed().empty()) {
        throw CWorldError(file.string() + ": its \"fixedVersion\" stands for every document; none gets one of its own");
    }
    for (const auto& strDocument : arDocuments) {
        const std::string& strOld = versions.GetBeginning(strDocument);
        const std::string strNew = options.strVersion.empty() ? NextBeginning(strOld) : options.strVersion;
        if (strNew == strOld) throw CWorldError(strDocument + " has the version \"" + strNew + "\" already");
        SetVersion(root, strDocument, strNew);
    }
    ReplaceText(file, ToPrettyJson(root));
}

}  // namespace

std::vector<Publication> Publish(const PublishOptions& options) {
    const CFolderLock lock(options.data);
    const World before = ReadWorld(options.data);
    const auto arDocuments = ListDocuments(before, options);
    RaiseVersions(options, arDocuments);
    const World after = ReadWorld(options.data);
    std::vector<Publication> arPublications;
    for (const auto& strDocument : arDocuments) {
        arPublications.push_back({strDocument, FindVersion(before, strDocument), FindVersion(after, strDocument)});
    }
    return arPublications;
}

}  // namespace qvant::refserver
