/// A world of contracts to measure with: the files of its lists, a host with the tables that they fill, and a home
/// folder.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

#include "base/format.h"
#include "model/contract_builder.h"
#include "platform/files.h"

namespace qvant::bench {

inline constexpr const char16_t* EXCHANGES[] = {u"CME",   u"CBOT", u"NYMEX", u"ICEUS", u"EUREX", u"TFE",
                                                u"CFFEX", u"SHFE", u"DCE",   u"CZCE",  u"HKEX",  u"SGX"};
inline constexpr int EXCHANGE_COUNT = static_cast<int>(std::size(EXCHANGES));

/// A leaf in the making.
class CLeaf {
public:
    void Add(TextView strSymbol, TextView strExpiry, TextView strMargin, TextView strInstrument) {
        const TextView arTexts[] = {strSymbol, strExpiry, strInstrument, strMargin, strMargin};
        for (std::size_t i = 0; i < std::size(arTexts); ++i) {
            if (!arTexts[i].empty()) AppendAll(m_arLists[i], {u"\"", arTexts[i], u"\","});
        }
    }
    void AppendTo(Text& strFile, TextView strName) const {
        constexpr TextView NAMES[] = {u"Contracts", u"ExpirationDate", u"InstrumentID", u"LongMarginRate",
                                      u"ShortMarginRate"};
        AppendAll(strFile, {u"{\"ENG\":\"", strName, u"\",\"CHT\":\"\u5546\u54C1 ", strName, u"\""});
        for (std::size_t i = 0; i < std::size(NAMES); ++i) {
            const TextView strList = m_arLists[i];
            if (!strList.empty()) {
                AppendAll(strFile, {u",\"", NAMES[i], u"\":[", strList.substr(0, strList.size() - 1), u"]"});
            }
        }
        strFile.append(u"},");
    }

private:
    Text m_arLists[5];
};

/// The files of the classifications, and the names of their products.
class CWorld {
public:
    explicit CWorld(int nContracts) {
        MakeFile(u"FUT", nContracts / 5, 240, [this](int nLeaf, Text& strFile) { return AddFutures(nLeaf, strFile); });
        MakeFile(u"OPT", nContracts / 2, 800, [this](int nLeaf, Text& strFile) { return AddOptions(nLeaf, strFile); });
        MakeFile(u"STK", nContracts * 3 / 10, 2000,
                 [this](int nLeaf, Text& strFile) { return AddStocks(nLeaf, strFile); });
    }

    std::vector<std::pair<Text, Text>> arFiles;  ///< classification and text
    std::vector<Text> arProducts;

private:
    /// A file of so many contracts, in categories of about so many each.
    template <class AddLeaf>
    void MakeFile(TextView strName, int nContracts, int nCategory, AddLeaf addLeaf) {
        Text strFile = Format(u"{\"ENG\":\"%s\",\"CHT\":\"\u5206\u985E\",\"Node\":[", strName);
        int nMade = 0;
        for (int nNode = 0, nLeaf = 0; nMade < nContracts; ++nNode) {
            strFile += Format(u"{\"ENG\":\"Group %d\",\"CHT\":\"\u7FA4\u7D44 %d\",\"Node\":[", nNode, nNode);
            for (const int nEnd = nMade + nCategory; nMade < nEnd && nMade < nContracts; ++nLeaf) {
                nMade += addLeaf(nLeaf, strFile);
            }
            strFile.back() = u']';
            strFile.append(u"},");
        }
        strFile.back() = u']';
        arFiles.emplace_back(strName, strFile.append(u"}"));
    }

    Text AddProduct(TextView strClass, int nIndex) {
        return arProducts.emplace_back(
            Format(u"QV.%s.%s.P%d", strClass, EXCHANGES[nIndex % EXCHANGE_COUNT], 100 + nIndex));
    }
    static Text Month(int nIndex) { return Format(u"20%02d%02d", 26 + nIndex / 12, nIndex % 12 + 1); }

    int AddFutures(int nLeaf, Text& strFile) {
        const Text strProduct = AddProduct(u"F", nLeaf);
        CLeaf leaf;
        for (int i = 0; i < 12; ++i) {
            leaf.Add(Concatenate({strProduct, u".", Month(i)}), Month(i) + u"18", u"0.0825",
                     Format(u"P%d%02d", nLeaf, i));
        }
        leaf.AppendTo(strFile, strProduct.substr(5));
        CLeaf hot;
        hot.Add(Concatenate({strProduct, u".", Month(2)}), Month(2) + u"18", u"0.0825", Format(u"P%d%02d", nLeaf, 2));
        strFile += Format(u"{\"ENG\":\"HOT\",\"CHT\":\"\u71B1\u9580\",\"Node\":[");
        hot.AppendTo(strFile, strProduct.substr(5));
        strFile.back() = u']';
        strFile.append(u"},");
        return 13;
    }

    int AddOptions(int nLeaf, Text& strFile) {
        if (nLeaf % 8 == 0) m_strOption = AddProduct(u"O", nLeaf / 8);
        CLeaf leaf;
        for (int i = 0; i < 100; ++i) {
            leaf.Add(Format(u"%s.%s.%c.%d", m_strOption, Month(nLeaf % 8), i % 2 ? u'C' : u'P', 2000 + i / 2 * 25),
                     Month(nLeaf % 8) + u"18", u"0.12", Format(u"P%d%c%d", nLeaf, i % 2 ? u'C' : u'P', i / 2));
        }
        leaf.AppendTo(strFile, Month(nLeaf % 8));
        return 100;
    }

    int AddStocks(int nLeaf, Text& strFile) {
        CLeaf leaf;
        for (int i = 0; i < 500; ++i) {
            const Text& strStock =
                arProducts.emplace_back(Format(u"QV.S.%s.%06d", nLeaf % 2 ? u"SSE" : u"SZSE", nLeaf * 500 + i));
            leaf.Add(strStock, {}, {}, {});
        }
        leaf.AppendTo(strFile, Format(u"Board %d", nLeaf));
        return 500;
    }

    Text m_strOption;
};

inline const CWorld& GetWorld(std::int64_t nContracts) {
    static std::map<std::int64_t, std::unique_ptr<CWorld>> mapWorlds;
    auto& pWorld = mapWorlds[nContracts];
    if (!pWorld) pWorld = std::make_unique<CWorld>(static_cast<int>(nContracts));
    return *pWorld;
}

/// A host of the tables that are made of contracts. Nobody listens to them.
class CHost : public IHost {
public:
    CHost() {
        for (const TextView strTable :
             {u"HOTMONTHTABLE", u"NearbyMonth", u"ExpireDate", u"LongMarginRate", u"ShortMarginRate", u"Contract.List",
              u"Contract.List.Name", u"Symbol.Search.Name", u"NEARMONTHTABLE"}) {
            m_mapTables[Text(strTable)] = CBaseData::CreateNew();
        }
    }

    void RegisterTable(TextView) override {}
    void RegisterTopic(TextView) override {}
    void SendTopic(TextView, std::int32_t, std::int32_t, TextView, VARIANT*) override {}
    void ReportError(std::int32_t, std::int32_t, TextView) override {}
    void LogMessage(TextView) override {}
    std::unique_ptr<CBaseData> OpenTable(TextView strName, CBaseDataEventReceiver* pSink) override {
        const auto pTable = m_mapTables.find(Text(strName));
        return pTable == m_mapTables.end() ? nullptr : CBaseData::WrapCookie(pTable->second->GlobalCookie(), pSink);
    }
    CBaseData& operator[](TextView strName) { return *m_mapTables.at(Text(strName)); }

private:
    std::map<Text, std::unique_ptr<CBaseData>> m_mapTables;
};

/// A home folder that goes away with the run, in the one that TMPDIR names.
class CHome {
public:
    CHome() : m_path(std::filesystem::temp_directory_path() / ("lumivale-bench-" + std::to_string(getpid()))) {
        std::filesystem::create_directories(m_path / "Data/API");
        std::filesystem::create_directories(m_path / "Configs");
        setenv("LUMIVALE_HOME", m_path.c_str(), 1);
    }
    ~CHome() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    CHome(const CHome&) = delete;
    CHome& operator=(const CHome&) = delete;

    std::filesystem::path GetDatabase() const { return m_path / "Data/API/Lumivale_Bench.db"; }
    Text GetFolder() const { return Widen(m_path.string() + "/"); }
    /// Where the service keeps the list of a classification.
    Text GetList(TextView strName) const {
        return Concatenate({GetFolder(), u"Configs/ContractList_", strName, u".ini"});
    }
    /// Writes the lists of a world as the service saves them.
    void WriteLists(const CWorld& world) const {
        for (const auto& [strName, strText] : world.arFiles) {
            platform::ReplaceFile(GetList(strName), "\xFF\xFE" + ToUtf16Bytes(strText));
        }
    }

private:
    std::filesystem::path m_path;
};

inline const CHome& GetHome() {
    static const CHome home;
    return home;
}

/// The model of contracts, and what is around it.
struct Model {
    explicit Model(const CWorld& world) {
        state.AppsLanguage = u"CHT";
        for (const auto& [strName, strText] : world.arFiles) state.m_arClassification.push_back(strName);
        for (const Text& strProduct : world.arProducts) {
            lists.m_mapSecurityName.insert_or_assign(strProduct, u"\u5546\u54C1" + strProduct.substr(5));
        }
    }

    CHost host;
    RunState state;
    CUnderlyingLists lists{host};
    SymbolWords words;
    CLocalExchanges localExchanges{true};
    CContractBuilder builder{{host, state, lists, words, localExchanges}};
};

/// The most memory that the process had.
inline double GetPeakMegabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

}  // namespace qvant::bench
