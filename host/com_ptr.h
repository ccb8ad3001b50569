/// Counted pointer to a component interface.
#pragma once

#include <utility>

#include "qvant/component.h"

namespace qvant::host {

template <typename T>
class ComPtr {
public:
    ComPtr() = default;
    ComPtr(const ComPtr& other) : m_p(other.m_p) {
        if (m_p) m_p->AddRef();
    }
    ComPtr(ComPtr&& other) noexcept : m_p(std::exchange(other.m_p, nullptr)) {}
    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(m_p, other.m_p);
        return *this;
    }
    ~ComPtr() {
        if (m_p) m_p->Release();
    }

    /// Takes over a reference that the caller holds.
    static ComPtr Attach(T* p) {
        ComPtr result;
        result.m_p = p;
        return result;
    }
    /// Adds a reference of its own.
    static ComPtr Share(T* p) {
        if (p) p->AddRef();
        return Attach(p);
    }

    /// Another interface of the same object; null when it has none.
    template <typename U>
    ComPtr<U> As(REFIID riid) const {
        void* p = nullptr;
        if (m_p && FAILED(m_p->QueryInterface(riid, &p))) p = nullptr;
        return ComPtr<U>::Attach(static_cast<U*>(p));
    }

    T* Get() const { return m_p; }
    T* operator->() const { return m_p; }
    explicit operator bool() const { return m_p != nullptr; }

private:
    T* m_p = nullptr;
};

}  // namespace qvant::host
