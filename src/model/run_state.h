/// What the service remembers from one start to the next, as last applied.
#pragma once

#include <map>
#include <vector>

#include "base/text.h"
#include "symbols/symbol_grammar.h"

namespace qvant {

/// Read from the settings before the first load, changed at sign-in, saved at sign-in and after a refresh that
/// changed something. Belongs to the thread that runs the pass; sign-in waits for the first load.
struct RunState {
    Text m_strLumivaleURL;            ///< server list last applied
    Text m_strInfoListType = u"ALL";  ///< list type last applied
    Text m_strVersion = u"-1";        ///< securities document that the client holds
    bool m_bVersionUnsaved = false;   ///< `m_strVersion` has still to go to the store
    Text m_strClassification;         ///< classification items, each followed by "|"
    std::vector<Text> m_arClassification;
    std::map<Text, Text> m_mapContractVersion;         ///< classification name to contract list version
    std::map<Text, Text> m_mapContractVersionUnsaved;  ///< the same, waiting for the store
    std::map<Text, Text> m_mapStkInfoVersion;          ///< stock-info document to version
    Text AppsLanguage;                                 ///< language word, such as "ENG"
    Text Culture;                                      ///< last "AppManager_Culture"
    Text m_strCurrencyRate;                            ///< pairs "first:second", joined by ";"
    TextMap m_mapCurrencyMapping;                      ///< second code of a pair to its first
    Text m_strCurrencyVersion;                         ///< version of the currency rates taken last, in practice a date
    Text m_strHotChangeURL;                            ///< URL lists, joined by "|"
    Text m_strExpireURL;
    Text m_strExgList;                ///< allowed exchanges as last applied, joined by "||"
    Text m_strExgListNew;             ///< the same list as the present permissions give it
    TextSet m_mapExchanges;           ///< allowed groups and four-part keys; empty: everything is permitted
    bool m_bPreProcessing = false;    ///< while the first load runs `LoadContractList`
    bool m_bFirstSymbolBuild = true;  ///< until the first symbol build has run
};

}  // namespace qvant
