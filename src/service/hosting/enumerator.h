/// A snapshot of interfaces behind one of the platform's enumerator interfaces.
#pragma once

#include <algorithm>
#include <atomic>
#include <vector>

#include "qvant/component.h"

namespace qvant {

/// How an enumerator keeps, copies out and frees its items.
struct InterfaceItems {
    static void AddRef(IConnectionPoint* pItem) { pItem->AddRef(); }
    static void Release(IConnectionPoint* pItem) { pItem->Release(); }
    static void AddRef(const CONNECTDATA& item) { item.pUnk->AddRef(); }
    static void Release(const CONNECTDATA& item) { item.pUnk->Release(); }
};

/// @tparam Interface  the enumerator interface
/// @tparam Item       what `Next` gives; each one holds a reference
template <class Interface, class Item>
class CEnumerator final : public Interface {
public:
    /// Takes references of its own on the items.
    CEnumerator(REFIID iid, std::vector<Item> arItems, std::size_t nPosition = 0)
        : m_iid(iid), m_arItems(std::move(arItems)), m_nPosition(nPosition) {
        for (const Item& item : m_arItems) InterfaceItems::AddRef(item);
    }

    HRESULT QueryInterface(REFIID riid, void** ppv) override {
        if (!ppv) return E_POINTER;
        *ppv = riid == IID_IUnknown || riid == m_iid ? this : nullptr;
        if (!*ppv) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++m_nReferences; }
    ULONG Release() override {
        const ULONG nLeft = --m_nReferences;
        if (nLeft == 0) delete this;
        return nLeft;
    }

    HRESULT Next(ULONG nCount, Item* pItems, ULONG* pnFetched) override {
        if (!pItems || (!pnFetched && nCount != 1)) return E_POINTER;
        const auto nGiven = static_cast<ULONG>(std::min<std::size_t>(nCount, m_arItems.size() - m_nPosition));
        for (ULONG i = 0; i < nGiven; ++i) {
            pItems[i] = m_arItems[m_nPosition++];
            InterfaceItems::AddRef(pItems[i]);
        }
        if (pnFetched) *pnFetched = nGiven;
        return nGiven == nCount ? S_OK : S_FALSE;
    }
    HRESULT Skip(ULONG nCount) override {
        const std::size_t nLeft = m_arItems.size() - m_nPosition;
        m_nPosition += std::min<std::size_t>(nCount, nLeft);
        return nCount <= nLeft ? S_OK : S_FALSE;
    }
    HRESULT Reset() override {
        m_nPosition = 0;
        return S_OK;
    }
    HRESULT Clone(Interface** ppEnum) override {
        if (!ppEnum) return E_POINTER;
        *ppEnum = new CEnumerator(m_iid, m_arItems, m_nPosition);
        return S_OK;
    }

private:
    ~CEnumerator() {
        for (const Item& item : m_arItems) InterfaceItems::Release(item);
    }

    const IID m_iid;
    std::atomic<ULONG> m_nReferences{1};
    const std::vector<Item> m_arItems;
    std::size_t m_nPosition;
};

}  // namespace qvant
