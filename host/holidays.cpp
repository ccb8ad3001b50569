#include "holidays.h"

#include <algorithm>
#include <cstdio>

#include "table_content.h"
#include "trading_hours.h"

namespace qvant::host {

namespace {

std::vector<Text> ReadExchanges(TextView strList) {
    std::vector<Text> arExchanges;
    while (!strList.empty()) {
        const std::size_t nEnd = std::min(strList.find(u'|'), strList.size());
        if (nEnd > 0) arExchanges.emplace_back(strList.substr(0, nEnd));
        strList.remove_prefix(std::min(nEnd + 1, strList.size()));
    }
    return arExchanges;
}

/// The filter, made ready for row after row. Dates are texts: yyyymmdd of both sides compare as the days do.
class CChosen {
public:
    CChosen(const CTables& tables, const HolidayFilter& filter) : m_strExchange(filter.strExchange) {
        if (filter.nYear) {
            m_strFrom = Print("%04d", *filter.nYear);
            m_strBefore = Print("%04d", *filter.nYear + 1);
            return;
        }
        const std::chrono::year_month_day today(ReadToday(tables));
        m_strFrom = Print("%04d", int{today.year()}) + Print("%02d", static_cast<int>(unsigned{today.month()})) +
                    Print("%02d", static_cast<int>(unsigned{today.day()}));
    }

    bool HasDate(TextView strDate) const {
        return strDate >= m_strFrom && (m_strBefore.empty() || strDate < m_strBefore);
    }
    bool HasExchange(const std::vector<Text>& arExchanges) const {
        return m_strExchange.empty() || std::ranges::any_of(arExchanges, [this](const Text& strExchange) {
                   return EqualsNoCase(strExchange, m_strExchange);
               });
    }

private:
    static Text Print(const char* pszFormat, int nNumber) {
        char szText[16];
        std::snprintf(szText, sizeof szText, pszFormat, nNumber);
        return Widen(szText);
    }

    const Text m_strExchange;
    Text m_strFrom;
    Text m_strBefore;
};

}  // namespace

Listing ListHolidays(const CTables& tables, const HolidayFilter& filter, std::size_t nFirst) {
    const CChosen chosen(tables, filter);
    Listing listing{"holiday", {{"date", Form::Date}, "type", "exchanges"}, {}, 0};
    for (const auto& [strDate, value] : ReadTable(tables.Open({u"Holiday", {}})).arValues) {
        if (!chosen.HasDate(strDate)) continue;
        const Text strValue = ToText(value);
        const std::size_t nComma = std::min(strValue.find(u','), strValue.size());
        std::vector<Text> arExchanges = ReadExchanges(TextView(strValue).substr(std::min(nComma + 1, strValue.size())));
        if (!chosen.HasExchange(arExchanges)) continue;
        if (listing.nTotal++ < nFirst)
            listing.arRows.push_back({strDate, strValue.substr(0, nComma), std::move(arExchanges)});
    }
    return listing;
}

}  // namespace qvant::host
