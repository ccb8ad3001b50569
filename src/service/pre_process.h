/// The first load: what the last run left, brought up to date from the servers or taken from the disk.
#pragma once

#include "documents/contract_list_document.h"
#include "documents/currency_rates.h"
#include "documents/securities_document.h"
#include "model/run_state.h"
#include "net/session.h"
#include "platform/stoppable_lock.h"
#include "service/settings.h"
#include "service/tables.h"

namespace qvant {

/// What the first load works with; all outlive it.
struct PreProcessParts {
    RunState& state;
    const CSettings& settings;
    CSession& session;
    const KeptTables& tables;
    CSecuritiesDocument& securities;
    CContractListDocument& contracts;
    CCurrencyRates& rates;
    platform::CStoppableLock& lockPass;  ///< held by whoever works on the reference data
};

class CPreProcess {
public:
    /// @param loadSymbolWords  reads the display words of the language in the run state
    CPreProcess(const PreProcessParts& parts, std::function<void()> loadSymbolWords)
        : m_parts(parts), m_loadSymbolWords(std::move(loadSymbolWords)) {}

    /// Runs on the pre-process thread, to the end of the first load or until it is told to stop.
    /// @throw CFailure  from a time in the document that can't be
    void PreProcessData();

private:
    void ReadRunState();
    void PublishCurrencyPairs();
    void LoadContractList();

    const PreProcessParts m_parts;
    const std::function<void()> m_loadSymbolWords;
};

}  // namespace qvant
