#include "platform/message_queue.h"

#include <cerrno>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/stop.h"
#include "platform/thread.h"

namespace qvant::platform {
namespace {

Message MakeMessage(std::uint32_t nNumber) { return {nNumber, nullptr}; }
Message MakeMessage(std::uint32_t nNumber, TextView strText) { return {nNumber, std::make_unique<Text>(strText)}; }

TEST(CMessageQueue, GivesMessagesInTheOrderOfTheirPosts) {
    CMessageQueue queue;
    queue.Open();
    EXPECT_TRUE(queue.Post(MakeMessage(2261, u"first")));
    EXPECT_TRUE(queue.Post(MakeMessage(2262)));
    EXPECT_TRUE(queue.Post(MakeMessage(2261, u"")));
    auto message = queue.Receive();
    ASSERT_TRUE(message && message->pText);
    EXPECT_EQ(message->nNumber, 2261u);
    EXPECT_EQ(*message->pText, u"first");
    message = queue.Receive();
    ASSERT_TRUE(message);
    EXPECT_EQ(message->nNumber, 2262u);
    EXPECT_FALSE(message->pText);
    message = queue.Receive();
    ASSERT_TRUE(message && message->pText);
    EXPECT_EQ(*message->pText, u"") << "an empty text is a text";
}

TEST(CMessageQueue, RefusesAPostBeforeItIsOpenAndLeavesTheMessageToItsOwner) {
    CMessageQueue queue;
    Message message = MakeMessage(2261, u"QV.S.SSE.600000");
    errno = 0;
    EXPECT_FALSE(queue.Post(std::move(message)));
    EXPECT_EQ(errno, ESRCH);
    // NOLINTNEXTLINE(bugprone-use-after-move): that is what a refused post promises
    ASSERT_TRUE(message.pText);
    EXPECT_EQ(*message.pText, u"QV.S.SSE.600000");
    queue.Open();
    EXPECT_TRUE(queue.Post(std::move(message)));
    EXPECT_EQ(*queue.Receive()->pText, u"QV.S.SSE.600000");
}

TEST(CMessageQueue, RefusesPostsFromItsCloseOnAndDropsWhatWaited) {
    CMessageQueue queue;
    queue.Open();
    EXPECT_TRUE(queue.Post(MakeMessage(1)));
    queue.Close();
    errno = 0;
    EXPECT_FALSE(queue.Post(MakeMessage(2)));
    EXPECT_EQ(errno, ESRCH);
    queue.Open();
    EXPECT_TRUE(queue.Post(MakeMessage(3)));
    EXPECT_EQ(queue.Receive()->nNumber, 3u);
}

TEST(CMessageQueue, RefusesWhatIsMoreThanTenThousandUntilThereIsRoom) {
    CMessageQueue queue;
    queue.Open();
    for (std::uint32_t i = 0; i < 10'000; ++i) ASSERT_TRUE(queue.Post(MakeMessage(i)));
    errno = 0;
    EXPECT_FALSE(queue.Post(MakeMessage(10'000)));
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(queue.Receive()->nNumber, 0u);
    EXPECT_TRUE(queue.Post(MakeMessage(10'000)));
    for (std::uint32_t i = 1; i <= 10'000; ++i) ASSERT_EQ(queue.Receive()->nNumber, i);
}

TEST(CMessageQueue, EndsAWaitOnAStop) {
    CMessageQueue queue;
    CEvent receiving(CEvent::Reset::Manual, false);
    bool bNothing = false;
    CThread thread;
    ASSERT_TRUE(thread.Start("receiver", [&] {
        queue.Open();
        receiving.Set();
        bNothing = !queue.Receive();
    }));
    receiving.Wait();
    thread.StopAndJoin();
    EXPECT_TRUE(bNothing);
}

TEST(CMessageQueue, GivesNothingMoreToAThreadThatWasToldToStop) {
    CMessageQueue queue;
    queue.Open();
    EXPECT_TRUE(queue.Post(MakeMessage(1)));
    std::stop_source stop;
    stop.request_stop();
    const CStopScope scope(stop.get_token());
    EXPECT_FALSE(queue.Receive());
}

TEST(CMessageQueue, LosesNoneOfAThousandPostsFromSeveralThreads) {
    constexpr int THREADS = 4;
    constexpr int POSTS = 250;
    CMessageQueue queue;
    std::map<std::uint32_t, std::vector<Text>> mapReceived;
    CThread receiver;
    ASSERT_TRUE(receiver.Start("receiver", [&] {
        queue.Open();
        for (int i = 0; i < THREADS * POSTS; ++i) {
            auto message = queue.Receive();
            if (!message) return;
            mapReceived[message->nNumber].push_back(std::move(*message->pText));
        }
    }));
    std::vector<std::thread> arPosters;
    for (std::uint32_t nPoster = 0; nPoster < THREADS; ++nPoster) {
        arPosters.emplace_back([&queue, nPoster] {
            for (int i = 0; i < POSTS; ++i) {
                // The receiver may not have opened it yet.
                while (!queue.Post(MakeMessage(nPoster, Widen(std::to_string(i))))) std::this_thread::yield();
            }
        });
    }
    for (std::thread& poster : arPosters) poster.join();
    ASSERT_EQ(receiver.WaitFor(std::chrono::seconds(20)), WaitResult::Signalled);
    for (std::uint32_t nPoster = 0; nPoster < THREADS; ++nPoster) {
        ASSERT_EQ(mapReceived[nPoster].size(), static_cast<std::size_t>(POSTS));
        for (int i = 0; i < POSTS; ++i) {
            EXPECT_EQ(mapReceived[nPoster][static_cast<std::size_t>(i)], Widen(std::to_string(i)));
        }
    }
}

TEST(CMessageQueue, TakesTextsOfAnyLength) {
    CMessageQueue queue;
    queue.Open();
    const Text strLong(1'000'000, u'x');
    EXPECT_TRUE(queue.Post(MakeMessage(1, strLong)));
    EXPECT_EQ(*queue.Receive()->pText, strLong);
}

}  // namespace
}  // namespace qvant::platform
