#include "platform/linux/LinuxQueues.h"

#include <deque>
#include <future>

#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/QueueHub.h"
#include "support/Testing.h"

namespace trovix::platform {

using namespace std::chrono_literals;

const auto soon = [] { return std::chrono::steady_clock::now() + 10s; };

struct LinuxQueuesTest : testing::Test {
  bool serveUntil(const std::function<bool()>& done) { return queues.linuxMainQueue().serveUntil(done, soon(), 1ms); }

  LinuxQueues queues{MainQueueMode::hostLoop, nullptr};
};

TEST_F(LinuxQueuesTest, SerialQueueKeepsItsOrderAndOutlivesItsHandle) {
  std::vector<int> seen[4];
  std::atomic<int> inside{0};
  std::atomic<bool> overlapped{false};
  auto queue = queues.makeSerialQueue("test");
  EXPECT_FALSE(queue->isCurrent());
  std::vector<std::jthread> threads;
  for (auto& own : seen) {
    threads.emplace_back([&, queue] {
      for (int i = 0; i < 500; ++i) {
        queue->post([&, raw = queue.get(), i] {
          if (++inside != 1 || !raw->isCurrent()) overlapped = true;
          own.push_back(i);
          --inside;
        });
      }
    });
  }
  threads.clear();
  queue.reset();
  ASSERT_TRUE(serveUntil([&] { return queues.hub()->isIdle(); }));
  EXPECT_FALSE(overlapped);
  for (const auto& order : seen) {
    EXPECT_THAT(order, SizeIs(500));
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  }
}

TEST_F(LinuxQueuesTest, ATaskThatBlocksHoldsUpItsOwnQueueOnly) {
  std::promise<void> released;
  std::vector<int> seen;
  const auto blocked = queues.makeSerialQueue("blocked");
  const auto other = queues.makeSerialQueue("other");
  blocked->post([&] {
    released.get_future().wait();
    seen.push_back(2);
  });
  blocked->post([&] { seen.push_back(3); });
  other->postAfter(1ms, [&] {
    seen.push_back(1);
    released.set_value();
  });
  ASSERT_TRUE(serveUntil([&] { return queues.hub()->isIdle(); }));
  EXPECT_THAT(seen, ElementsAre(1, 2, 3));
}

TEST_F(LinuxQueuesTest, DelayedTasksRunInTheOrderOfTheirTimes) {
  std::vector<int> seen;
  const auto queue = queues.makeSerialQueue("test");
  queue->postAfter(40ms, [&] { seen.push_back(4); });
  queue->postAfter(20ms, [&] { seen.push_back(3); });
  queue->postAfter(-1s, [&] { seen.push_back(1); });
  queue->postAfter(0s, [&] { seen.push_back(2); });
  const auto withdrawn = [] { ADD_FAILURE() << "its timer is gone"; };
  queue->makeOneShotTimer(1h, withdrawn).reset();
  queue->post([&] { queue->makeOneShotTimer(0s, withdrawn).reset(); });
  EXPECT_FALSE(queues.hub()->isIdle());
  ASSERT_TRUE(serveUntil([&] { return queues.hub()->isIdle(); }));
  EXPECT_THAT(seen, ElementsAre(1, 2, 3, 4));
}

TEST_F(LinuxQueuesTest, DrainRunsDelayedTasksAtOnceAndWhatTheyLeave) {
  std::vector<int> seen;
  int rounds = 0;
  const auto queue = queues.makeSerialQueue("test");
  const auto last = queue->makeOneShotTimer(2h, [&] { seen.push_back(3); });
  queue->postAfter(1h, [&] {
    seen.push_back(1);
    // A hop over the main queue, as events take it, and one more delay.
    queues.mainQueue().post([&] { queue->postAfter(1h, [&] { seen.push_back(4); }); });
  });
  queue->postAfter(1h, [&] { seen.push_back(2); });
  std::function<void()> again = [&] {
    ++rounds;
    queue->postAfter(1h, again);
  };
  queue->postAfter(3h, again);
  queue->post([&] { queue->post([] { std::this_thread::sleep_for(1ms); }); });
  const auto timer = queues.makeRepeatingTimer(1h, [&] { seen.push_back(-1); });
  queues.drainUntil(soon());
  EXPECT_TRUE(queues.stopUntil(soon()));
  EXPECT_THAT(seen, ElementsAre(1, 2, 3, 4));
  EXPECT_LT(rounds, 10);
  queue->post([&] { seen.push_back(-2); });
  EXPECT_EQ(seen.size(), 4);
}

TEST_F(LinuxQueuesTest, DrainFromATaskOfTheQueueRunsWhatWaitsBehindIt) {
  for (const bool fromGlobal : {false, true}) {
    auto own = std::make_unique<LinuxQueues>(MainQueueMode::hostLoop, nullptr);
    const auto queue = own->makeSerialQueue("test");
    Queue& from = fromGlobal ? own->globalQueue() : *queue;
    std::atomic<int> ran{0};
    std::promise<int> atReturn;
    from.post([&] {
      from.post([&] { ++ran; });
      queue->postAfter(1h, [&] { ++ran; });
      own->drainUntil(soon());
      atReturn.set_value(ran);
    });
    EXPECT_EQ(atReturn.get_future().get(), 2) << "global " << fromGlobal;
    EXPECT_TRUE(own->stopUntil(soon()));
  }
}

TEST_F(LinuxQueuesTest, RepeatingTimerFiresOnTheMainQueueUntilItIsInvalidated) {
  int fired = 0;
  std::unique_ptr<Timer> timer;
  timer = queues.makeRepeatingTimer(1ms, [&] {
    EXPECT_TRUE(queues.mainQueue().isCurrent());
    if (++fired == 3) timer->invalidate();
  });
  auto dropped = queues.makeRepeatingTimer(1ms, [] { ADD_FAILURE() << "its handle is gone"; });
  dropped.reset();
  EXPECT_TRUE(timer->isValid());
  bool over = false;
  ASSERT_TRUE(serveUntil([&] { return fired == 3; }));
  EXPECT_FALSE(timer->isValid());
  queues.mainQueue().postAfter(10ms, [&] { over = true; });
  ASSERT_TRUE(serveUntil([&] { return over; }));
  EXPECT_EQ(fired, 3);
}

TEST_F(LinuxQueuesTest, TheMainQueueIsServedAsItsModeSays) {
  std::deque<std::function<void()>> posted;
  const std::tuple<MainQueueMode, std::function<void(std::function<void()>)>, bool,
                   std::function<void(LinuxQueues&, std::atomic<int>&)>>
      cases[] = {
          {MainQueueMode::hostLoop, nullptr, false,
           [](LinuxQueues& own, std::atomic<int>& count) {
             EXPECT_FALSE(own.linuxMainQueue().serveUntil([] { return false; }, std::chrono::steady_clock::now(), 1ms));
             own.mainQueue().post([&] { own.linuxMainQueue().stopLoop(); });
             own.linuxMainQueue().runLoop();
             EXPECT_EQ(count, 3);
             EXPECT_TRUE(own.isMainQueueServed());
           }},
          {MainQueueMode::executor, [&](std::function<void()> turn) { posted.push_back(std::move(turn)); }, true,
           [&](LinuxQueues&, std::atomic<int>&) {
             for (; !posted.empty(); posted.pop_front()) posted.front()();
           }},
          {MainQueueMode::executor, nullptr, false,
           [](LinuxQueues& own, std::atomic<int>&) { own.drainUntil(soon()); }},
          {MainQueueMode::ownThread, nullptr, true,
           [](LinuxQueues&, std::atomic<int>& count) { EXPECT_TRUE(eventually([&] { return count == 3; })); }}};
  for (const auto& [mode, executor, isServedAtOnce, serve] : cases) {
    std::atomic<int> count{0};
    LinuxQueues own(mode, executor);
    EXPECT_EQ(own.isMainQueueServed(), isServedAtOnce);
    for (int i = 0; i < 3; ++i) {
      own.mainQueue().post([&, i] { EXPECT_EQ(count++, i); });
    }
    serve(own, count);
    EXPECT_EQ(count, 3);
  }
}

}  // namespace trovix::platform
