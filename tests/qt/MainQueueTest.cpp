// The main queue on Qt's event loop: posted work runs later, in order, on the loop's thread;
// work run synchronously from another thread has run on the main thread when the call returns.

#include <atomic>
#include <thread>

#include "EngineFixture.hpp"
#include "Platform/Qt/QtMainQueue.hpp"

namespace tandri::qt {
namespace {

using namespace testing;

TEST(QtMainQueue, PostsRunInOrderLaterAndOtherThreadsWaitForTheirWork) {
    QtMainQueue queue;
    EXPECT_TRUE(queue.isMainThread());
    std::vector<int> ran;
    queue.post([&] { ran.push_back(1); });
    queue.post([&] { ran.push_back(2); });
    queue.runSync([&] { ran.push_back(0); });  // on the main thread: at once
    EXPECT_EQ(ran, std::vector<int>{0});
    ASSERT_TRUE(spinUntil([&] { return ran.size() == 3; }));
    EXPECT_EQ(ran, (std::vector<int>{0, 1, 2}));

    std::atomic<bool> onMain{false};
    std::atomic<bool> returned{false};
    std::atomic<bool> ranBeforeReturn{false};
    std::thread other([&] {
        EXPECT_FALSE(queue.isMainThread());
        queue.runSync([&] { onMain = queue.isMainThread(); });
        ranBeforeReturn = onMain.load();
        returned = true;
    });
    ASSERT_TRUE(spinUntil([&] { return returned.load(); }));
    other.join();
    EXPECT_TRUE(onMain.load());
    EXPECT_TRUE(ranBeforeReturn.load());
}

}  // namespace
}  // namespace tandri::qt
