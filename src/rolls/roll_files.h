/// The files of hot months and expiry dates, which other modules read.
#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "base/mutex.h"
#include "base/text.h"

namespace qvant {

/// Where a kind of file stands below the common data folder, and how its names end behind the product's key.
struct RollFileKind {
    TextView strFolder;
    TextView strEnd;
};

inline constexpr RollFileKind HOT_CHANGE_FILE{u"HotChange", u".HOT.txt"};
inline constexpr RollFileKind EXPIRE_DATE_FILE{u"ExpireDate", u".txt"};

/// What came of writing a file.
struct RollFileResult {
    bool bCreated = false;
    bool bWritten = false;  ///< whole; one that isn't leaves nothing
    int nError = 0;         ///< the system's number, unless it was written
};

/// What a product's hot-change file says of it.
struct HotChangeState {
    bool bResetMoved = false;         ///< it was written under another reset time
    std::optional<Text> strHotMonth;  ///< the latest, which its first roll tells; nothing behind a moved reset time
};

/// Any thread.
///
/// A file is text in UTF-8 with CR LF: the product's reset time, "0" without one, and below it "number->month" for each
/// roll or month, the latest first.
class CRollFiles {
public:
    /// Takes the common data folder and makes the two folders below it, if it can.
    CRollFiles();

    /// Removes what a process that was killed was writing.
    void RemoveStale() const;

    /// @param strKey  four-part key of the product, as foreign as the symbol it was cut from
    Text GetPath(const RollFileKind& kind, TextView strKey) const;

    /// Replaces the file that is there. One that can't be created or written leaves none, which is what tells the
    /// readers that what was there no longer holds; a process that ends in the middle leaves the old one. A key that
    /// can't name a file in its folder (a slash, a backslash or a control character in it) fails as one that can't be
    /// created, and deletes nothing.
    /// @param strRolls  in UTF-8, all lines but the first
    RollFileResult Write(const RollFileKind& kind, TextView strKey, TextView strResetTime, std::string_view strRolls);

    /// Reads as far as needed: up to the first roll, or to a first line that isn't the reset time. What can't be opened
    /// is tried five times, each time followed by 200 ms, unless the calling thread is told to stop.
    /// @return nothing set for a file that isn't there, can't be opened, or has no roll
    HotChangeState ReadHotChange(TextView strKey, TextView strResetTime) const;

private:
    Text GetFolder(const RollFileKind& kind) const;

    Text m_strCommonData;
    CMutex m_mutexWrite;  ///< a request and a pass may fetch the same product
};

}  // namespace qvant
