#include "trovix/platform/LinuxPlatform.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <future>

#include "linux/LoopbackServer.h"
#include "linux/TemporaryDirectory.h"
#include "platform/linux/LinuxConsole.h"
#include "platform/linux/LinuxSystemLog.h"
#include "trovix/platform/Queues.h"
#include "trovix/platform/URLSession.h"

namespace trovix::platform {
namespace {

using namespace std::chrono_literals;

// The child of a fork leaves through exit(), so that the library's own handlers run; this one, the first that was
// registered and so the last that runs, keeps a leak checker from counting what only the parent's threads still hold.
int childStatus = -1;
const int endsChildren = std::atexit([] {
  if (childStatus >= 0) ::_exit(childStatus);
});

struct LinuxPlatformTest : testing::Test {
  LinuxPlatformOptions options() const { return {.dataDirectory = directory.path()}; }

  TemporaryDirectory directory;
};

TEST(BrokenPipeGuardTest, ReadersThatAreGoneSendTheHostNoSignal) {
  static volatile std::sig_atomic_t signals = 0;
  const auto writeToNobody = [] {
    std::signal(SIGPIPE, [](int) { signals = 1; });
    int ends[2];
    if (::pipe(ends) != 0) ::_exit(2);
    ::close(ends[0]);
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) ::dup2(ends[1], stream);
    LinuxConsole().print("text");
    LinuxSystemLog().write("text");
    if (signals != 0) ::_exit(1);
    ::raise(SIGPIPE);
    ::_exit(signals == 1 ? 0 : 3);
  };
  EXPECT_EXIT(writeToNobody(), testing::ExitedWithCode(0), "");
}

TEST_F(LinuxPlatformTest, IsBusyWhileTasksWaitAndRequestsAreOut) {
  test::LoopbackServer server([](const test::Request&) { return test::Reply(); });
  LinuxPlatform platform(options());
  EXPECT_TRUE(platform.isIdle());
  bool answered = false;
  const auto queue = platform.services().queues.makeSerialQueue("test");
  queue->postAfter(5ms, [&] {
    EXPECT_TRUE(platform.isIdle()) << "but for itself";
    platform.services().urlSessions.shared().startTask({.url = server.url("/")}, [&](URLResult) {
      platform.services().queues.mainQueue().post([&] { answered = true; });
    });
    EXPECT_FALSE(platform.isIdle());
  });
  EXPECT_TRUE(platform.runMainLoopUntil([&] { return platform.isIdle(); }, 10s));
  EXPECT_TRUE(answered);
}

TEST_F(LinuxPlatformTest, ShutDownRunsDelayedTasksAndAbandonsTheWire) {
  std::atomic<int> asked{0};
  test::LoopbackServer server([&](const test::Request&) {
    ++asked;
    return test::Reply{.delay = 1h};
  });
  int ran = 0;
  bool completed = false;
  {
    LinuxPlatform platform(options());
    const auto load = [&] {
      platform.services().urlSessions.shared().startTask({.url = server.url("/")},
                                                         [&](URLResult) { completed = true; });
    };
    load();
    EXPECT_TRUE(eventually([&] { return asked > 0; }));
    platform.services().queues.makeSerialQueue("test")->postAfter(1h, [&] {
      ++ran;
      load();
    });
    platform.shutDown(1min);
    EXPECT_TRUE(platform.isIdle());
    platform.shutDown();
  }
  EXPECT_EQ(ran, 1);
  EXPECT_EQ(asked, 1);
  EXPECT_FALSE(completed);
}

TEST_F(LinuxPlatformTest, WhatWaitsWhenItShutsDownIsReleased) {
  test::LoopbackServer server([](const test::Request& request) {
    if (request.target == "/moved") return test::Reply{.status = 302, .headers = {{"Location", "/"}}};
    return test::Reply{.delay = request.target == "/silent" ? 1h : 0h};
  });
  enum Stage { queued, delayed, begun, out, answered, redirected, global, main, stageCount };
  for (int stage = queued; stage < stageCount; ++stage) {
    SCOPED_TRACE(stage);
    std::weak_ptr<SerialQueue> released;
    {
      LinuxPlatform platform(options());
      auto& queues = platform.services().queues;
      std::atomic<int> hanging{0};
      const Task hang = [&] {
        ++hanging;
        EXPECT_TRUE(eventually([&] { return platform.isIdle(); })) << "as it is once it has stopped";
        --hanging;
      };
      const auto session = platform.services().urlSessions.makeSession([&](auto, auto&, auto&, URLRequest next) {
        hang();
        return next;
      });
      const auto load = [&](const char* path, Task task) {
        session->startTask({.url = server.url(path)}, [task = std::move(task)](URLResult) { task(); });
      };
      auto queue = queues.makeSerialQueue("test");
      released = queue;
      queue->post([&, queue] {
        // As what an SDK leaves waiting does, it holds a queue.
        const Task waiting = [queue] {};
        if (stage == delayed) queue->postAfter(1h, waiting);
        if (stage == main) queues.mainQueue().post(waiting);
        if (stage == redirected) return load("/moved", waiting);
        if (stage == answered) return load("/", [&, waiting] { load("/", waiting), hang(); });
        if (stage == begun || stage == out) load(stage == out ? "/silent" : "/", waiting);
        for (int i = 0; stage == global && i < 3; ++i) queues.globalQueue().post(i < 2 ? hang : waiting);
        queue->post(stage == out ? hang : waiting);
        if (stage != out) hang();
      });
      queue.reset();
      EXPECT_TRUE(eventually([&] { return hanging > 0; }));
      platform.shutDown(0s);
      EXPECT_TRUE(eventually([&] { return hanging == 0; }));
    }
    EXPECT_TRUE(eventually([&] { return released.expired(); }));
  }
}

TEST_F(LinuxPlatformTest, ATaskThatHangsDelaysTheEndNoLongerThanTheLimit) {
  std::promise<void> entered, release;
  std::atomic<bool> released{false};
  {
    LinuxPlatform platform(options());
    platform.services().queues.makeSerialQueue("test")->post([&] {
      entered.set_value();
      release.get_future().wait();
      released = true;
    });
    EXPECT_EQ(entered.get_future().wait_for(20s), std::future_status::ready);
    platform.shutDown(1ms);
    EXPECT_FALSE(released);
  }
  release.set_value();
  EXPECT_TRUE(eventually([&] { return released.load(); }));
}

TEST_F(LinuxPlatformTest, TheChildOfAForkIsInert) {
  auto platform = std::make_unique<LinuxPlatform>(options());
  auto& services = platform->services();
  auto queue = services.queues.makeSerialQueue("test");
  auto timer = services.queues.makeRepeatingTimer(1h, [] {});
  std::atomic<bool> stop{false};
  // Keeps the locks busy, so that some are held at the moment of the fork.
  std::thread busy([&] {
    while (!stop) {
      queue->post([] {});
      queue->postAfter(1us, [] {});
    }
  });
  for (int i = 0; i < 8; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(10);
      queue->post([] {});
      queue->postAfter(1ms, [] {});
      services.queues.globalQueue().post([] {});
      services.queues.mainQueue().post([] {});
      services.urlSessions.shared().startTask({}, [](URLResult) {});
      timer.reset();
      platform->runMainLoop();
      const bool isIdle = platform->isIdle();
      platform->shutDown();
      queue.reset();
      platform.reset();
      childStatus = isIdle && endsChildren == 0 ? 0 : 1;
      std::exit(childStatus);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  }
  stop = true;
  busy.join();
}

using LinuxPlatformDeathTest = LinuxPlatformTest;

TEST_F(LinuxPlatformDeathTest, DelayedTasksRunHoweverTheProcessEnds) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  using Way = void (*)(LinuxPlatform&, SerialQueue&);
  static constexpr auto leave = [] { std::exit(7); };
  const Way ways[] = {
      [](LinuxPlatform&, SerialQueue&) { leave(); },
      [](LinuxPlatform&, SerialQueue&) { std::thread(leave).join(); },
      [](LinuxPlatform& platform, SerialQueue&) {
        platform.services().queues.mainQueue().post(leave);
        platform.runMainLoop();
      },
      [](LinuxPlatform&, SerialQueue& queue) { queue.post(leave); },
      [](LinuxPlatform& platform, SerialQueue&) { platform.services().queues.globalQueue().post(leave); },
  };
  for (const Way way : ways) {
    EXPECT_EXIT(
        {
          auto* platform = new LinuxPlatform(options());
          auto* queue = new std::shared_ptr<SerialQueue>(platform->services().queues.makeSerialQueue("test"));
          auto& main = platform->services().queues.mainQueue();
          (*queue)->postAfter(1h, [&main, queue] {
            main.post([queue] { (*queue)->post([] { std::fputs("event cached\n", stderr); }); });
          });
          way(*platform, **queue);
          std::this_thread::sleep_for(1h);
        },
        testing::ExitedWithCode(7), "event cached");
  }
}

}  // namespace
}  // namespace trovix::platform
