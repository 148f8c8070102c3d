#include "quorrel/SPEventNotifierManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace quorrel {
namespace {

std::shared_ptr<QuorrelObserver> countingObserver(int& calls) {
  auto observer = std::make_shared<QuorrelObserver>();
  observer->quorrelReferralsAttributionChanged = [&calls](const auto&) { ++calls; };
  return observer;
}

const QRReferralsAttributionChangedInfo notice{SourceType::trovix, "{}"};

TEST(QuorrelNotifier, TellsEachLivingObserverOnceAndPassesOverThoseWithoutTheOperation) {
  QuorrelNotifier notifier;
  int first = 0, second = 0, gone = 0;
  const auto observer = countingObserver(first);
  const auto other = countingObserver(second);
  const auto mute = std::make_shared<QuorrelObserver>();
  notifier.addObserver(observer);
  notifier.addObserver(observer);
  notifier.addObserver(mute);
  notifier.addObserver(other);
  notifier.addObserver(countingObserver(gone));

  notifier.postEventReferralsAttributionChanged(notice);
  notifier.removeObserver(observer);
  notifier.postEventReferralsAttributionChanged(notice);

  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 2);
  EXPECT_EQ(gone, 0);
}

TEST(QuorrelNotifier, MayBeChangedFromACallback) {
  QuorrelNotifier notifier;
  int late = 0, victim = 0;
  const auto added = countingObserver(late);
  const auto removed = countingObserver(victim);
  const auto changing = std::make_shared<QuorrelObserver>();
  changing->quorrelReferralsAttributionChanged = [&](const auto&) {
    notifier.removeObserver(changing);
    notifier.removeObserver(removed);
    notifier.addObserver(added);
  };
  notifier.addObserver(changing);
  notifier.addObserver(removed);

  notifier.postEventReferralsAttributionChanged(notice);
  EXPECT_EQ(victim, 0) << "an observer removed during the delivery is not called any more";
  EXPECT_EQ(late, 0) << "an observer added during the delivery hears of the next one";
  notifier.postEventReferralsAttributionChanged(notice);
  EXPECT_EQ(late, 1);
}

TEST(QuorrelNotifier, RemovingWaitsForARunningCallback) {
  for (const bool callbackRemovesItself : {false, true}) {
    QuorrelNotifier notifier;
    std::atomic<bool> entered = false, leave = false, finished = false, removed = false;
    auto observer = std::make_shared<QuorrelObserver>();
    observer->quorrelReferralsAttributionChanged = [&](const auto&) {
      if (callbackRemovesItself) notifier.removeObserver(observer);
      entered = true;
      while (!leave) std::this_thread::yield();
      finished = true;
    };
    notifier.addObserver(observer);
    std::thread poster([&] { notifier.postEventReferralsAttributionChanged(notice); });
    while (!entered) std::this_thread::yield();
    std::thread remover([&] {
      notifier.removeObserver(observer);
      EXPECT_TRUE(finished) << callbackRemovesItself;
      removed = true;
    });
    for (int i = 0; i < 1000 && !removed; ++i) std::this_thread::yield();
    leave = true;
    remover.join();
    poster.join();
  }
}

TEST(QuorrelNotifier, CallbacksThatRunAtOnceMayAllRemoveTheirObserver) {
  QuorrelNotifier notifier;
  std::atomic<int> inside = 0;
  auto observer = std::make_shared<QuorrelObserver>();
  observer->quorrelReferralsAttributionChanged = [&](const auto&) {
    for (++inside; inside < 2;) std::this_thread::yield();
    notifier.removeObserver(observer);
  };
  notifier.addObserver(observer);
  const auto post = [&] { notifier.postEventReferralsAttributionChanged(notice); };
  std::thread other(post);
  post();
  other.join();
  post();
  EXPECT_EQ(inside, 2);
}

}  // namespace
}  // namespace quorrel
