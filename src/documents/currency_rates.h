/// The exchange rates and risk-free rates: always fetched whole, never kept on disk.
#pragma once

#include "model/run_state.h"
#include "net/error_report.h"
#include "net/server_list.h"
#include "net/session.h"
#include "net/wide_json.h"
#include "store/base_data.h"
#include "store/host.h"

namespace qvant {

/// What the rates work with; all outlive them.
struct CurrencyRatesParts {
    IHost& host;
    const CSession& session;
    CServerList& servers;
    CErrorReport& errors;
    RunState& state;
};

/// Runs on the thread of the pass, which the currency pairs and the version belong to.
class CCurrencyRates {
public:
    explicit CCurrencyRates(const CurrencyRatesParts& parts) : m_parts(parts) {}

    /// Asks the servers in turn and replaces the table by the first document that can be read. When there is none the
    /// table keeps what it had, and so it does when the service is told to stop meanwhile.
    /// @param pCurrencyExchangeRate  the table "CurrencyExchangeRate"; null: nothing is asked for
    void QueryCurrency(CBaseData* pCurrencyExchangeRate);

private:
    bool AskServer(const Text& strServer, CJsonValue& document, Text& strError) const;
    void Publish(const CJsonValue& document, CBaseData& table);
    void WriteGroup(const Text& strGroup, const CJsonValue& group, CTransaction& transaction) const;

    const CurrencyRatesParts m_parts;
};

}  // namespace qvant
