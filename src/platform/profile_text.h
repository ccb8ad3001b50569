/// The text of one profile file in memory: read by key, changed in place, given back as the bytes of the file.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/text.h"

namespace qvant::platform {

/// Any bytes make a profile text; what isn't a section or a key is passed by and kept as it is.
class CProfileText {
public:
    /// An empty text, in the form of a new file: UTF-16LE with its mark, lines ending in CR LF.
    CProfileText() = default;

    /// The text of a file's bytes, whose encoding and line ends it keeps. No bytes at all are a new file.
    static CProfileText Parse(std::string_view strBytes);

    /// The value of the first such key in the first such section, without blanks around it and one pair of quotes.
    std::optional<Text> Find(TextView strSection, TextView strKey) const;

    /// Sets the key; one that isn't there comes at the end of its section, a new section at the end of the text.
    /// Line ends in the arguments are dropped.
    void Set(TextView strSection, TextView strKey, TextView strValue);

    /// Removes, with all they hold, the sections whose names are accepted.
    void RemoveSections(const std::function<bool(TextView)>& accepts);

    std::string GetBytes() const;

private:
    enum class Encoding { Utf16, Utf8WithMark, Utf8 };

    /// One line: its start, the end of what it says, and the start of the next one.
    struct Line {
        std::size_t nStart = 0;
        std::size_t nEnd = 0;
        std::size_t nNext = 0;
    };

    std::optional<Line> ReadLine(std::size_t nStart) const;
    TextView GetContent(const Line& line) const;
    /// The name between the brackets of a section's line, as it stands in the file.
    static std::optional<TextView> GetSectionName(TextView strLine);
    bool IsNamed(TextView strRaw, TextView strName) const;

    /// Start of the line behind the section's own.
    std::optional<std::size_t> FindSection(TextView strSection) const;
    /// The line of a key in the section that begins at `nPosition`. Without one, `nPosition` moves behind the
    /// section's last line that isn't blank.
    std::optional<Line> FindKey(std::size_t& nPosition, TextView strKey) const;

    /// Between text and the units that stand for it in `m_strRaw`.
    Text Decode(TextView strRaw) const;
    Text Encode(TextView strText) const;

    Encoding m_encoding = Encoding::Utf16;
    /// The units of a UTF-16 file. Of a UTF-8 file, a unit for each byte, so that bytes that aren't UTF-8 are kept.
    Text m_strRaw;
    Text m_strLineEnd = u"\r\n";
};

}  // namespace qvant::platform
