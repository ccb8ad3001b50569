/// A reader of binary quote lines that shares nothing with the writer and nothing with the service.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace qvant::test {

struct QuoteLine {
    char cType = 0;
    std::map<int, std::optional<std::int64_t>> mapIntegers;  // none: the null value
    std::map<int, std::string> mapStrings;
};

/// One line without its end.
/// @return none when a byte of it is wrong
std::optional<QuoteLine> ReadQuoteLine(const std::string& strLine);

/// The lines of a reply, each ended by LF.
/// @throw std::runtime_error  a line is wrong, or the last one isn't ended
std::vector<QuoteLine> ReadQuoteLines(const std::string& strReply);

}  // namespace qvant::test
