/// The keyed section of a table on its way to another one.
#pragma once

#include <atomic>

#include "trie.h"

namespace qvant::store {

inline constexpr IID IID_Blob{0x91B7C0E2, 0x5D0F, 0x4C61, {0x9A, 0x3E, 0x7C, 0x12, 0x84, 0x6B, 0xD5, 0x0F}};

/// Opaque to everybody but the store; holds a version of the section, which costs one counter.
class CBlob final : public IUnknown {
public:
    explicit CBlob(CTrie values) : m_values(std::move(values)) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override {
        if (!ppvObject) return E_POINTER;
        const bool bKnown = riid == IID_IUnknown || riid == IID_Blob;
        *ppvObject = bKnown ? this : nullptr;
        if (bKnown) AddRef();
        return bKnown ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nReferences; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG nLeft = --m_nReferences;
        if (nLeft == 0) delete this;
        return nLeft;
    }

    const CTrie& GetValues() const { return m_values; }

private:
    std::atomic<ULONG> m_nReferences{1};
    const CTrie m_values;
};

}  // namespace qvant::store
