#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "base/EventLoop.h"
#include "base/ManualLoop.h"

namespace murvelo {
namespace {

using namespace std::chrono_literals;

TEST(ManualLoopTest, TimersFireInDueOrderAsTimeAdvances) {
  ManualLoop loop;
  std::vector<std::string> order;
  auto start = loop.now();
  loop.postAfter(300ms, [&] { order.push_back("300"); });
  loop.postAfter(100ms, [&] { order.push_back("100"); });
  loop.postAfter(100ms, [&] { order.push_back("100b"); });  // same time: posting order
  loop.post([&] { order.push_back("now"); });

  loop.advance(99ms);
  EXPECT_EQ(order, (std::vector<std::string>{"now"}));
  loop.advance(1ms);
  EXPECT_EQ(order, (std::vector<std::string>{"now", "100", "100b"}));
  loop.advance(1s);
  EXPECT_EQ(order.back(), "300");
  EXPECT_EQ(loop.now() - start, 1100ms);
}

TEST(ManualLoopTest, CancelledTimerNeverRuns) {
  ManualLoop loop;
  int runs = 0;
  auto id = loop.postAfter(10ms, [&] { ++runs; });
  auto other = loop.postAfter(20ms, [&] { ++runs; });
  loop.cancel(id);
  loop.cancel(id);      // twice is harmless
  loop.cancel(999999);  // unknown is harmless
  loop.advance(1s);
  EXPECT_EQ(runs, 1);
  loop.cancel(other);  // spent is harmless
  EXPECT_FALSE(loop.hasPendingTimers());
}

TEST(EventLoopTest, RunsPostsFromOtherThreadsAndTimersUntilQuit) {
  EventLoop loop;
  std::vector<int> order;
  loop.postAfter(20ms, [&] {
    order.push_back(2);
    loop.quit();
  });
  auto cancelled = loop.postAfter(5ms, [&] { order.push_back(99); });
  loop.cancel(cancelled);
  std::thread worker([&] { loop.post([&] { order.push_back(1); }); });
  loop.run();
  worker.join();
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

}  // namespace
}  // namespace murvelo
