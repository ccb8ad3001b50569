/// Enumerators of the connection interfaces.
#pragma once

#include <algorithm>
#include <atomic>
#include <new>
#include <vector>

#include "qvant/component.h"

namespace qvant::common {

/// Walks a list that was copied when the enumerator was made.
/// @tparam Item  of the interface's `Next`; `AddRefOf(item)` gives the caller a reference, `ReleaseOf` takes it back
template <class Interface, class Item>
class CEnumerator final : public Interface {
public:
    /// Takes over the references of the items.
    CEnumerator(const IID& iid, std::vector<Item> arItems) : m_iid(iid), m_arItems(std::move(arItems)) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override {
        if (!ppvObject) return E_POINTER;
        const bool bKnown = riid == IID_IUnknown || riid == m_iid;
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

    HRESULT STDMETHODCALLTYPE Next(ULONG nItems, Item* pItems, ULONG* pnFetched) override {
        if (!pItems || (nItems != 1 && !pnFetched)) return E_POINTER;
        const ULONG nFetched = std::min(nItems, static_cast<ULONG>(m_arItems.size() - m_nNext));
        for (ULONG i = 0; i < nFetched; ++i) {
            pItems[i] = m_arItems[m_nNext++];
            AddRefOf(pItems[i]);
        }
        if (pnFetched) *pnFetched = nFetched;
        return nFetched == nItems ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG nItems) override {
        const auto nLeft = static_cast<ULONG>(m_arItems.size() - m_nNext);
        m_nNext += std::min(nItems, nLeft);
        return nItems <= nLeft ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Reset() override {
        m_nNext = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Clone(Interface** ppEnum) override {
        if (!ppEnum) return E_POINTER;
        *ppEnum = nullptr;
        try {
            auto* const pClone = new CEnumerator(m_iid, m_arItems);
            for (const Item& item : m_arItems) AddRefOf(item);
            pClone->m_nNext = m_nNext;
            *ppEnum = pClone;
            return S_OK;
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
    }

private:
    ~CEnumerator() {
        for (const Item& item : m_arItems) ObjectOf(item)->Release();
    }

    static IUnknown* ObjectOf(IUnknown* p) { return p; }
    static IUnknown* ObjectOf(const CONNECTDATA& data) { return data.pUnk; }
    static void AddRefOf(const Item& item) { ObjectOf(item)->AddRef(); }

    std::atomic<ULONG> m_nReferences{1};
    const IID m_iid;
    const std::vector<Item> m_arItems;
    std::size_t m_nNext = 0;
};

}  // namespace qvant::common
