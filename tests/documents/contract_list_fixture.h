/// The contract lists with real servers, files, tables and blocks around them.
#pragma once

#include <filesystem>
#include <functional>
#include <stop_token>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "documents/contract_list_document.h"
#include "platform/stop.h"
#include "support/document_server.h"
#include "support/listening_host.h"
#include "support/scratch_folder.h"

namespace qvant::test {

/// A clock that runs what the test wants when it is asked, which a load does right before it makes its block. It stands
/// at a second of its own in each process, and so do the names of the blocks.
class CListeningClock : public platform::IClock {
public:
    std::function<void()> onAsked = [] {};
    std::int64_t nSecond = getpid();
    std::int64_t NowMilliseconds() const override {
        onAsked();
        return nSecond * 1000;
    }
};

class ContractListTest : public ::testing::Test {
protected:
    ContractListTest() {
        for (const char16_t* pszTable : {u"Contract.List.Name", u"HOTMONTHTABLE", u"NearbyMonth", u"Contract.List",
                                         u"LongMarginRate", u"ShortMarginRate"}) {
            m_host.MakeTable(pszTable);
        }
        m_lists.m_mapSecurityName.insert_or_assign(u"QV.F.CME.ES", u"E-Mini");
        m_lists.m_mapSecurityName.insert_or_assign(u"QV.F.CFFEX.IF", u"CSI 300");
        std::filesystem::create_directories(m_folder.GetPath() / "Configs");
        m_document.SetHomeDir(m_folder / "");
        m_state.m_arClassification = {u"FUT:CN-FUT"};
        UseServers(m_server.GetUrl());
    }

    void UseServers(const Text& strServers) {
        m_servers.Assign(strServers, [] { return 0u; });
    }
    /// Binds the record "Lumivale".
    void BindStorage() {
        m_host.MakeTable(u"STORAGE");
        const auto arClassification = m_state.m_arClassification;
        m_storage.InitContractList(nullptr);
        m_state.m_arClassification = arClassification;
    }
    /// A stored version in the settings.
    void Hold(const Text& strName, const Text& strVersion) { m_state.m_mapContractVersion[strName] = strVersion; }
    Text StoredVersion(const Text& strName) { return m_storage.GetLumivale()->GetString(strName + u".Version"); }

    static std::string FileOf(const std::string& strName) { return "Configs/ContractList_" + strName + ".ini"; }
    static std::string ListBytes(TextView strText) { return "\xFF\xFE" + ToUtf16Bytes(strText); }
    void WriteList(const std::string& strName, TextView strText) {
        m_folder.Write(FileOf(strName), ListBytes(strText));
    }
    std::string ReadFile(const std::string& strName) const { return m_folder.Read(FileOf(strName)); }

    void Load(bool bKeep = false) {
        const auto pName = m_host.Open(u"Contract.List.Name");
        const auto pHotMonth = m_host.Open(u"HOTMONTHTABLE");
        const auto pNearbyMonth = m_host.Open(u"NearbyMonth");
        const auto pList = m_host.Open(u"Contract.List");
        m_document.LoadContractList({pName.get(), pHotMonth.get(), pNearbyMonth.get(), pList.get()}, bKeep);
    }

    CScratchFolder m_folder;
    CListeningHost m_host;
    CDocumentServer m_server;
    CListeningClock m_clock;
    RunState m_state;
    CSession m_session{platform::MachineClock()};
    CServerList m_servers;
    CErrorReport m_errors{m_host, platform::MachineClock()};
    CStorageTables m_storage{m_host, m_state, {}};
    CUnderlyingLists m_lists{m_host};
    SymbolWords m_words;
    CLocalExchanges m_localExchanges;
    CContractBuilder m_builder{{m_host, m_state, m_lists, m_words, m_localExchanges}};
    std::function<bool()> m_queryStkInfo = [] { return false; };
    std::function<void()> m_loadStkInfo = [] {};
    std::function<void()> m_makeSymbolLookupList = [] {};
    CContractListDocument m_document{
        {m_host, m_session, m_servers, m_errors, m_storage, m_builder, m_state, m_clock},
        {[this] { return m_queryStkInfo(); }, [this] { m_loadStkInfo(); }, [this] { m_makeSymbolLookupList(); }}};
};

}  // namespace qvant::test
