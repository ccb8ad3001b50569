/// Reply lines of the quote servers; and each message written and read once more.

#include "net/quote_message.h"

#include "base/text.h"
#include "require.h"
#include "support/quote_line.h"
#include "symbols/symbol_grammar.h"

namespace {

using namespace qvant;
using fuzz::Require;

constexpr std::size_t FIELDS = 3584;  ///< no line can name one beyond
constexpr std::size_t MOST_ENCODED = 4;
constexpr std::size_t CONTRACT = 14;

std::string Encode(const CLum_QuoteMsg2U& message) {
    test::CQuoteLine line(static_cast<char>(message.GetType()));
    for (std::size_t i = 0; i < FIELDS; ++i) {
        const std::int64_t nInteger = message.GetInteger(i);
        if (nInteger != CLum_QuoteMsg2U::NULL_INTEGER) line.Integer(static_cast<int>(i), nInteger);
        if (const auto strString = message.GetString(i)) line.String(static_cast<int>(i), *strString);
    }
    return line.Get();
}

void RequireSame(const CLum_QuoteMsg2U& message, const CLum_QuoteMsg2U& other) {
    Require(message.GetType() == other.GetType(), "the type stays the same");
    for (std::size_t i = 0; i < FIELDS; ++i) {
        Require(message.GetInteger(i) == other.GetInteger(i), "an integer stays the same");
        Require(message.GetString(i) == other.GetString(i), "a text stays the same");
    }
    Require(!message.GetString(FIELDS), "no field beyond the last");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string_view strReply = fuzz::AsBytes(pData, nSize);
    CLum_QuoteMsg2U again;
    std::size_t nMessages = 0;
    ForEachQuoteMessage(strReply, [&](const CLum_QuoteMsg2U& message) {
        if (const auto strContract = message.GetString(CONTRACT)) GetMonthField(Widen(*strContract));
        if (++nMessages > MOST_ENCODED) return;
        const std::string strLine = Encode(message);
        Require(again.Parse(strLine), "a message that was written can be read");
        RequireSame(message, again);
    });
    return 0;
}
