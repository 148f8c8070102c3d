#include "network/TXSDKBuffer.h"

#include "network/TXSDKEvent.h"
#include "support/LogCapture.h"

namespace trovix::test {
namespace {

using Element = TXSDKBuffer::Element;
using Names = std::vector<std::string>;

std::string nameOf(const Element& element) { return element->operationId(); }

Names namesOf(const std::vector<Element>& elements) {
  Names names;
  for (const Element& element : elements) names.push_back(nameOf(element));
  return names;
}

/// Rolls back a batch that ends with status 2, commits any other.
struct Delegate final : TXSDKBufferProtocol, TXSDKDebugBufferProtocol {
  void didFlushWithStatusCodes(const std::vector<std::int64_t>& statusCodes, std::function<void()> commit,
                               std::function<void()> rollback) override {
    codes.push_back(statusCodes.back());
    (statusCodes.back() == operationStatus::keptForRetry ? rollback : commit)();
    commit();  // A second verdict counts for nothing.
  }
  void willReorderBuffer(TXSDKBuffer& buffer, std::deque<Element>& elements) override {
    if (reorder) reorder(elements);
    EXPECT_TRUE(buffer.isFull());
  }
  void didRemoveElement(const Element& element, TXSDKBuffer&) override { removed.push_back(nameOf(element)); }
  void didLockElement(Element& element) override { element->userObject()->parameters->set("counter", "1"); }

  void didAddElement(const Element& element) override { seen.push_back("+" + nameOf(element)); }
  void didRemoveElement(const Element& element) override { seen.push_back("-" + nameOf(element)); }
  void didLockElement(const Element& element) override { seen.push_back("!" + nameOf(element)); }

  std::function<void(std::deque<Element>&)> reorder;
  std::vector<std::int64_t> codes;
  Names removed;
  Names seen;
};

struct TXSDKBufferTest : testing::Test {
  SimulatedDevice device;
  std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
  std::vector<Element> running;  // what was started and waits for the test to finish it

  std::shared_ptr<TXSDKBuffer> make(std::int64_t size) {
    auto buffer = TXSDKBuffer::bufferWithSize(size, device.queues);
    buffer->setDelegate(delegate);
    buffer->setDebugDelegate(delegate);
    return buffer;
  }
  Element operation(const std::string& name) {
    return TXSDKOperation::Id(
        name, std::make_shared<TXSDKEvent>(Dictionary{}, "https://x", "6.2.2", 32),
        [this](const Element& self) { running.push_back(self); }, device.clock);
  }
  void add(TXSDKBuffer& buffer, const Names& names) {
    for (const std::string& name : names) buffer.addElement(operation(name));
    device.runUntilIdle();
  }
  void finish(std::int64_t status) {
    const Element last = running.back();
    running.pop_back();
    last->finishWithStatusCode(status);
    device.runUntilIdle();
  }
};

TEST_F(TXSDKBufferTest, EvictsTheOldestWhenFull) {
  const auto buffer = make(2);
  buffer->setAutoFlush(false);
  add(*buffer, {"a", "b", "c"});
  EXPECT_THAT(namesOf(buffer->currentElements()), ElementsAre("b", "c"));
  EXPECT_THAT(delegate->removed, ElementsAre("a"));
  EXPECT_THAT(running, IsEmpty());
}

TEST_F(TXSDKBufferTest, RunsOneAtATimeAndGoesOnAfterACommit) {
  const auto buffer = make(5);
  delegate->reorder = [](std::deque<Element>& elements) {
    std::sort(elements.begin(), elements.end(), [](auto& a, auto& b) { return nameOf(a) < nameOf(b); });
  };
  add(*buffer, {"c"});
  add(*buffer, {"b", "a"});
  EXPECT_THAT(namesOf(running), ElementsAre("c"));
  EXPECT_TRUE(buffer->isFlushing());
  EXPECT_TRUE(buffer->doFlushWhenCompleted());
  EXPECT_THAT(namesOf(buffer->currentElements()), ElementsAre("a", "b"));
  EXPECT_EQ(*running[0]->userObject()->parameters->string("counter"), "1");

  buffer->setAutoFlush(false);
  finish(operationStatus::delivered);  // The remembered flush runs "a", and nothing asks for "b".
  EXPECT_THAT(namesOf(running), ElementsAre("a"));
  EXPECT_FALSE(buffer->doFlushWhenCompleted());
  finish(operationStatus::delivered);
  EXPECT_THAT(running, IsEmpty());
  EXPECT_THAT(delegate->removed, ElementsAre("c", "a"));
}

TEST_F(TXSDKBufferTest, RollsBackToTheHeadAsACopyAndWaits) {
  const auto buffer = make(5);
  add(*buffer, {"a"});
  const Element first = running.back();
  add(*buffer, {"b"});
  finish(operationStatus::keptForRetry);
  EXPECT_FALSE(buffer->doFlushWhenCompleted());
  EXPECT_THAT(running, IsEmpty()) << "a rollback flushes nothing";
  ASSERT_THAT(namesOf(buffer->currentElements()), ElementsAre("a", "b"));
  const Element again = buffer->currentElements().front();
  EXPECT_NE(again, first);
  EXPECT_NE(again->userObject(), first->userObject());

  buffer->flush();
  buffer->flush();
  device.runUntilIdle();
  EXPECT_EQ(running.back(), again);
  finish(operationStatus::delivered);
  finish(operationStatus::delivered);
  buffer->flush();  // Nothing is pending, so nobody is asked for a verdict.
  device.runUntilIdle();
  EXPECT_THAT(delegate->removed, ElementsAre("a", "b"));
  EXPECT_THAT(delegate->codes, ElementsAre(2, 1, 1));
  EXPECT_THAT(delegate->seen, ElementsAre("+a", "!a", "+b", "+a", "!a", "-a", "!b", "-b"));
}

TEST_F(TXSDKBufferTest, OperationsReportHowTheyEnded) {
  const auto buffer = make(5);
  const Element element = operation("cancelled");
  Names changes;
  element->setObserver([&](const char* key) { changes.emplace_back(key); });
  element->cancel();
  element->cancel();
  buffer->addElement(element);
  device.runUntilIdle();
  EXPECT_THAT(changes, ElementsAre("isCancelled", "isFinished"));
  EXPECT_THAT(delegate->codes, ElementsAre(operationStatus::cancelled));

  operation("twice")->start();
  running.back()->start();
  EXPECT_EQ(running.back()->statusCode(), operationStatus::notStarted);
}

}  // namespace
}  // namespace trovix::test
