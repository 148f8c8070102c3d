#include "trovix/platform/LinuxPlatform.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "linux/LoopbackServer.h"
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
  LinuxPlatformTest() {
    std::string name = testing::TempDir() + "platform-XXXXXX";
    directory = ::mkdtemp(name.data());
  }
  ~LinuxPlatformTest() override { std::filesystem::remove_all(directory); }

  LinuxPlatformOptions options() {
    LinuxPlatformOptions made;
    made.dataDirectory = directory;
    return made;
  }

  std::string directory;
};

TEST_F(LinuxPlatformTest, IsBusyWhileTasksWaitAndRequestsAreOut) {
  test::LoopbackServer server([](const std::string&) { return test::answer("200 OK"); });
  LinuxPlatform platform(options());
  EXPECT_TRUE(platform.isIdle());
  bool answered = false;
  const auto queue = platform.services().queues.makeSerialQueue("test");
  queue->postAfter(5ms, [&] {
    EXPECT_TRUE(platform.isIdle()) << "but for itself";
    URLRequest request;
    request.url = server.url("/");
    platform.services().urlSessions.shared().startTask(
        request, [&](URLResult) { platform.services().queues.mainQueue().post([&] { answered = true; }); });
    EXPECT_FALSE(platform.isIdle());
  });
  EXPECT_TRUE(platform.runMainLoopUntil([&] { return platform.isIdle(); }, 10s));
  EXPECT_TRUE(answered);
}

TEST_F(LinuxPlatformTest, ShutDownRunsDelayedTasksAndAbandonsTheWire) {
  std::atomic<int> asked{0};
  test::LoopbackServer server([&](const std::string&) {
    ++asked;
    return test::Reply{};
  });
  int ran = 0;
  bool completed = false;
  {
    LinuxPlatform platform(options());
    URLRequest request;
    request.url = server.url("/");
    const auto load = [&] {
      platform.services().urlSessions.shared().startTask(request, [&](URLResult) { completed = true; });
    };
    load();
    while (asked == 0) std::this_thread::yield();
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

TEST_F(LinuxPlatformTest, ATaskThatHangsDelaysTheEndNoLongerThanTheLimit) {
  std::atomic<bool> entered{false};
  std::atomic<bool> release{false};
  std::atomic<bool> released{false};
  {
    LinuxPlatform platform(options());
    platform.services().queues.makeSerialQueue("test")->post([&] {
      entered = true;
      while (!release) std::this_thread::sleep_for(1ms);
      released = true;
    });
    while (!entered) std::this_thread::yield();
    platform.shutDown(1ms);
    EXPECT_FALSE(released);
  }
  release = true;
  while (!released) std::this_thread::yield();
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
  const Way ways[] = {
      [](LinuxPlatform&, SerialQueue&) { std::exit(7); },
      [](LinuxPlatform&, SerialQueue&) { std::thread([] { std::exit(7); }).join(); },
      [](LinuxPlatform& platform, SerialQueue&) {
        platform.services().queues.mainQueue().post([] { std::exit(7); });
        platform.runMainLoop();
      },
      [](LinuxPlatform&, SerialQueue& queue) {
        queue.post([] { std::exit(7); });
        std::this_thread::sleep_for(1h);
      },
      [](LinuxPlatform& platform, SerialQueue&) {
        platform.services().queues.globalQueue().post([] { std::exit(7); });
        std::this_thread::sleep_for(1h);
      },
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
        },
        testing::ExitedWithCode(7), "event cached");
  }
}

}  // namespace
}  // namespace trovix::platform
