/// Builds reply lines of the quote servers, piece by piece, right ones and wrong ones.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qvant::test {

/// The check character of what stands between the type and it.
inline char CheckQuoteFields(std::string_view strFields) {
    int nSum = 0;
    for (const char ch : strFields) nSum = (nSum + static_cast<unsigned char>(ch) % 128) % 128;
    return static_cast<char>(nSum + (nSum < 64 ? 48 : 112));
}

/// A line with its check character, around fields that are given as bytes.
inline std::string MakeQuoteLine(std::string_view strFields, char chType = 'Q') {
    return chType + std::string(strFields) + CheckQuoteFields(strFields);
}

/// Writes each value in its shortest form.
class CQuoteLine {
public:
    explicit CQuoteLine(char chType = 'Q') : m_chType(chType) {}

    CQuoteLine& Integer(int nField, std::int64_t nValue) {
        IntegerField(nField);
        const auto nBits = static_cast<std::uint64_t>(nValue);
        const std::uint64_t nSize = nValue < 0 ? 0 - nBits : nBits;
        if (nValue < 0) {
            Number(nSize, 160, 32, 192);
        } else {
            Number(nSize, 32, 64, 96);
        }
        return *this;
    }
    CQuoteLine& Null(int nField) {
        IntegerField(nField);
        m_strFields.push_back('\x01');
        return *this;
    }
    CQuoteLine& String(int nField, std::string_view strText) {
        const int nLength = static_cast<int>(strText.size());
        if (nField < 4 && nLength < 16) {
            Byte(192 + nField * 16 + nLength);
        } else if (nField < 32 && nLength < 224) {
            Byte(160 + nField);
            Byte(32 + nLength);
        } else {
            Byte(144 + nField / 224);
            Byte(32 + nField % 224);
            Byte(32 + nLength / 224);
            Byte(32 + nLength % 224);
        }
        m_strFields.append(strText);
        return *this;
    }

    /// Without a line end.
    std::string Get() const { return MakeQuoteLine(m_strFields, m_chType); }

private:
    void Byte(int nByte) { m_strFields.push_back(static_cast<char>(nByte)); }
    void IntegerField(int nField) {
        if (nField >= 96) Byte(128 + nField / 224);
        Byte(32 + (nField < 96 ? nField : nField % 224));
    }
    /// @param nShort  first byte of the form without further digits, which holds so many numbers
    /// @param nLong   first byte of the next longer form; the others follow 16 apart
    void Number(std::uint64_t nSize, int nShort, std::uint64_t nMostShort, int nLong) {
        if (nSize < nMostShort) return Byte(nShort + static_cast<int>(nSize));
        for (const int nDigits : {1, 2, 4, 8}) {
            std::uint64_t nUnit = 1;
            for (int i = 0; i < nDigits; ++i) nUnit *= 224;
            if (nSize / nUnit < 16) {
                Byte(nLong + static_cast<int>(nSize / nUnit));
                for (nSize %= nUnit; nUnit > 1; nSize %= nUnit) {
                    nUnit /= 224;
                    Byte(32 + static_cast<int>(nSize / nUnit));
                }
                return;
            }
            nLong += 16;
        }
    }

    char m_chType;
    std::string m_strFields;
};

}  // namespace qvant::test
