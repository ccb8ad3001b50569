/// What keeps a component's shared library in use.
#pragma once

#include <atomic>
#include <cstdint>

namespace qvant::common {

/// Counts the objects and locks of one library. Any thread.
class CModuleUse {
public:
    void AddObject() { ++m_nUsers; }
    void RemoveObject() { --m_nUsers; }
    bool IsInUse() const { return m_nUsers != 0; }

private:
    std::atomic<std::int64_t> m_nUsers{0};
};

}  // namespace qvant::common
