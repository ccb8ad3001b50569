/// What the system gives a process, made less for a part of a test.
#pragma once

#include <csignal>

#include <sys/resource.h>

namespace qvant::test {

/// A limit of this process, put back at the end of the scope.
class CLimit {
public:
    CLimit(int nResource, rlim_t nLimit) : m_nResource(nResource) {
        getrlimit(static_cast<__rlimit_resource_t>(nResource), &m_before);
        const rlimit limit{nLimit, m_before.rlim_max};
        setrlimit(static_cast<__rlimit_resource_t>(nResource), &limit);
    }
    ~CLimit() { setrlimit(static_cast<__rlimit_resource_t>(m_nResource), &m_before); }
    CLimit(const CLimit&) = delete;
    CLimit& operator=(const CLimit&) = delete;

private:
    const int m_nResource;
    rlimit m_before{};
};

/// Files end at a size, as on a full disk.
class CFullDisk {
public:
    explicit CFullDisk(rlim_t nBytes) : m_pBefore(std::signal(SIGXFSZ, SIG_IGN)), m_limit(RLIMIT_FSIZE, nBytes) {}
    ~CFullDisk() { std::signal(SIGXFSZ, m_pBefore); }
    CFullDisk(const CFullDisk&) = delete;
    CFullDisk& operator=(const CFullDisk&) = delete;

private:
    void (*const m_pBefore)(int);
    const CLimit m_limit;
};

}  // namespace qvant::test
