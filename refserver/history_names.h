/// Under which names the history server knows the securities.
#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "securities_merger.h"

namespace qvant::refserver {

/// A symbol of the history server taken apart.
struct HistorySymbol {
    std::string strKey;    // of the security: QV.F.CME.ES
    std::string strClass;  // the quote class: I.F.GLOBEX.ES
    std::string strRest;   // behind the quote class and its dot: the month of a future
};

/// "I.class.exchange.product" for every security, with the names that "EXG.mo" and "Symbol.mo" give the exchange and
/// the product. Such a name may have a dot in it.
class CHistoryNames {
public:
    CHistoryNames() = default;
    explicit CHistoryNames(const CSecuritiesMerger& securities);

    /// Finds the security of a quote class or a quote contract.
    /// @return none for a text of another form, and for the plain name of a security that has another one here. The
    ///         key may be that of no security.
    std::optional<HistorySymbol> Find(const std::string& strSymbol) const;

private:
    std::unordered_map<std::string, std::string> m_mapKeys;  // quote class to key, of renamed securities
    std::unordered_set<std::string> m_setRenamed;            // their keys
};

}  // namespace qvant::refserver
