/// The dotted symbol grammar: keys, name spaces, display names. Pure text; no store access.
///
/// All text is case sensitive unless an operation says otherwise. No conversion fails loudly: a symbol with too few
/// fields yields empty fields.
#pragma once

#include <cstdint>
#include <unordered_set>

#include "base/locked_maps.h"
#include "base/split.h"
#include "base/text.h"
#include "symbols/accepted_contracts.h"
#include "symbols/text_finder.h"
#include "symbols/text_map.h"

namespace qvant {

using TextMap = CTextMap;
using TextSet = std::unordered_set<Text, TextHash, std::equal_to<>>;

/// Foreign symbols and the service's own for them, for the whole process. Filled as symbols are met, and never emptied.
extern CLumMapStringToString g_mapISymbolToQV;

/// First four fields, by tokens: empty fields vanish.
Text GetSecurityKey(TextView strSymbol);
/// First three fields, by tokens.
Text GetSecurityGroup(TextView strSymbol);
/// First four fields, by position: empty fields stay.
Text ExtractSecurityKey(TextView strSymbol);
/// Field 3 by position: the month of a server line such as LUM.CME.ES.202012.
Text GetMonthField(TextView strText);
/// "LUM", exchange, product.
Text ToServerClass(TextView strSymbol);
/// A quote symbol ("I.") to the service's own ("QV."); kept in a process-wide map.
Text ISymbolToQVSymbol(TextView strSymbol);
/// Class and its number, "F,1".
Text GetSymbolType(TextView strSymbol);
/// Short search form, ES.2012.C2000.CME.
Text MakeSearchId(TextView strSymbol);

/// The words that stand for call, put, month and synthetic underlying in display names.
struct SymbolWords {
    Text m_strCall = u"C";
    Text m_strPut = u"P";
    Text m_strMonth = u"M";
    Text m_strSynU = u"SynU";
};

/// Reads the four words of a language from section "LUMIVale" of a profile file.
SymbolWords LoadSymbolWords(TextView strPath, TextView strLanguage);

/// What display names are made of; borrowed. Belongs to one thread, and finds names fastest in the order of their map.
struct NameSources {
    mutable CTextFinder securityNames;    ///< four-part key to product name
    const TextMap& m_mapOptionSetPriAdj;  ///< option class key to "SetPRIADJ"
    const TextSet& m_mapLocalExchanges;   ///< exchanges whose contracts take the local forms
    const SymbolWords& words;
};

/// Display name of a symbol; empty when its class has no name, which tells callers to skip the contract.
/// @param strLabel  empty, or a word that stands in for the month ("HOT")
Text FormatSymbolName(TextView strSymbol, TextView strLabel, const NameSources& sources);

/// Display name of a two-leg symbol.
Text FormatTwoLegName(TextView strSymbol, const NameSources& sources);

/// Whether one more contract of a product fits: two for each product, one for "T" and "TF", without regard to case.
/// @param accepted  the contracts accepted so far
bool CheckContractQuota(TextView strSymbol, TextView strProduct, const CAcceptedContracts& accepted);

}  // namespace qvant
