#include "network/TXSDKEventCache.h"

#include <cerrno>

#include "platform/PropertyList.h"
#include "support/LogCapture.h"

namespace trovix::test {
namespace {

constexpr const char* cacheDirectory = "/data/Library/Caches/trovix-v1";

std::string inCache(const std::string& name) { return std::string(cacheDirectory) + "/" + name; }

struct TXSDKEventCacheTest : testing::Test {
  SimulatedDevice device;
  TXSDKEventCache cache{device.fileSystem, device.directories, device.clock};

  TXSDKEvent event(const std::string& name = "e", const std::string& version = "6.2.2") {
    return {{{"eventName", name}, {"null", nullptr}}, "https://x?app_id=1", version, 4096};
  }
  std::string store(TXSDKEvent stored) {
    cache.cacheEvent(stored);
    return stored.filePath.value_or("");
  }
};

TEST_F(TXSDKEventCacheTest, BringsAnEventBackWithItsAge) {
  device.setNow(978307200 + 626000000.1234);
  TXSDKEvent stored = event();
  std::vector<std::string> onDisk;
  cache.setObserver([&](const TXSDKEvent& written) { onDisk.push_back(*written.filePath); });
  cache.cacheEvent(stored);
  ASSERT_EQ(stored.filePath, inCache("626000000.1234.plist"));
  EXPECT_EQ(stored.parameters->size(), 2u) << "the parameters are still the event's own";
  EXPECT_THAT(onDisk, ElementsAre(*stored.filePath));

  device.setNow(978307200 + 626003600.6234);
  for (int read = 0; read < 2; ++read) {
    const TXSDKEvent event = cache.cachedEvents().at(0);
    EXPECT_EQ(event.URL, "https://x?app_id=1&timeincache=3600.5000&isCachedRequest=true");
    EXPECT_EQ(event.parameters, (Dictionary{{"eventName", "e"}}));
    EXPECT_EQ(event.options, 4096u);
  }
  cache.deleteEvent(stored);
  EXPECT_THAT(cache.cachedEvents(), IsEmpty());
}

TEST_F(TXSDKEventCacheTest, HoldsFortySixEntriesOfAnyName) {
  for (int i = 0; i < 45; ++i) device.fileSystem.place(inCache("note" + std::to_string(i)), "x");
  EXPECT_NE(store(event()), "");
  device.advance(1.0);
  EXPECT_EQ(store(event()), "");
}

TEST_F(TXSDKEventCacheTest, ReadsInOrderAndClearsOutWhatIsInvalid) {
  const std::string first = store(event("first"));
  device.advance(1.0);
  const std::string second = store(event("second"));
  device.advance(1.0);
  store(event("old", "6.2.1"));
  device.fileSystem.place(inCache("note.txt"), "not an event");
  device.fileSystem.place(inCache("0.plist"), "not a property list");
  device.fileSystem.place(inCache("9.plist/deep/10.plist"), "neither");
  device.fileSystem.place(inCache("a/1.plist"), device.fileSystem.text(first));
  device.fileSystem.place(inCache("big.plist"), std::string(platform::maximumPropertyListSize + 1, 'x'));

  std::vector<std::string> paths;
  for (const TXSDKEvent& event : cache.cachedEvents()) paths.push_back(*event.filePath);
  EXPECT_THAT(paths, ElementsAre(first, second, inCache("a/1.plist")));
  EXPECT_THAT(device.fileSystem.walk(cacheDirectory),
              UnorderedElementsAre(first, second, inCache("a"), inCache("a/1.plist")));
}

TEST_F(TXSDKEventCacheTest, TellsPassingFailuresFromLostFiles) {
  const std::string path = store(event());
  device.fileSystem.failReads = {.code = EMFILE, .pathContains = ".plist"};
  EXPECT_THAT(cache.cachedEvents(), IsEmpty());
  device.fileSystem.failReads.reset();
  EXPECT_EQ(cache.cachedEvents().size(), 1u);
  device.fileSystem.failReads = {.code = EIO, .pathContains = ".plist"};
  EXPECT_THAT(cache.cachedEvents(), IsEmpty());
  EXPECT_FALSE(device.fileSystem.exists(path));
}

}  // namespace
}  // namespace trovix::test
