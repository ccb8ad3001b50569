/// The strikes of a series, from the few words that a person writes down for them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qvant::refserver {

/// "2.5..3.5/0.05, 3.6": ranges with both ends and a step, and single strikes, in rising order.
class CStrikes {
public:
    /// An empty text has no strikes.
    /// @throw std::runtime_error  the text says something else; what() tells what
    static CStrikes Parse(std::string_view text);

    /// In their order, each with as many decimals as its range is written with.
    std::vector<std::string> MakeTexts() const;

    std::size_t GetCount() const { return m_nCount; }

private:
    struct Range {
        std::int64_t nFirst;  // in units of the last decimal
        std::int64_t nLast;
        std::int64_t nStep;
        int nDecimals;
    };

    void Add(std::string_view item);

    std::vector<Range> m_arRanges;
    std::size_t m_nCount = 0;
};

}  // namespace qvant::refserver
