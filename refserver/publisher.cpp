#include "publisher.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
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

constexpr std::string_view HolidayVersion = "# version ";

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
        case DocumentFamily::Rates:
        case DocumentFamily::Holidays:
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

/// @param strNext  the version behind the old one, for who doesn't name any
std::string ChooseVersion(const PublishOptions& options, const std::string& strDocument, const std::string& strOld,
                          const std::string& strNext) {
    const std::string& strNew = options.strVersion.empty() ? strNext : options.strVersion;
    if (strNew == strOld) throw CWorldError(strDocument + " has the version \"" + strNew + "\" already");
    return strNew;
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
        SetVersion(root, strDocument, ChooseVersion(options, strDocument, strOld, NextBeginning(strOld)));
    }
    ReplaceText(file, ToPrettyJson(root));
}

std::vector<Publication> PublishVersioned(const PublishOptions& options, const World& before) {
    const auto arDocuments = ListDocuments(before, options);
    RaiseVersions(options, arDocuments);
    const World after = ReadWorld(options.data);
    std::vector<Publication> arPublications;
    arPublications.reserve(arDocuments.size());
    for (const auto& strDocument : arDocuments) {
        arPublications.push_back({strDocument, FindVersion(before, strDocument), FindVersion(after, strDocument)});
    }
    return arPublications;
}

/// A decimal yyyymmdd of the day that comes next: today, or the day after the old one.
std::string NextDay(const std::string& strOld) {
    using std::chrono::days;
    auto day = std::chrono::floor<days>(std::chrono::system_clock::now());
    if (strOld.size() == 8 && strOld.find_first_not_of("0123456789") == std::string::npos) {
        const std::chrono::year_month_day old(std::chrono::year(std::stoi(strOld.substr(0, 4))),
                                              std::chrono::month(static_cast<unsigned>(std::stoi(strOld.substr(4, 2)))),
                                              std::chrono::day(static_cast<unsigned>(std::stoi(strOld.substr(6)))));
        if (old.ok()) day = std::max(day, std::chrono::sys_days(old) + days(1));
    }
    const std::chrono::year_month_day next(day);
    return std::to_string(int{next.year()} * 10000 + static_cast<int>(unsigned{next.month()} * 100) +
                          static_cast<int>(unsigned{next.day()}));
}

/// The rates bring their version along, in practice their day.
Publication PublishRates(const PublishOptions& options) {
    const fs::path file = options.data / CurrencyFile;
    auto root = ReadObject(file);
    std::string strOld;
    if (root.HasMember("LastVersion")) {
        const rapidjson::Value& old = root["LastVersion"];
        strOld = old.IsString() ? std::string(ToView(old)) : ToJson(old);
    }
    const std::string strNew = ChooseVersion(options, "rates", strOld, NextDay(strOld));
    root.RemoveMember("LastVersion");
    const bool bNumber = strNew.size() <= 18 && strNew.find_first_not_of("0123456789") == std::string::npos;
    rapidjson::Value version;
    if (bNumber) {
        version.SetInt64(std::stoll(strNew));
    } else {
        version.SetString(strNew.data(), static_cast<rapidjson::SizeType>(strNew.size()), root.GetAllocator());
    }
    root.AddMember("LastVersion", version, root.GetAllocator());
    ReplaceText(file, ToPrettyJson(root));
    return {"rates", strOld, strNew};
}

/// The text has no version; whoever has it compares all of it. So a remark at its end tells of the publication.
Publication PublishHolidays(const PublishOptions& options) {
    const fs::path file = options.data / HolidayFile;
    std::string strText = ReadText(file);
    if (strText.starts_with("\xFF\xFE")) throw CWorldError(file.string() + ": is wide text; edit it by hand");
    std::string strOld;
    const auto nRemark = strText.rfind(HolidayVersion);
    if (nRemark != std::string::npos && (nRemark == 0 || strText[nRemark - 1] == '\n')) {
        const auto nStart = nRemark + HolidayVersion.size();
        const auto nEnd = std::min(strText.find_first_of("\r\n", nStart), strText.size());
        strOld = strText.substr(nStart, nEnd - nStart);
        strText.erase(nRemark, std::min(strText.find('\n', nEnd), strText.size() - 1) + 1 - nRemark);
    }
    const std::string strNew = ChooseVersion(options, "holidays", strOld, NextBeginning(strOld));
    if (!strText.empty() && !strText.ends_with('\n')) strText += "\r\n";
    ReplaceText(file, strText.append(HolidayVersion).append(strNew).append("\r\n"));
    return {"holidays", strOld, strNew};
}

}  // namespace

std::vector<Publication> Publish(const PublishOptions& options) {
    const CFolderLock lock(options.data);
    const World before = ReadWorld(options.data);
    if (options.nFamily == DocumentFamily::Rates) return {PublishRates(options)};
    if (options.nFamily == DocumentFamily::Holidays) return {PublishHolidays(options)};
    return PublishVersioned(options, before);
}

}  // namespace qvant::refserver
