/// The shared library: its objects, locks and class factory.
#pragma once

#include <atomic>
#include <cstdint>

namespace qvant::store {

/// Counts what keeps the library in use.
class CModule {
public:
    void AddObject() { ++m_nUsers; }
    void RemoveObject() { --m_nUsers; }
    bool IsInUse() const { return m_nUsers != 0; }

private:
    std::atomic<std::int64_t> m_nUsers{0};
};

CModule& GetModule();

}  // namespace qvant::store
