#include "platform/two_threads.h"

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/event.h"
#include "platform/stop.h"

namespace qvant::platform {
namespace {

TEST(ShareWork, DoesEachNumberOnce) {
    for (const std::size_t nCount : {0U, 1U, 2U, 10'000U}) {
        std::vector<std::atomic<int>> arDone(nCount);
        ShareWork(nCount, [&](std::size_t i) { ++arDone[i]; });
        for (const auto& nDone : arDone) ASSERT_EQ(nDone, 1);
    }
}

TEST(ShareWork, RunsOnTwoThreadsAtOnce) {
    CEvent arMet[2] = {{CEvent::Reset::Manual, false}, {CEvent::Reset::Manual, false}};
    std::thread::id arIds[2];
    ShareWork(2, [&](std::size_t i) {
        arIds[i] = std::this_thread::get_id();
        arMet[i].Set();
        arMet[1 - i].Wait();
    });
    EXPECT_NE(arIds[0], arIds[1]);
}

TEST(ShareWork, CarriesTheStopSignalOfTheCallerToBothThreads) {
    std::stop_source stop;
    const CStopScope scope(stop.get_token());
    stop.request_stop();
    std::atomic<int> nStopped{0};
    CEvent arMet[2] = {{CEvent::Reset::Manual, false}, {CEvent::Reset::Manual, false}};
    ShareWork(2, [&](std::size_t i) {
        arMet[i].Set();
        while (!arMet[1 - i].IsSet()) std::this_thread::yield();
        nStopped += StopRequested() ? 1 : 0;
    });
    EXPECT_EQ(nStopped, 2);
}

TEST(ShareWork, ThrowsTheFailureOfTheLowestNumberAndBeginsNothingMore) {
    std::atomic<std::size_t> nBegun{0};
    const auto work = [&](std::size_t i) {
        ++nBegun;
        if (i >= 10) throw std::runtime_error(std::to_string(i));
    };
    try {
        ShareWork(1'000'000, work);
        FAIL();
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "10");
    }
    EXPECT_LE(nBegun, 13U);
}

/// Hands the numbers below `nCount` over, one in each piece.
void HandOver(CFollower& follower, std::vector<std::size_t>& arPlaces, std::size_t nCount) {
    for (std::size_t i = 0; i < nCount; ++i) {
        arPlaces[follower.GetPlace()] = i;
        follower.HandOver();
    }
}

TEST(CFollower, FollowsEveryPieceInItsOrder) {
    for (const std::size_t nCount : {std::size_t{0}, CFollower::FOLLOWED_AT_ONCE, std::size_t{10'000}}) {
        std::vector<std::size_t> arPlaces(3);
        std::vector<std::size_t> arFollowed;
        CFollower follower("follower", arPlaces.size(),
                           [&](std::size_t nPlace) { arFollowed.push_back(arPlaces[nPlace]); });
        HandOver(follower, arPlaces, nCount);
        follower.Finish();
        ASSERT_EQ(arFollowed.size(), nCount);
        for (std::size_t i = 0; i < nCount; ++i) ASSERT_EQ(arFollowed[i], i);
        EXPECT_EQ(follower.IsShared(), nCount > CFollower::FOLLOWED_AT_ONCE);
    }
}

TEST(CFollower, TakesAThreadOnlyForMoreThanAFewPieces) {
    std::vector<std::size_t> arPlaces(2);
    std::vector<std::thread::id> arIds;
    CFollower follower("follower", arPlaces.size(), [&](std::size_t) { arIds.push_back(std::this_thread::get_id()); });
    HandOver(follower, arPlaces, CFollower::FOLLOWED_AT_ONCE + 1);
    follower.Finish();
    EXPECT_EQ(arIds.at(CFollower::FOLLOWED_AT_ONCE - 1), std::this_thread::get_id());
    EXPECT_NE(arIds.at(CFollower::FOLLOWED_AT_ONCE), std::this_thread::get_id());
}

TEST(CFollower, CarriesTheStopSignalOfTheCaller) {
    std::stop_source stop;
    const CStopScope scope(stop.get_token());
    stop.request_stop();
    std::vector<std::size_t> arPlaces(2);
    std::size_t nStopped = 0;
    CFollower follower("follower", arPlaces.size(), [&](std::size_t) { nStopped += StopRequested() ? 1 : 0; });
    HandOver(follower, arPlaces, 100);
    follower.Finish();
    EXPECT_EQ(nStopped, 100U);
}

TEST(CFollower, ThrowsWhatAPieceThrewAndFollowsNoneBehindIt) {
    for (const std::size_t nBad : {std::size_t{2}, std::size_t{50}}) {
        std::vector<std::size_t> arPlaces(2);
        std::size_t nFollowed = 0;
        CFollower follower("follower", arPlaces.size(), [&](std::size_t nPlace) {
            if (arPlaces[nPlace] == nBad) throw std::runtime_error("bad");
            ++nFollowed;
        });
        EXPECT_THROW(HandOver(follower, arPlaces, 100), std::runtime_error);
        EXPECT_THROW(follower.Finish(), std::runtime_error);
        EXPECT_EQ(nFollowed, nBad);
    }
}

TEST(CFollower, DropsWhatNobodyWaitsFor) {
    CEvent begun(CEvent::Reset::Manual, false);
    CEvent released(CEvent::Reset::Manual, false);
    std::atomic<std::size_t> nFollowed{0};
    {
        std::vector<std::size_t> arPlaces(4);
        CFollower follower("follower", arPlaces.size(), [&](std::size_t nPlace) {
            if (++nFollowed <= CFollower::FOLLOWED_AT_ONCE) return;
            begun.Set();
            if (arPlaces[nPlace] == CFollower::FOLLOWED_AT_ONCE) released.Wait();
        });
        HandOver(follower, arPlaces, CFollower::FOLLOWED_AT_ONCE + 3);
        begun.Wait();
        const std::jthread releaser([&] { released.Set(); });
    }
    EXPECT_GE(nFollowed, CFollower::FOLLOWED_AT_ONCE + 1);
}

}  // namespace
}  // namespace qvant::platform
