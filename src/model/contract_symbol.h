/// A contract's symbol with the cuts that the builder makes in it.
#pragma once

#include "symbols/symbol_fields.h"

namespace qvant {

/// All of it is borrowed from the symbol.
struct ContractSymbol {
    explicit ContractSymbol(TextView strText) : strSymbol(strText) {
        int nPosition = 0;
        strPrefix = NextTokenView(strText, u".", nPosition);
        strClass = NextTokenView(strText, u".", nPosition);
        strExchange = NextTokenView(strText, u".", nPosition);
        strProduct = NextTokenView(strText, u".", nPosition);
        strProductKey = UpTo(strProduct, strText);
        strMonth = NextTokenView(strText, u".", nPosition);
        strMonthKey = UpTo(strMonth, strProductKey);
        strRest = RestFrom(strText, nPosition);
    }

    TextView strSymbol;
    TextView strPrefix;
    TextView strClass;
    TextView strExchange;
    TextView strProduct;
    TextView strMonth;
    TextView strRest;        ///< what stands behind the month and its dot: right and strike
    TextView strProductKey;  ///< the first four parts
    TextView strMonthKey;    ///< the first five parts

private:
    TextView UpTo(TextView strPart, TextView strOtherwise) const {
        if (strPart.empty()) return strOtherwise;
        return strSymbol.substr(0, static_cast<std::size_t>(strPart.data() - strSymbol.data()) + strPart.size());
    }
};

}  // namespace qvant
