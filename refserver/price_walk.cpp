#include "price_walk.h"

#include <cmath>

namespace qvant::refserver {

namespace {

/// Bits that have nothing to do with those of the neighbours (the finaliser of SplitMix64).
std::uint64_t Scatter(std::uint64_t nBits) {
    nBits += 0x9e3779b97f4a7c15U;
    nBits = (nBits ^ (nBits >> 30U)) * 0xbf58476d1ce4e5b9U;
    nBits = (nBits ^ (nBits >> 27U)) * 0x94d049bb133111ebU;
    return nBits ^ (nBits >> 31U);
}

/// -1 to 1 at one point of one wave.
double PointOf(std::uint64_t nSeed, int nWave, std::int64_t nPoint) {
    constexpr double Whole = 9007199254740992.0;  // 2 to the 53rd
    const auto nBits = Scatter(Scatter(nSeed + static_cast<std::uint64_t>(nWave)) + static_cast<std::uint64_t>(nPoint));
    return static_cast<double>(nBits >> 11U) / Whole * 2 - 1;
}

}  // namespace

// FNV-1a.
std::uint64_t Hash(std::string_view text) {
    std::uint64_t nHash = 0xcbf29ce484222325U;
    for (const char c : text) nHash = (nHash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    return nHash;
}

double WanderedBy(std::uint64_t nSeed, Day day) {
    // Waves of a day, two, four and so on up to three years, each as much higher as a random walk gets in that time.
    constexpr int Waves = 11;
    constexpr double DaysOfYear = 365;
    const std::int64_t nDay = day.time_since_epoch().count();
    double dSum = 0;
    for (int nWave = 0; nWave < Waves; ++nWave) {
        const std::int64_t nLength = std::int64_t{1} << nWave;
        const std::int64_t nPoint = nDay >= 0 ? nDay / nLength : (nDay - nLength + 1) / nLength;
        const double dShare = static_cast<double>(nDay - nPoint * nLength) / static_cast<double>(nLength);
        const double dHeight =
            PointOf(nSeed, nWave, nPoint) * (1 - dShare) + PointOf(nSeed, nWave, nPoint + 1) * dShare;
        dSum += dHeight * std::sqrt(static_cast<double>(nLength) / DaysOfYear / 2);
    }
    return dSum;
}

}  // namespace qvant::refserver
