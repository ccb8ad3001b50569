#include "proof_options.h"

#include <cstdlib>
#include <exception>
#include <iostream>

namespace qvant::proof {

namespace {

[[noreturn]] void Refuse(const char* pszProgram) {
    std::cerr << pszProgram << " quick|long [--seed N] [--only TRY]\n";
    std::exit(2);
}

}  // namespace

Options ParseOptions(int nArguments, char** ppArguments) {
    Options options;
    for (int i = 1; i < nArguments; ++i) {
        const std::string strWord = ppArguments[i];
        const bool bNumber = i + 1 < nArguments;
        if (strWord == "quick" || strWord == "long") {
            options.bLong = strWord == "long";
        } else if (strWord == "--seed" && bNumber) {
            options.nSeed = std::strtoull(ppArguments[++i], nullptr, 10);
        } else if (strWord == "--only" && bNumber) {
            options.nOnly = std::strtoull(ppArguments[++i], nullptr, 10);
        } else {
            Refuse(ppArguments[0]);
        }
    }
    return options;
}

void CTally::Try(std::uint64_t nTry, const std::string& strWhat, const std::function<void()>& act) {
    if (m_options.nOnly != 0 && m_options.nOnly != nTry) return;
    ++m_nTries;
    try {
        act();
    } catch (const std::exception& failure) {
        ++m_nFailures;
        std::cout << m_strProof << ", try " << nTry << " (" << strWhat << "): " << failure.what()
                  << "\n  again: scripts/proof " << m_strProof << (m_options.bLong ? " long" : " quick") << " --seed "
                  << m_options.nSeed << " --only " << nTry << std::endl;
    }
}

int CTally::Tell(const std::string& strTried) const {
    std::cout << strTried << ": " << m_nTries << " tries, " << m_nFailures << " failed (seed " << m_options.nSeed << ")"
              << std::endl;
    return m_nTries > 0 && m_nFailures == 0 ? 0 : 1;
}

int RunProof(const std::string& strProof, int nArguments, char** ppArguments, int (*pRun)(const Options&, CTally&)) {
    const Options options = ParseOptions(nArguments, ppArguments);
    CTally tally(strProof, options);
    try {
        return pRun(options, tally);
    } catch (const std::exception& failure) {
        std::cout << strProof << " can't begin: " << failure.what() << std::endl;
        return 1;
    }
}

}  // namespace qvant::proof
