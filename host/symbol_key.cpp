#include "symbol_key.h"

#include <algorithm>

#include "failure.h"

namespace qvant::host {

namespace {

constexpr int KEY_FIELDS = 4;
constexpr std::size_t KEY_LIMIT = 200;  ///< bytes, which leaves room for an ending in the name of a file

bool IsForFile(char16_t ch) { return ch >= u' ' && ch != u'\x7F' && ch != u'/' && ch != u'\\'; }

}  // namespace

Text TakeFields(TextView strSymbol, int nFields) {
    Text strKey;
    while (nFields > 0 && !strSymbol.empty()) {
        const std::size_t nEnd = std::min(strSymbol.find(u'.'), strSymbol.size());
        const TextView strField = strSymbol.substr(0, nEnd);
        strSymbol.remove_prefix(std::min(nEnd + 1, strSymbol.size()));
        if (strField.empty()) continue;
        strKey.append(strKey.empty() ? u"" : u".").append(strField);
        --nFields;
    }
    return strKey;
}

Text KeyForFile(TextView strSymbol) {
    Text strKey = TakeFields(strSymbol, KEY_FIELDS);
    if (std::ranges::count(strKey, u'.') != KEY_FIELDS - 1)
        throw CFailure(Quote(strSymbol) + " names no product: it begins with four fields, such as QV.F.CME.ES");
    if (!std::ranges::all_of(strKey, IsForFile) || Narrow(strKey).size() > KEY_LIMIT)
        throw CFailure(Quote(strSymbol) + " can't be a symbol");
    return strKey;
}

}  // namespace qvant::host
