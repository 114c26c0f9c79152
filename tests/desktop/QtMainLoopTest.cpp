#include <gtest/gtest.h>

#include <QThread>
#include <atomic>
#include <thread>

#include "desktop/QtMainLoop.h"
#include "desktop/QtTestSupport.h"

namespace murvelo::desktop {
namespace {

using namespace std::chrono_literals;

using test::spinUntil;

TEST(QtMainLoop, JobsFromAnyThreadRunOnTheLoopThread) {
  QtMainLoop loop;
  std::atomic<int> ran{0};
  std::atomic<int> offThread{0};
  std::vector<std::thread> workers;
  for (int t = 0; t < 4; ++t)
    workers.emplace_back([&] {
      for (int i = 0; i < 100; ++i)
        loop.post([&] {
          if (QThread::currentThread() != loop.thread()) ++offThread;
          ++ran;
        });
    });
  for (auto& worker : workers) worker.join();
  EXPECT_TRUE(spinUntil([&] { return ran == 400; }));
  EXPECT_EQ(offThread, 0);
}

TEST(QtMainLoop, DelayedJobsRunInDeadlineOrderAndCancelledOnesNever) {
  QtMainLoop loop;
  std::vector<int> order;
  const auto start = loop.now();
  loop.postAfter(60ms, [&] { order.push_back(60); });
  auto cancelledHere = loop.postAfter(20ms, [&] { order.push_back(-1); });
  loop.postAfter(10ms, [&] { order.push_back(loop.now() - start >= 10ms ? 10 : 0); });  // 0: too early
  loop.postAfter(40ms, [&] { order.push_back(40); });
  // Cancelled from another thread, possibly before the loop has armed its timer.
  std::thread([&] {
    auto id = loop.postAfter(30ms, [&] { order.push_back(-2); });
    loop.cancel(id);
  }).join();
  loop.cancel(cancelledHere);
  loop.cancel(987654);  // unknown ids are ignored
  EXPECT_TRUE(spinUntil([&] { return order.size() == 3; }));
  spinUntil([] { return false; }, 100);
  EXPECT_EQ(order, (std::vector<int>{10, 40, 60}));
  EXPECT_EQ(loop.pendingTimers(), 0u);
}

}  // namespace
}  // namespace murvelo::desktop
