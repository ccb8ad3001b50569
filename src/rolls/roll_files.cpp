#include "rolls/roll_files.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "base/format.h"
#include "platform/files.h"
#include "platform/stop.h"

namespace qvant {

namespace {

constexpr int MOST_TRIES = 5;
constexpr std::chrono::milliseconds PAUSE{200};

bool IsPlainName(TextView strKey) {
    return std::none_of(strKey.begin(), strKey.end(),
                        [](char16_t ch) { return ch < u' ' || ch == u'\x7F' || ch == u'/' || ch == u'\\'; });
}

HotChangeState ReadState(std::string_view strLine, TextView strResetTime, bool& bDecided) {
    constexpr std::string_view ARROW = "->";
    HotChangeState state;
    bDecided = true;
    if (const std::size_t nArrow = strLine.find(ARROW); nArrow != std::string_view::npos) {
        state.strHotMonth = Widen(strLine.substr(nArrow + ARROW.size()));
    } else {
        // A product without a reset time has "0" in its file and an empty text here: it counts as moved, always.
        state.bResetMoved = Widen(strLine) != strResetTime;
        bDecided = state.bResetMoved;
    }
    return state;
}

}  // namespace

CRollFiles::CRollFiles() {
    const auto strCommon = platform::GetCommonDataFolder();
    // Without a folder of the machine's nothing is made, and every file below the name that stands for it fails.
    m_strCommonData = strCommon.value_or(u"C:/ProgramData");
    if (!strCommon) return;
    for (const RollFileKind& kind : {HOT_CHANGE_FILE, EXPIRE_DATE_FILE}) platform::CreateFolders(GetFolder(kind));
}

void CRollFiles::RemoveStale() const {
    for (const RollFileKind& kind : {HOT_CHANGE_FILE, EXPIRE_DATE_FILE}) {
        platform::RemoveStaleReplacements(GetFolder(kind));
    }
}

Text CRollFiles::GetFolder(const RollFileKind& kind) const {
    return Concatenate({m_strCommonData, u"/Qvant/", kind.strFolder, u"/"});
}

Text CRollFiles::GetPath(const RollFileKind& kind, TextView strKey) const {
    return Concatenate({GetFolder(kind), strKey, kind.strEnd});
}

RollFileResult CRollFiles::Write(const RollFileKind& kind, TextView strKey, TextView strResetTime,
                                 std::string_view strRolls) {
    RollFileResult result;
    result.nError = EINVAL;
    if (!IsPlainName(strKey)) return result;
    const Text strPath = GetPath(kind, strKey);
    std::string strBytes = strResetTime.empty() ? "0" : Narrow(strResetTime);
    strBytes.append("\r\n").append(strRolls);
    const CLock lock(m_mutexWrite);
    result.bWritten = platform::ReplaceOrRemoveFile(strPath, strBytes, &result.bCreated);
    result.nError = result.bWritten ? 0 : platform::GetLastFileError();
    return result;
}

HotChangeState CRollFiles::ReadHotChange(TextView strKey, TextView strResetTime) const {
    HotChangeState state;
    if (!IsPlainName(strKey)) return state;
    const Text strPath = GetPath(HOT_CHANGE_FILE, strKey);
    if (!platform::FileExists(strPath)) return state;
    const auto visit = [&](std::string_view strLine) {
        bool bDecided = false;
        state = ReadState(strLine, strResetTime, bDecided);
        return !bDecided;
    };
    for (int nTry = 0; nTry < MOST_TRIES; ++nTry) {
        if (platform::ForEachLine(strPath, visit)) break;
        if (!platform::SleepFor(PAUSE)) break;
    }
    return state;
}

}  // namespace qvant
