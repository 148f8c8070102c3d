#include "platform/linux/LinuxNotificationCenter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

namespace trovix::platform {
namespace {

using ::testing::ElementsAre;

TEST(LinuxNotificationCenterTest, HandlersMayAddAndRemove) {
  LinuxNotificationCenter center;
  std::vector<std::string> calls;
  std::unique_ptr<NotificationCenter::Registration> first, second, third, added;
  first = center.addObserver("a", [&](const Notification& notification) {
    calls.push_back("first " + notification.name);
    first.reset();
    second.reset();
    added = center.addObserver("a", [&](const Notification&) { calls.push_back("added"); });
  });
  second = center.addObserver("a", [&](const Notification&) { calls.push_back("second"); });
  third = center.addObserver("a", [&](const Notification&) { calls.push_back("third"); });
  const auto other = center.addObserver("b", [&](const Notification&) { calls.push_back("other"); });
  center.post({"a", std::nullopt});
  center.post({"a", std::nullopt});
  EXPECT_THAT(calls, ElementsAre("first a", "third", "third", "added"));
}

TEST(LinuxNotificationCenterTest, RemovalWaitsForTheHandlerOnAnotherThread) {
  LinuxNotificationCenter center;
  std::promise<void> entered, leave;
  std::atomic<bool> finished = false;
  auto registration = center.addObserver("a", [&](const Notification&) {
    entered.set_value();
    leave.get_future().wait();
    finished = true;
  });
  std::thread poster([&] { center.post({"a", std::nullopt}); });
  entered.get_future().wait();
  std::thread remover([&] {
    registration.reset();
    EXPECT_TRUE(finished);
  });
  leave.set_value();
  remover.join();
  poster.join();
}

TEST(LinuxNotificationCenterTest, SurvivesItsUsersInAnyOrder) {
  auto center = std::make_unique<LinuxNotificationCenter>();
  auto outliving = center->addObserver("a", [](const Notification&) {});
  std::vector<std::thread> threads;
  std::atomic<int> calls = 0;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        const auto registration = center->addObserver("a", [&](const Notification&) { ++calls; });
        center->post({"a", std::nullopt});
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_GE(calls, 800);
  center.reset();
}

}  // namespace
}  // namespace trovix::platform
