#include "name_tree.h"

#include <algorithm>
#include <functional>

#include "failure.h"
#include "shared_block.h"

namespace qvant::host {

namespace {

/// Behind a leaf's path: the key of its instruments. Only leaves have one.
constexpr TextView INSTRUMENT_ENDING = u"-Instrument";

std::unordered_map<Text, Text> ReadNames(const CTables& tables) {
    const CStoreTable table = tables.Open({u"Contract.List.Name", {}});
    const Text strName = ToText(table.GetValue(u"ContractListName"));
    const auto nSize = ParseInteger(ToText(table.GetValue(u"ContractListNameLen")));
    if (strName.empty() || !nSize || *nSize < 0) throw CFailure("\"Contract.List.Name\" names no shared block");
    return ReadTextArchive(ReadSharedBlock(strName, static_cast<std::size_t>(*nSize)));
}

void ForEachItem(TextView strItems, const std::function<void(TextView)>& use) {
    while (!strItems.empty()) {
        const std::size_t nEnd = std::min(strItems.find(u'|'), strItems.size());
        if (nEnd > 0) use(strItems.substr(0, nEnd));
        strItems.remove_prefix(std::min(nEnd + 1, strItems.size()));
    }
}

Text Behind(TextView strItem, std::size_t nComma) {
    return nComma == TextView::npos ? Text() : Text(strItem.substr(nComma + 1));
}

Listing ListContracts(TextView strItems) {
    Listing listing{"contract", {"symbol", "name"}, {}, 0};
    ForEachItem(strItems, [&listing](TextView strItem) {
        const std::size_t nComma = strItem.find(u',');
        listing.arRows.push_back({Text(strItem.substr(0, nComma)), Behind(strItem, nComma)});
    });
    listing.nTotal = listing.arRows.size();
    return listing;
}

Text PathBelow(TextView strPath, TextView strName) { return Text(strPath).append(u".").append(strName); }

}  // namespace

CNameTree::CNameTree(const CTables& tables) : m_mapNames(ReadNames(tables)) {}

Listing CNameTree::List(TextView strPath) const {
    if (strPath.empty()) return ListRoots();
    const Text strKey(strPath);
    const auto it = m_mapNames.find(strKey);
    if (it == m_mapNames.end() && !IsEmptyGroup(strPath)) throw CFailure("unknown path " + Quote(strPath));
    const TextView strItems = it == m_mapNames.end() ? TextView() : TextView(it->second);
    const bool bLeaf = m_mapNames.contains(strKey + Text(INSTRUMENT_ENDING));
    return bLeaf ? ListContracts(strItems) : ListGroups(strPath, strItems);
}

Listing CNameTree::ListRoots() const {
    Listing listing{"classification", {"name", "count"}, {}, 0};
    std::vector<Text> arRoots;
    for (const auto& [strPath, strItems] : m_mapNames) {
        if (strPath.ends_with(INSTRUMENT_ENDING)) continue;
        bool bBelow = false;
        for (std::size_t n = strPath.find(u'.'); n != Text::npos && !bBelow; n = strPath.find(u'.', n + 1))
            bBelow = m_mapNames.contains(strPath.substr(0, n));
        if (!bBelow) arRoots.push_back(strPath);
    }
    std::ranges::sort(arRoots);
    for (const Text& strRoot : arRoots)
        listing.arRows.push_back({strRoot, static_cast<std::int64_t>(CountBelow(strRoot))});
    listing.nTotal = arRoots.size();
    return listing;
}

Listing CNameTree::ListGroups(TextView strPath, TextView strItems) const {
    Listing listing{"group", {"name", "local_name", "count"}, {}, 0};
    ForEachItem(strItems, [&](TextView strItem) {
        // A name may hold a comma: the English one is what has a path of its own.
        std::size_t nComma = strItem.find(u',');
        for (std::size_t n = nComma; n != TextView::npos; n = strItem.find(u',', n + 1)) {
            if (!m_mapNames.contains(PathBelow(strPath, strItem.substr(0, n)))) continue;
            nComma = n;
            break;
        }
        const TextView strName = strItem.substr(0, nComma);
        const std::size_t nCount = CountBelow(PathBelow(strPath, strName));
        listing.arRows.push_back({Text(strName), Behind(strItem, nComma), static_cast<std::int64_t>(nCount)});
    });
    listing.nTotal = listing.arRows.size();
    return listing;
}

/// A group without children has no path of its own; only the one above it tells of it.
bool CNameTree::IsEmptyGroup(TextView strPath) const {
    for (std::size_t n = strPath.find(u'.'); n != TextView::npos; n = strPath.find(u'.', n + 1)) {
        const auto it = m_mapNames.find(Text(strPath.substr(0, n)));
        if (it == m_mapNames.end() || m_mapNames.contains(it->first + Text(INSTRUMENT_ENDING))) continue;
        bool bFound = false;
        const Text strStart = Text(strPath.substr(n + 1)) + u',';
        ForEachItem(it->second, [&](TextView strItem) { bFound = bFound || strItem.starts_with(strStart); });
        if (bFound) return true;
    }
    return false;
}

std::size_t CNameTree::CountBelow(const Text& strPath) const {
    std::size_t nCount = 0;
    if (const auto it = m_mapNames.find(strPath); it != m_mapNames.end())
        ForEachItem(it->second, [&nCount](TextView) { ++nCount; });
    return nCount;
}

}  // namespace qvant::host
