/// A symbol taken apart by tokens, borrowed from its text.
#pragma once

#include "base/token_view.h"

namespace qvant {

struct SymbolFields {
    TextView strPrefix;
    TextView strClass;
    TextView strExchange;
    TextView strProduct;
    TextView strRest;  ///< everything behind the product and its dot; empty when there is nothing
};

struct OptionFields {
    TextView strMonth;
    TextView strRight;
    TextView strStrike;  ///< dots included
};

/// What the text holds from a tokenizer position on; empty when that is -1 or past the end.
inline TextView RestFrom(TextView strText, int nPosition) {
    return nPosition < 0 || static_cast<std::size_t>(nPosition) >= strText.size()
               ? TextView{}
               : strText.substr(static_cast<std::size_t>(nPosition));
}

inline SymbolFields SplitSymbol(TextView strSymbol) {
    SymbolFields fields;
    int nPosition = 0;
    fields.strPrefix = NextTokenView(strSymbol, u".", nPosition);
    fields.strClass = NextTokenView(strSymbol, u".", nPosition);
    fields.strExchange = NextTokenView(strSymbol, u".", nPosition);
    fields.strProduct = NextTokenView(strSymbol, u".", nPosition);
    fields.strRest = RestFrom(strSymbol, nPosition);
    return fields;
}

inline OptionFields SplitOption(TextView strRest) {
    OptionFields fields;
    int nPosition = 0;
    fields.strMonth = NextTokenView(strRest, u".", nPosition);
    fields.strRight = NextTokenView(strRest, u".", nPosition);
    fields.strStrike = RestFrom(strRest, nPosition);
    return fields;
}

}  // namespace qvant
