/// Lines of binary quote messages: fields with numbers for names, in bytes of which none but the last is a line end.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qvant::refserver {

/// One message, field after field. Each number takes the shortest form that holds it.
class CQuoteLine {
public:
    CQuoteLine();

    /// @param nField  0 to 3583
    /// @param nValue  none: the null value, which the smallest 64-bit integer stands for too
    void AddInteger(unsigned nField, std::optional<std::int64_t> nValue);

    /// @param nField  0 to 3583
    /// @param text    UTF-8 of at most 50,175 bytes without line ends
    /// @throw std::invalid_argument  the text can't stand in a line
    void AddString(unsigned nField, std::string_view text);

    /// The line with its check character and its end. The object is ready for the next line afterwards.
    std::string Finish();

private:
    void AddLongField(unsigned nStart, unsigned nField);
    void AddDigits(std::uint64_t nValue, unsigned nStart, int nDigits);
    void Add(std::uint64_t nByte) { m_strLine += static_cast<char>(nByte); }

    std::string m_strLine;
};

}  // namespace qvant::refserver
