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
#include "platform/two_threads.h"

namespace qvant {

/// Works on one thread, which a second one follows in a long pass: it notes the securities and puts them into their
/// tables while the first converts the times of the next and writes it. All updates are open until `Commit`, and
/// cancelled if it never comes to that.
class CSecuritiesPass {
public:
    /// Begins the update on "Security.Info" and clears it.
    /// @param parser  whose maps are filled
    CSecuritiesPass(CSecuritiesParser& parser, CExchangeTimes& times, CBaseData& securityInfo);

    /// Converts the times of a security and puts it into the table of its group, in the end at `FinishTables`. A
    /// failure leaves the securities before it noted, and of its own what comes before the fault.
    void AddSecurity(TextView strKey, const JsonValue& value);

    /// Waits until every security is noted and in its table.
    void FinishTables();

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

    /// A security whose times are converted, as it goes into its table.
    struct Security {
        TextView strKey;
        const JsonValue* pValue = nullptr;
        CSecurityMembers members;
        std::array<std::optional<Text>, SECURITY_TIMES> arConverted;  ///< nothing where nothing was converted
        Text strJson;
        bool bConverted = false;  ///< whether there is more to note than what comes before a fault
    };

    /// Neighbours in the document, which one thread makes and the other follows.
    struct Batch {
        static constexpr std::size_t MOST = 64;
        std::vector<Security> arSecurities;  ///< more than there are, once it has grown: their memory serves the next
        std::size_t nCount = 0;
    };
    static constexpr std::size_t PLACES = 4;

    Security& AddToBatch();
    void HandOver();
    void ReadZone(const CSecurityMembers& members);
    void ConvertTimes(Security& security);
    static void WriteJson(Security& security);
    void CommitGroups();

    // The following thread's.
    void FollowBatch(const Batch& batch);
    void TakeKey(TextView strKey);
    void NoteTimes(const Security& security);
    void NoteSessions(TextView strSessions);
    void NoteReset(TextView strReset);
    void NoteNames(TextView strKey, const CSecurityMembers& members);
    void NoteRoutes(TextView strKey, const JsonValue& value);
    void AddRoute(TextView strRoute, TextView strExchange);
    void Store(TextView strKey, TextView strJson);

    CSecuritiesParser& m_parser;
    CExchangeTimes& m_times;
    // Of the converting thread. Of the security at hand, so that their memory serves the next one.
    Text m_strTimeZone;  ///< as the document has it
    Text m_strZone;      ///< the city in upper case; empty for the machine's zone

    std::array<Batch, PLACES> m_arBatches;
    Batch* m_pBatch = nullptr;  ///< the one that is being filled

    // Of the following thread until it has finished.
    CTransaction m_infoUpdate;
    std::unordered_map<Text, GroupTable, TextHash, std::equal_to<>> m_mapGroupTable;
    std::int32_t m_nGroups = 0;
    OpenTimeMap m_mapOpenTime;
    TextMap m_mapOrder;
    Text m_strGroup;        ///< of the security at hand, as those below
    Text m_strSecurityKey;  ///< its first four parts
    std::vector<TextView> m_arRoutes;

    platform::CFollower m_follower{"FillTables", PLACES,
                                   [this](std::size_t nPlace) { FollowBatch(m_arBatches[nPlace]); }};
};

}  // namespace qvant
