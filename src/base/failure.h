/// The one exception for failures that the system raises on purpose; each carries the code that the caller gets.
#pragma once

#include <cstdint>
#include <exception>

namespace qvant {

class CFailure : public std::exception {
public:
    static constexpr std::uint32_t UNSPECIFIED = 0x80004005;       ///< a value out of its range
    static constexpr std::uint32_t OUT_OF_MEMORY = 0x8007000E;     ///< a text that couldn't be allocated
    static constexpr std::uint32_t INVALID_ARGUMENT = 0x80070057;  ///< a calendar time that can't be built

    explicit CFailure(std::uint32_t nCode) : m_nCode(static_cast<std::int32_t>(nCode)) {}

    /// The code as the 32-bit result of a call.
    std::int32_t GetCode() const noexcept { return m_nCode; }
    const char* what() const noexcept override { return "a failure raised by the service"; }

private:
    std::int32_t m_nCode;
};

}  // namespace qvant
