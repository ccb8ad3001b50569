/// One pass over the securities of a document, from its first to the commit of the tables.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "model/securities_parser.h"
#include "model/security_members.h"

namespace qvant {

/// Works on one thread. All its updates are open until `Commit`, and cancelled if it never comes to that.
class CSecuritiesPass {
public:
    /// Begins the update on "Security.Info" and clears it.
    /// @param parser  whose maps are filled
    CSecuritiesPass(CSecuritiesParser& parser, CExchangeTimes& times, CBaseData& securityInfo);

    /// Converts the times of a security and puts it into the table of its group.
    void AddSecurity(TextView strKey, const JsonValue& security);

    /// Publishes the groups, and then the list of them.
    void Commit();

    const OpenTimeMap& GetOpenTimes() const { return m_mapOpenTime; }
    /// Route name to the exchanges that offer it.
    const TextMap& GetRoutes() const { return m_mapOrder; }

private:
    /// The open update stands behind the table, and so ends before it.
    struct GroupTable {
        std::unique_ptr<CBaseData> pTable;
        std::optional<CTransaction> update;
    };

    void TakeKey(TextView strKey);
    void ReadZone();
    void ConvertTimes();
    void NoteSessions(TextView strSessions);
    void NoteReset(TextView strReset);
    void NoteNames(TextView strKey);
    void NoteRoutes(TextView strKey, const JsonValue& security);
    void AddRoute(TextView strRoute, TextView strExchange);
    void WriteJson(const JsonValue& security);
    void Store(TextView strKey);

    CSecuritiesParser& m_parser;
    CExchangeTimes& m_times;
    CTransaction m_infoUpdate;
    std::unordered_map<Text, GroupTable, TextHash, std::equal_to<>> m_mapGroupTable;
    std::int32_t m_nGroups = 0;
    OpenTimeMap m_mapOpenTime;
    TextMap m_mapOrder;

    // Of the security at hand; members, so that their memory serves the next one.
    Text m_strGroup;
    Text m_strSecurityKey;  ///< its first four parts
    CSecurityMembers m_members;
    Text m_strTimeZone;  ///< as the document has it
    Text m_strZone;      ///< the city in upper case; empty for the machine's zone
    std::array<std::optional<Text>, SECURITY_TIMES> m_arConverted;  ///< nothing where nothing was converted
    std::vector<TextView> m_arRoutes;
    Text m_strJson;
};

}  // namespace qvant
