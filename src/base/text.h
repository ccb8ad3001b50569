/// Wide text: UTF-16 code units. Lengths, positions and cuts count units.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qvant {

using Text = std::u16string;
using TextView = std::u16string_view;

/// Hashes for maps that are asked with a `TextView` as well as with a `Text`. It doesn't promise that it never throws:
/// the standard library takes a hash that does for a cheap one, and computes it anew for every key that it walks past
/// instead of keeping it.
struct TextHash {
    using is_transparent = void;
    std::size_t operator()(TextView strText) const { return std::hash<TextView>{}(strText); }
};

/// UTF-8 to wide text. Bytes that aren't UTF-8 become U+FFFD, one for each broken sequence.
Text Widen(std::string_view strUtf8);

/// The same, behind what the text holds already.
void AppendWidened(Text& strText, std::string_view strUtf8);

/// UTF-8 to wide text in the caller's memory, which has room for a unit for each byte.
/// @return the number of units; nothing when the bytes aren't UTF-8
std::optional<std::size_t> WidenStrict(std::string_view strUtf8, char16_t* pOut);

/// Wide text to UTF-8. A lone surrogate becomes U+FFFD.
std::string Narrow(TextView strText);

/// The same, into the caller's memory, which has room for three bytes for each unit.
/// @return the number of bytes
std::size_t NarrowInto(TextView strText, char* pOut);

/// Little-endian bytes of the units, two for each, with no mark in front.
std::string ToUtf16Bytes(TextView strText);

/// Units from little-endian bytes; a trailing odd byte is dropped.
Text FromUtf16Bytes(std::string_view strBytes);

/// Text of a file's bytes: UTF-16 in little-endian order behind its mark, else UTF-8, with or without its mark.
Text WidenMarked(std::string_view strBytes);

/// Replaces every occurrence of `strFrom`, from the left; an empty `strFrom` replaces nothing.
/// @return the number of replacements
std::size_t ReplaceAll(Text& strText, TextView strFrom, TextView strTo);

/// Removes every occurrence of one unit.
void RemoveAll(Text& strText, char16_t ch);

/// The text without the units of `strUnits` at its left, its right, or both ends.
TextView TrimLeft(TextView strText, TextView strUnits);
TextView TrimRight(TextView strText, TextView strUnits);
TextView Trim(TextView strText, TextView strUnits);

/// Case mapping unit by unit, without regard to language.
Text ToUpper(TextView strText);
Text ToLower(TextView strText);

/// Equality without regard to case, unit by unit.
bool EqualsNoCase(TextView strA, TextView strB);

/// Appends the pieces, one behind the other; none of them is borrowed from the text itself.
inline void AppendAll(Text& strText, std::initializer_list<TextView> arPieces) {
    for (const TextView strPiece : arPieces) strText.append(strPiece);
}

/// The pieces, one behind the other, in memory that is asked for once.
inline Text Concatenate(std::initializer_list<TextView> arPieces) {
    std::size_t nLength = 0;
    for (const TextView strPiece : arPieces) nLength += strPiece.size();
    Text strText;
    strText.reserve(nLength);
    AppendAll(strText, arPieces);
    return strText;
}

inline bool Contains(TextView strText, TextView strPart) { return strText.find(strPart) != TextView::npos; }

}  // namespace qvant
