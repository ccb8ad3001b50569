#include "user_months.h"

#include <algorithm>

#include "failure.h"
#include "local_time.h"
#include "text_file.h"

namespace qvant::host {

namespace {

constexpr std::string_view DEFINITION = ".udhm";
constexpr std::string_view COMPANION = ".ba";
constexpr std::string_view ARROW = "->";

/// The service passes over a file without this in its name.
constexpr TextView SERIES_MARK = u".HOT_";

/// A number or 0, as the service reads one.
std::int64_t NumberOf(std::string_view strText) { return ParseInteger(Widen(strText)).value_or(0); }

/// Before the first sign, and behind the first other one; the service parts a line in this way.
std::string_view Before(std::string_view strLine, char ch) {
    return strLine.substr(0, std::min(strLine.find(ch), strLine.size()));
}
std::string_view Behind(std::string_view strLine, char ch) {
    const std::size_t nFound = strLine.find(ch);
    return nFound == std::string_view::npos ? std::string_view() : strLine.substr(nFound + 1);
}

void TakeSetting(std::string_view strLine, UserSeries& series) {
    const std::size_t nEquals = strLine.find('=');
    if (nEquals == std::string_view::npos) return;
    const Text strKey = Widen(strLine.substr(0, nEquals));
    const Text strValue = Widen(strLine.substr(nEquals + 1));
    const std::pair<TextView, Text*> SETTINGS[] = {
        {u"timezone", &series.strZone}, {u"resettime", &series.strReset}, {u"resettimedst", &series.strResetDst}};
    for (const auto& [strName, pValue] : SETTINGS) {
        if (EqualsNoCase(strKey, strName)) *pValue = strValue;
    }
}

bool IsSeries(const UserSeries& series) { return series.strTitle.find(SERIES_MARK) != Text::npos; }

enum class Standing { Ignored, Missing, Outdated, Incomplete, Complete };

bool IsGapMissing(const Companion::Gap& gap, std::int64_t nNow) { return !gap.nUnits && gap.nMoment <= nNow; }

Standing StandingOf(const UserSeries& series, std::int64_t nNow) {
    if (!IsSeries(series)) return Standing::Ignored;
    if (!series.companion) return Standing::Missing;
    if (series.companion->nDefined != series.nWritten) return Standing::Outdated;
    const bool bMissing = std::ranges::any_of(series.companion->arGaps,
                                              [nNow](const Companion::Gap& gap) { return IsGapMissing(gap, nNow); });
    return bMissing ? Standing::Incomplete : Standing::Complete;
}

TextView ShowStanding(Standing standing) {
    switch (standing) {
        case Standing::Ignored:
            return u"none: the name has no \".HOT_\"";
        case Standing::Missing:
            return u"not written yet";
        case Standing::Outdated:
            return u"of an earlier definition";
        case Standing::Incomplete:
            return u"gaps missing";
        case Standing::Complete:
            break;
    }
    return u"up to date";
}

/// The companion's gap at a roll; none when the companion has nothing to say about this definition.
const Companion::Gap* GapOf(const UserSeries& series, std::size_t nRoll) {
    const auto& companion = series.companion;
    if (!companion || companion->nDefined != series.nWritten) return nullptr;
    const bool bMatches = companion->arGaps.size() + 1 == series.arRolls.size();
    return bMatches && nRoll < companion->arGaps.size() ? &companion->arGaps[nRoll] : nullptr;
}

Value NoteOf(const Companion::Gap* pGap, bool bLast, std::int64_t nNow) {
    if (bLast) return Text(u"the last line has none");
    if (!pGap) return Text(u"not read yet");
    if (pGap->nUnits) return {};
    return Text(IsGapMissing(*pGap, nNow) ? u"not known yet" : u"to come");
}

/// The months at a roll by the dates from which they count, the earlier one first; one alone at the last line.
std::pair<Value, Value> MonthsOf(const std::vector<UserRoll>& arRolls, std::size_t nRoll) {
    const bool bLast = nRoll + 1 == arRolls.size();
    const UserRoll& roll = arRolls[nRoll];
    const UserRoll& other = bLast ? arRolls[nRoll - std::min<std::size_t>(nRoll, 1)] : arRolls[nRoll + 1];
    const bool bNewestFirst = bLast ? other.strDate >= roll.strDate : roll.strDate >= other.strDate;
    Value otherMonth = bLast ? Value() : other.strMonth;
    return bNewestFirst ? std::pair<Value, Value>(std::move(otherMonth), roll.strMonth)
                        : std::pair<Value, Value>(roll.strMonth, std::move(otherMonth));
}

std::vector<Value> MakeRow(const UserSeries& series, std::size_t nRoll, std::int64_t nNow) {
    const UserRoll& roll = series.arRolls[nRoll];
    const Companion::Gap* pGap = GapOf(series, nRoll);
    const auto moment = pGap ? ToMoment(pGap->nMoment) : std::nullopt;
    auto [before, after] = MonthsOf(series.arRolls, nRoll);
    return {series.strTitle,
            roll.strDate,
            std::move(before),
            std::move(after),
            moment ? Value(ToLocalNumber(*moment)) : Value(),
            pGap ? Value(pGap->nMoment) : Value(),
            pGap && pGap->nUnits ? Value(ShowPrice(*pGap->nUnits)) : Value(),
            NoteOf(pGap, nRoll + 1 == series.arRolls.size(), nNow)};
}

void ReadFiles(std::filesystem::path path, UserSeries& series) {
    const auto definition = ReadWholeFile(path);
    if (!definition) return;  // deleted meanwhile: a series without rolls
    series.nWritten = ToLocalNumber(definition->written);
    ParseDefinition(definition->strBytes, series);
    if (const auto companion = ReadWholeFile(path.replace_extension(COMPANION)))
        series.companion = ParseCompanion(companion->strBytes);
}

}  // namespace

void ParseDefinition(std::string_view strBytes, UserSeries& series) {
    while (!strBytes.empty()) {
        const std::string_view strLine = TakeLine(strBytes);
        if (strLine.find(ARROW) == std::string_view::npos) {
            TakeSetting(strLine, series);
        } else {
            series.arRolls.push_back({Widen(Before(strLine, '-')), Widen(Behind(strLine, '>'))});
        }
    }
}

Companion ParseCompanion(std::string_view strBytes) {
    Companion companion;
    while (!strBytes.empty()) {
        const std::string_view strLine = TakeLine(strBytes);
        if (strLine.find(ARROW) != std::string_view::npos) {
            const std::string_view strGap = Behind(strLine, '>');
            companion.arGaps.push_back(
                {NumberOf(Before(strLine, '-')), strGap.empty() ? std::nullopt : std::optional(NumberOf(strGap))});
        } else if (Before(strLine, '=') == "UDHMLastWriteTime") {
            companion.nDefined = NumberOf(Behind(strLine, '='));
        }
    }
    return companion;
}

Text ShowPrice(std::int64_t nUnits) {
    constexpr std::uint64_t UNITS = 10'000'000'000;
    const std::uint64_t nSize =
        nUnits < 0 ? 0 - static_cast<std::uint64_t>(nUnits) : static_cast<std::uint64_t>(nUnits);
    std::string strDecimals = std::to_string(nSize % UNITS + UNITS);
    strDecimals.front() = '.';
    strDecimals.resize(strDecimals.find_last_not_of('0') + 1);
    std::string strPrice = nUnits < 0 ? "-" : "";
    strPrice.append(std::to_string(nSize / UNITS));
    if (strDecimals.size() > 1) strPrice.append(strDecimals);
    return Widen(strPrice);
}

std::vector<UserSeries> ReadUserSeries(const std::filesystem::path& pathHome) {
    std::vector<UserSeries> arSeries;
    std::error_code error;
    std::filesystem::directory_iterator it(pathHome / "Data" / "UserDefHotMonth", error);
    for (; !error && it != std::filesystem::directory_iterator(); it.increment(error)) {
        std::filesystem::path path = it->path();
        std::error_code ignored;
        if (path.extension() != DEFINITION || !it->is_regular_file(ignored)) continue;
        UserSeries& series = arSeries.emplace_back();
        series.strTitle = Widen(path.stem().string());
        try {
            ReadFiles(std::move(path), series);
        } catch (const CFailure& failure) {
            series.strFault = Widen(failure.what());
        }
    }
    std::ranges::sort(arSeries, {}, &UserSeries::strTitle);
    return arSeries;
}

Listing ListSeries(const std::vector<UserSeries>& arSeries, std::int64_t nNow) {
    Listing listing{"definition",
                    {"title", "rolls", "zone", "reset_time", "reset_time_dst", {"written", Form::Moment}, "companion"},
                    {},
                    arSeries.size()};
    const auto OrNone = [](const Text& strText) { return strText.empty() ? Value() : Value(strText); };
    for (const UserSeries& series : arSeries) {
        Text strCompanion = series.strFault.empty() ? Text(ShowStanding(StandingOf(series, nNow))) : series.strFault;
        listing.arRows.push_back({series.strTitle, static_cast<std::int64_t>(series.arRolls.size()),
                                  OrNone(series.strZone), OrNone(series.strReset), OrNone(series.strResetDst),
                                  series.nWritten, std::move(strCompanion)});
    }
    return listing;
}

Listing ListUserRolls(const std::vector<UserSeries>& arSeries, std::int64_t nNow, std::size_t nFirst) {
    Listing listing{"roll",
                    {"title",
                     {"from", Form::Date},
                     "month_before",
                     "month_after",
                     {"moment", Form::Moment},
                     {"moment_utc", Form::Moment},
                     "gap",
                     "note"},
                    {},
                    0};
    for (const UserSeries& series : arSeries) {
        for (std::size_t i = 0; i < series.arRolls.size() && listing.arRows.size() < nFirst; ++i)
            listing.arRows.push_back(MakeRow(series, i, nNow));
        listing.nTotal += series.arRolls.size();
    }
    return listing;
}

Text UpdateUserSeries(CAsk& ask, const std::filesystem::path& pathHome, TextView strTitle, std::int64_t nNow,
                      std::chrono::milliseconds timeout) {
    // The service may be writing the companion just now. An answer behind this look at the folder counts.
    const std::uint64_t nBefore = ask.GetLast();
    const std::vector<UserSeries> arSeries = ReadUserSeries(pathHome);
    const auto it = std::ranges::find(arSeries, strTitle, &UserSeries::strTitle);
    if (it == arSeries.end()) throw CFailure("there is no series " + Quote(strTitle));
    const Standing standing = StandingOf(*it, nNow);
    ask.Send(u"UpdateUDHotMonth", 1, strTitle);
    if (standing == Standing::Ignored) return u"nothing to do: the service passes over the file";
    // Only a stale companion is written anew, and only then an answer comes.
    if (standing == Standing::Complete) return u"nothing to do: the companion is up to date";
    const auto answer =
        ask.Await([strTitle](const Event& event) { return IsTopic(event, u"API_UpdateUDHotMonth", 2, strTitle); },
                  nBefore, timeout);
    return answer ? Text(u"the companion is written anew") : Widen("no answer in " + ShowSeconds(timeout));
}

}  // namespace qvant::host
