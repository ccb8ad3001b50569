#include "strikes.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace qvant::refserver {

namespace {

constexpr std::size_t MostStrikes = 1'000'000;
constexpr int MostDecimals = 6;

struct Decimal {
    std::int64_t nDigits;
    int nDecimals;
};

[[noreturn]] void Refuse(std::string_view item, const char* pWhy) {
    throw std::runtime_error("strikes \"" + std::string(item) + "\" " + pWhy);
}

std::string_view Trim(std::string_view text) {
    const auto nFirst = text.find_first_not_of(' ');
    if (nFirst == std::string_view::npos) return {};
    return text.substr(nFirst, text.find_last_not_of(' ') - nFirst + 1);
}

Decimal ParseDecimal(std::string_view text, std::string_view item) {
    const auto nPoint = std::min(text.find('.'), text.size());
    const auto fraction = text.substr(std::min(nPoint + 1, text.size()));
    const std::string strDigits = std::string(text.substr(0, nPoint)).append(fraction);
    Decimal decimal{0, static_cast<int>(fraction.size())};
    const char* pEnd = strDigits.data() + strDigits.size();
    const auto result = std::from_chars(strDigits.data(), pEnd, decimal.nDigits);
    // Twelve digits leave room for any scaling below.
    if (nPoint == 0 || strDigits.size() > 12 || fraction.size() > MostDecimals || result.ec != std::errc() ||
        result.ptr != pEnd || strDigits.front() == '-' || text.ends_with('.')) {
        Refuse(item, "aren't like \"95..105/2.5\" or \"100\"");
    }
    return decimal;
}

std::int64_t Scale(const Decimal& decimal, int nDecimals) {
    std::int64_t nDigits = decimal.nDigits;
    for (int n = decimal.nDecimals; n < nDecimals; ++n) nDigits *= 10;
    return nDigits;
}

std::string FormatDecimal(std::int64_t nDigits, int nDecimals) {
    std::string strDigits = std::to_string(nDigits);
    if (nDecimals == 0) return strDigits;
    const auto nFraction = static_cast<std::size_t>(nDecimals);
    if (strDigits.size() <= nFraction) strDigits.insert(0, nFraction + 1 - strDigits.size(), '0');
    return strDigits.insert(strDigits.size() - nFraction, 1, '.');
}

}  // namespace

CStrikes CStrikes::Parse(std::string_view text) {
    CStrikes strikes;
    while (!text.empty()) {
        const auto nEnd = std::min(text.find(','), text.size());
        strikes.Add(Trim(text.substr(0, nEnd)));
        text.remove_prefix(std::min(nEnd + 1, text.size()));
    }
    return strikes;
}

void CStrikes::Add(std::string_view item) {
    const auto nDots = item.find("..");
    const auto nSlash = item.find('/');
    if ((nDots == std::string_view::npos) != (nSlash == std::string_view::npos)) Refuse(item, "have only half a range");
    const bool bRange = nDots != std::string_view::npos;
    if (bRange && nSlash < nDots) Refuse(item, "have their step in the wrong place");
    const Decimal first = ParseDecimal(item.substr(0, nDots), item);
    const Decimal last = bRange ? ParseDecimal(item.substr(nDots + 2, nSlash - nDots - 2), item) : first;
    const Decimal step = bRange ? ParseDecimal(item.substr(nSlash + 1), item) : Decimal{1, 0};
    const int nDecimals = std::max({first.nDecimals, last.nDecimals, step.nDecimals});
    const Range range{Scale(first, nDecimals), Scale(last, nDecimals), Scale(step, nDecimals), nDecimals};
    if (range.nFirst <= 0 || range.nStep <= 0 || range.nLast < range.nFirst) Refuse(item, "don't rise from above zero");
    if (!m_arRanges.empty()) {
        const Range& before = m_arRanges.back();
        const int nCommon = std::max(before.nDecimals, nDecimals);
        if (Scale({before.nLast, before.nDecimals}, nCommon) >= Scale({range.nFirst, nDecimals}, nCommon)) {
            Refuse(item, "don't lie above those before them");
        }
    }
    const auto nSteps = static_cast<std::size_t>((range.nLast - range.nFirst) / range.nStep);
    if (nSteps >= MostStrikes || (m_nCount += nSteps + 1) > MostStrikes) Refuse(item, "are more than a million");
    m_arRanges.push_back(range);
}

std::vector<std::string> CStrikes::MakeTexts() const {
    std::vector<std::string> arTexts;
    arTexts.reserve(m_nCount);
    for (const auto& range : m_arRanges) {
        for (auto nStrike = range.nFirst; nStrike <= range.nLast; nStrike += range.nStep) {
            arTexts.push_back(FormatDecimal(nStrike, range.nDecimals));
        }
    }
    return arTexts;
}

}  // namespace qvant::refserver
