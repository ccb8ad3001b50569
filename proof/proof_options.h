/// What a proof's program is told, and what it tells.
#pragma once

#include <cstdint>
#include <functional>
#include <random>
#include <string>

namespace qvant::proof {

struct Options {
    bool bLong = false;
    std::uint64_t nSeed = 1;
    std::uint64_t nOnly = 0;  ///< the one try to repeat; 0: all
};

/// NAME quick|long [--seed N] [--only N]; ends the program with status 2 when it is told something else.
Options ParseOptions(int nArguments, char** ppArguments);

/// Counts the tries of a proof, and tells how to repeat the one that failed.
class CTally {
public:
    CTally(std::string strProof, const Options& options) : m_strProof(std::move(strProof)), m_options(options) {}

    /// Runs one try, unless another one is to be repeated. An exception fails it, and the proof goes on.
    /// @param nTry  its number, from 1
    void Try(std::uint64_t nTry, const std::string& strWhat, const std::function<void()>& act);

    /// Prints the proof's line. @return the status of the program
    int Tell(const std::string& strTried) const;

    /// Numbers of a try's own, the same in each run with this seed.
    std::mt19937_64 RandomOf(std::uint64_t nTry) const { return std::mt19937_64(m_options.nSeed * 1'000'003 + nTry); }

private:
    const std::string m_strProof;
    const Options m_options;
    std::uint64_t m_nTries = 0;
    std::uint64_t m_nFailures = 0;
};

/// The main function of a proof: hands over the options, and tells what couldn't even be begun.
int RunProof(const std::string& strProof, int nArguments, char** ppArguments, int (*pRun)(const Options&, CTally&));

}  // namespace qvant::proof
