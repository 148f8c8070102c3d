#include "platform/linux/LinuxNotificationCenter.h"

#include <future>

#include "support/Testing.h"

namespace trovix::platform {

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
  const std::jthread poster([&] { center.post({"a", std::nullopt}); });
  entered.get_future().wait();
  const std::jthread remover([&] {
    registration.reset();
    EXPECT_TRUE(finished);
  });
  leave.set_value();
}

TEST(LinuxNotificationCenterTest, SurvivesItsUsersInAnyOrder) {
  auto center = std::make_unique<LinuxNotificationCenter>();
  auto outliving = center->addObserver("a", [](const Notification&) {});
  std::vector<std::jthread> threads;
  std::atomic<int> calls = 0;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        const auto registration = center->addObserver("a", [&](const Notification&) { ++calls; });
        center->post({"a", std::nullopt});
      }
    });
  }
  threads.clear();
  EXPECT_GE(calls, 800);
  center.reset();
}

}  // namespace trovix::platform
