/// Component strings: a byte count in front of the units, a NUL behind them.
#include <cstdlib>
#include <string>

#include "qvant/component.h"

namespace {

/// Space in front of the units. It keeps them aligned; the byte count stands in its last four bytes.
constexpr std::size_t HEADER = 8;
constexpr UINT MAX_UNITS = 0x3FFFFFF0;

void SetByteCount(OLECHAR* pUnits, std::uint32_t nBytes) {
    std::memcpy(reinterpret_cast<std::byte*>(pUnits) - sizeof nBytes, &nBytes, sizeof nBytes);
}

}  // namespace

BSTR SysAllocString(const OLECHAR* psz) {
    if (!psz) return nullptr;
    const std::size_t nUnits = std::char_traits<OLECHAR>::length(psz);
    return nUnits > MAX_UNITS ? nullptr : SysAllocStringLen(psz, static_cast<UINT>(nUnits));
}

BSTR SysAllocStringLen(const OLECHAR* pch, UINT ui) {
    if (ui > MAX_UNITS) return nullptr;
    const std::size_t nBytes = ui * sizeof(OLECHAR);
    auto* pBlock = static_cast<std::byte*>(std::malloc(HEADER + nBytes + sizeof(OLECHAR)));
    if (!pBlock) return nullptr;
    auto* pUnits = reinterpret_cast<OLECHAR*>(pBlock + HEADER);
    SetByteCount(pUnits, static_cast<std::uint32_t>(nBytes));
    if (pch && nBytes != 0) std::memcpy(pUnits, pch, nBytes);
    pUnits[ui] = 0;
    return pUnits;
}

void SysFreeString(BSTR bstr) {
    if (bstr) std::free(reinterpret_cast<std::byte*>(bstr) - HEADER);
}

UINT SysStringLen(BSTR bstr) {
    if (!bstr) return 0;
    std::uint32_t nBytes = 0;
    std::memcpy(&nBytes, reinterpret_cast<const std::byte*>(bstr) - sizeof nBytes, sizeof nBytes);
    return nBytes / static_cast<UINT>(sizeof(OLECHAR));
}
