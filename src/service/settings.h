/// The settings files beside the host: fixed options, and the run state between two starts.
#pragma once

#include <cstdint>

#include "base/text.h"
#include "model/run_state.h"
#include "net/session.h"
#include "store/base_data.h"

namespace qvant {

/// The options that an installation fixes.
struct Options {
    Text strAppName;                      ///< `AppName`, "FREE" unless set
    std::int32_t nHideErrorMsg = 0;       ///< not 0: network failures aren't shown to the user
    std::int32_t nResponseInterval = 50;  ///< milliseconds of handicap for each position of a server in the list
    bool bStkInfoCgi = false;             ///< stock info comes through the CGI path
    std::int32_t nReplyLimit = 512;       ///< MiB that a reply may have, from 1 to 4095
    Text strHolidayHost;                  ///< `host` or `host:port` of the default holiday source; empty: there is none
};

/// Paths, keys and defaults of the settings. Its operations run on one thread at a time.
///
/// Values are read into 256 units, so that a longer one is cut; the exchange list has room for 2048.
class CSettings {
public:
    /// @param strHomeDir  the folder of the terminal's program, with its trailing slash
    void SetHomeDir(Text strHomeDir);

    /// Reads "DrovaneService.ini", then "CustomSetting.ini".
    Options ReadOptions() const;

    /// The stored server list; without one the folder of the run state is made, and the list of the parent folder's
    /// file counts, so that an installer can give the first one.
    Text ReadServerList() const;

    /// `HotChangeURL` and `ExpireURL`.
    void ReadRollServers(RunState& state) const;

    /// Everything else that the last run saved, but for `ExgList`.
    void ReadRunState(RunState& state, ProxySettings& proxy) const;

    /// `ExgList` into the list and its set; an empty one leaves both.
    void ReadExchangeList(RunState& state) const;

    /// Saves `ExgList` alone, as a sign-in with other exchanges does.
    void SaveExchangeList(TextView strExchanges) const;

    /// Saves `AppsLanguage` alone, as a change of the language does.
    void SaveLanguage(TextView strLanguage) const;

    /// Empties the versions of securities and contract lists in the file, so that the next start asks for everything.
    /// Any thread, once the paths are known.
    void ResetVersions() const;

    /// Saves the run state. The version comes from the store and not from the member: only what the store has counts.
    /// @param pLumivale  the record "Lumivale"; without it nothing can be saved
    /// @return false when nothing was saved
    bool SaveSettings(const RunState& state, const ProxySettings& proxy, const CBaseData* pLumivale,
                      TextView strClassification, TextView strLanguage, TextView strCurrencyRate) const;

    /// Reads the display words of a language.
    SymbolWords ReadSymbolWords(TextView strLanguage) const;

    /// `SystemName`, the suffix of the search database's name.
    Text ReadSystemName() const;

    const Text& GetHomeDir() const { return m_strHomeDir; }
    /// The folder of the files that the service replaces.
    Text GetConfigsPath() const { return m_strHomeDir + u"Configs"; }
    Text GetCitiesPath() const { return m_strHomeDir + u"ComShared/cities.txt"; }

private:
    void SaveText(TextView strKey, TextView strValue) const;
    Text ReadText(TextView strKey, TextView strDefault = u"", std::size_t nSize = 256) const;

    Text m_strHomeDir;
    Text m_strIniPath;
};

}  // namespace qvant
