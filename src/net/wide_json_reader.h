/// The grammar of the forgiving JSON, once for all that is made of it.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "net/wide_json_scan.h"

namespace qvant {

/// Reads one value with all that is in it into a target. Containers that are still open stand on a stack of their
/// own: the depth of a text is the sender's choice, and the thread's stack isn't to be his.
///
/// A target has `StartObject`, `EndObject(members)`, `StartArray`, `EndArray(elements)`, `StartElement` before each
/// element of an array, and `ReadKey`, `ReadText` and `ReadScalar`, which take a token from the scan and return whether
/// it was whole. Of members of the same name the last one counts.
template <class TARGET>
class CWideJsonReader {
public:
    CWideJsonReader(TextView strText, TARGET& target) : m_scan(strText), m_target(target) {}

    /// @return false for a text that isn't the forgiving JSON; the position tells where
    bool Read() {
        if (!ReadOne()) return false;
        while (!m_arOpen.empty()) {
            if (!Continue()) return false;
        }
        return true;
    }

    std::size_t GetPosition() const { return m_scan.GetPosition(); }

private:
    struct Container {
        bool bObject = false;
        std::uint32_t nCount = 0;
    };

    bool ReadOne() {
        m_scan.SkipBlanks();
        switch (m_scan.Peek()) {
            case u'{':
                m_target.StartObject();
                return Open(true, m_scan.HasObjectEnd());
            case u'[':
                m_target.StartArray();
                return Open(false, m_scan.HasArrayEnd());
            case u'"':
                return m_target.ReadText(m_scan);
            default:
                return m_target.ReadScalar(m_scan);
        }
    }

    bool Open(bool bObject, bool bHasEnd) {
        m_scan.Skip();
        m_arOpen.push_back({.bObject = bObject});
        return bHasEnd;
    }

    // One member or element of the innermost open container, or its end. A comma is taken where it stands and missed
    // by nobody where it doesn't.
    bool Continue() {
        m_scan.SkipBlanks();
        if (m_bAfterValue && m_scan.Peek() == u',') {
            m_scan.Skip();
            m_scan.SkipBlanks();
        }
        m_bAfterValue = false;
        Container& container = m_arOpen.back();
        if (m_scan.Peek() == (container.bObject ? u'}' : u']')) return Close();
        if (container.bObject) {
            if (!ReadKey()) return false;
        } else {
            m_target.StartElement();
        }
        ++container.nCount;
        const std::size_t nDepth = m_arOpen.size();
        if (!ReadOne()) return false;
        m_bAfterValue = m_arOpen.size() == nDepth;
        return true;
    }

    bool Close() {
        m_scan.Skip();
        const Container container = m_arOpen.back();
        m_arOpen.pop_back();
        if (container.bObject) {
            m_target.EndObject(container.nCount);
        } else {
            m_target.EndArray(container.nCount);
        }
        m_bAfterValue = true;
        return true;
    }

    bool ReadKey() {
        if (m_scan.Peek() != u'"' || !m_target.ReadKey(m_scan)) return false;
        m_scan.SkipBlanks();
        if (m_scan.Peek() != u':') return false;
        m_scan.Skip();
        return true;
    }

    CWideJsonScan m_scan;
    TARGET& m_target;
    std::vector<Container> m_arOpen;
    bool m_bAfterValue = false;
};

}  // namespace qvant
