#include "rolls/user_hot_months.h"

#include "base/format.h"
#include "base/split.h"
#include "platform/files.h"
#include "platform/stop.h"
#include "rolls/companion_file.h"
#include "rolls/roll_clock.h"
#include "rolls/roll_lines.h"
#include "symbols/symbol_grammar.h"
#include "symbols/time_base.h"

namespace qvant {

namespace {

constexpr TextView EXTENSION = u".udhm";
constexpr TextView COMPANION_EXTENSION = u".ba";
constexpr TextView SERIES_MARK = u".HOT_";
constexpr std::int64_t A_DAY = 1'000'000;      ///< what a date-and-time number has for the time
constexpr std::size_t LONGEST_LINE = 65'536;   ///< what a month may take of the memory that keeps it for good
constexpr std::size_t LINES_AT_A_TIME = 4096;  ///< between two looks at the stop signal

/// The companion stands beside its file: nothing but the name is touched.
Text NameCompanion(TextView strTitle) {
    Text strName = Concatenate({strTitle, EXTENSION});
    ReplaceAll(strName, EXTENSION, COMPANION_EXTENSION);
    return strName;
}

}  // namespace

void CUserHotMonths::LoadConfig(TextView strSelector) {
    const bool bAll = strSelector.empty() || strSelector == u"ALL";
    for (const Text& strName : platform::ListFiles(m_strFolder)) {
        if (platform::StopRequested()) return;
        if (!strName.ends_with(EXTENSION) || !Contains(strName, SERIES_MARK)) continue;
        const TextView strTitle = TextView(strName).substr(0, strName.size() - EXTENSION.size());
        if (bAll || strSelector == strTitle) LoadFile(strTitle);
    }
}

void CUserHotMonths::OnClock() {
    const std::int64_t nMoment = GetNow() / 100 * 100;
    const Text strTitles = m_mapUDHMRollFiles.Get(nMoment);
    if (strTitles.empty()) return;
    m_parts.host.LogMessage(Format(u"WM_UPDATE_BA. llQvantSystemDateTime=%lld, strTmp=%s.", nMoment, strTitles));
    for (const Text& strTitle : SplitTokens(strTitles, u",")) m_calls.post(strTitle);
}

std::int64_t CUserHotMonths::GetNow() const { return m_calls.getSystemDate() * A_DAY + m_calls.getSystemTime(); }

std::int32_t CUserHotMonths::GetToday() const {
    const std::int32_t nDate = m_calls.getSystemDate();
    return nDate < 1 ? static_cast<std::int32_t>(NowUtcNumber(m_parts.clock) / A_DAY) : nDate;
}

void CUserHotMonths::LoadFile(TextView strTitle) {
    const Text strPath = Concatenate({m_strFolder, strTitle, EXTENSION});
    // Before the file is read: one that is written meanwhile makes the companion stale for the next time.
    const std::int64_t nLastWriteTime = platform::GetLastWriteTime(strPath).value_or(0);
    CHotMonthTimes times(strTitle, m_parts.resetTimes.Get(ExtractSecurityKey(strTitle)), GetToday(),
                         GetZoneOffset(m_parts.clock.NowMilliseconds()));
    m_mapUDHMReset.SetAt(strTitle, times.GetReset());

    UDHMNode node{nLastWriteTime, Text(strTitle), {}, m_strFolder + NameCompanion(strTitle)};
    {
        const auto strText = platform::ReadWholeText(strPath);
        if (!strText) {
            m_parts.host.LogMessage(
                Format(u"LoadConfig. strFilePath=%s, GetLastError=%d.", strPath, platform::GetLastFileError()));
            return;
        }
        if (!ReadLines(*strText, times, node)) return;
    }
    if (IsCompanionStale(node.companionPath, FormatLocalTime(nLastWriteTime), GetNow()))
        m_parts.lastBars.QueryLastK(&node);
}

/// @return false when a stop cut it short
bool CUserHotMonths::ReadLines(TextView strText, CHotMonthTimes& times, UDHMNode& node) {
    const Text strKey = ExtractSecurityKey(node.title);
    for (std::size_t nLine = 0; !strText.empty(); ++nLine) {
        if (nLine % LINES_AT_A_TIME == 0 && platform::StopRequested()) return false;
        const TextView strLine = CutLine(strText);
        if (strLine.size() > LONGEST_LINE) {
            m_parts.host.LogMessage(Format(u"LoadConfig. strFilePath=%s%s%s, line %d is too long and left out.",
                                           m_strFolder, node.title, EXTENSION, static_cast<std::int32_t>(nLine + 1)));
            continue;
        }
        const auto roll = ReadRollLine(strLine);
        if (!roll) {
            times.TakeSetting(strLine);
            continue;
        }
        const std::int64_t nMoment = times.TakeRoll(roll->strLeft);
        m_mapUDHMReset.SetAt(node.title, times.GetReset());
        m_mapUDHMRollFiles.Add(nMoment, node.title);
        node.rolls.push_back({Concatenate({strKey, u".", roll->strRight}), nMoment});
    }
    return true;
}

}  // namespace qvant
