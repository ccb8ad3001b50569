/// A contract builder over a host of real tables.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/contract_builder.h"
#include "test_host.h"

namespace qvant {

/// Products of several exchanges have names; everything is permitted, until a test says otherwise. Tests write their
/// files with single quotes.
class ContractBuilderTest : public testing::Test {
protected:
    ContractBuilderTest() {
        m_state.AppsLanguage = u"CHT";
        for (const TextView strKey :
             {u"QV.F.CME.ES", u"QV.F.CME.NQ", u"QV.O.CME.ES", u"QV.O.SSE.510050", u"QV.O.SSE.510050A", u"QV.O.DCE.m",
              u"QV.F.CFFEX.IF", u"QV.F.CFFEX.IH", u"QV.F.CFFEX.T", u"QV.F.CFFEX.TS", u"QV.O.CFFEX.IO", u"QV.O.CFFEX.HO",
              u"QV.O.CFFEX.TS", u"QV.F.cffex.IF"}) {
            Name(strKey, TextView(strKey).substr(strKey.rfind(u'.') + 1));
        }
        Name(u"QV.S.SSE.600000", u"Pudong");
        Name(u"QV.S.SSE.600001", u"Handan");
    }

    void Name(TextView strKey, TextView strName) { m_lists.m_mapSecurityName.insert_or_assign(strKey, strName); }

    /// Makes one file's contracts and commits the tables.
    void Make(Text strFile, TextView strClassification = u"FUT") {
        ReplaceAll(strFile, u"'", u"\"");
        CTransaction hotMonth(m_host[u"HOTMONTHTABLE"]);
        CTransaction nearbyMonth(m_host[u"NearbyMonth"]);
        m_builder.MakeContractList(strFile, &hotMonth, &nearbyMonth, strClassification, m_strClassifyText);
        hotMonth.Commit();
        nearbyMonth.Commit();
    }
    /// A file with one leaf "Leaf" of the members given, below the category "Top".
    void MakeLeaf(TextView strMembers, TextView strClassification = u"FUT") {
        Make(Concatenate({u"{'ENG':'Futures','CHT':'期貨','Node':[{'ENG':'Top','CHT':'頂','Node':[{'ENG':'Leaf',"
                          u"'CHT':'葉',",
                          strMembers, u"}]}]}"}),
             strClassification);
    }
    /// The same with the contracts below "HOT".
    void MakeHot(TextView strContracts, TextView strWord = u"HOT") {
        Make(Concatenate({u"{'ENG':'Futures','Node':[{'ENG':'", strWord, u"','Node':[{'ENG':'Leaf','Contracts':[",
                          strContracts, u"]}]}]}"}));
    }

    std::map<Text, Text> Table(TextView strName) { return ReadValues(m_host[strName]); }
    const Text& Path(TextView strPath) const { return m_builder.m_mapContractListName.at(strPath); }
    bool HasPath(TextView strPath) const { return m_builder.m_mapContractListName.contains(strPath); }
    TextView NameOf(TextView strSymbol) const { return m_builder.m_mapSymbolToName.at(strSymbol); }

    CTestHost m_host;
    CBaseData& m_expireDate = m_host[u"ExpireDate"];
    RunState m_state;
    CUnderlyingLists m_lists{m_host};
    SymbolWords m_words;
    CLocalExchanges m_localExchanges{true};
    CContractBuilder m_builder{{m_host, m_state, m_lists, m_words, m_localExchanges}};
    Text m_strClassifyText;
};

}  // namespace qvant
