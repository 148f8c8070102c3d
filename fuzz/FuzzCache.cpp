// A file in the cache directory is an event that comes back whole and is sent, or it is cleared out.
#include "common/Encoding.h"
#include "fuzz/Support.h"
#include "network/TXSDKEventCache.h"
#include "platform/PropertyList.h"
#include "platform/Url.h"
#include "storage/StorageKeys.h"

namespace {

using namespace trovix;
using fuzz::require;

void checkPropertyList(const Data& bytes) {
  const auto read = platform::readPropertyList(bytes);
  if (!read || read->dictionary() == nullptr) return;
  const auto written = platform::writePropertyList(*read->dictionary());
  require(written);
  // The first writing repairs text; from then on nothing changes any more.
  const auto repaired = platform::readPropertyList(*written);
  require(repaired && repaired->dictionary() != nullptr);
  const auto again = platform::writePropertyList(*repaired->dictionary());
  require(again);
  const auto last = platform::readPropertyList(*again);
  require(last && fuzz::isKept(*repaired, *last));
}

/// The event in the file, which nothing but reading has touched.
std::optional<TXSDKEvent> checkCache(test::SimulatedDevice& device, const std::string& path) {
  TXSDKEventCache cache(device.fileSystem, device.directories, device.clock);
  const auto events = cache.cachedEvents();
  require(device.fileSystem.exists(path) == !events.empty());
  if (events.empty()) return std::nullopt;

  TXSDKEvent copy = events.front();
  cache.cacheEvent(copy);
  const auto both = cache.cachedEvents();
  require(both.size() == 2 && both.front().filePath == path && both.back().filePath == copy.filePath);
  require(both.back().options == copy.options);
  // Ill-formed bytes and NULs, which no address has, are replaced.
  const bool isWritable = platform::isValidUtf8(*copy.URL) && copy.URL->find('\0') == std::string::npos;
  if (isWritable) require(both.back().URL->starts_with(*copy.URL));
  cache.deleteEvent(copy);
  return events.front();
}

void checkSending(const std::shared_ptr<test::SimulatedDisk>& disk, const TXSDKEvent& event) {
  disk->standardDefaults[storageKey::readyToSendEvents] = std::make_shared<const Value>(true);
  fuzz::Application next(disk);
  next.device.advance(fuzz::longEnough);
  const auto url = platform::Url::parse(TXSDKPercentEscapes(*event.URL));
  const bool isSent = url && (url->scheme() == "https" || url->scheme() == "http");
  if (isSent) require(!next.device.network.requests.empty());
  require(next.device.fileSystem.exists(*event.filePath) == event.isUncounted());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const Data file(bytes, bytes + size);
  checkPropertyList(file);
  const auto disk = std::make_shared<test::SimulatedDisk>();
  std::optional<TXSDKEvent> event;
  {
    test::SimulatedDevice device(disk);
    const std::string path = "/data/Library/Caches/trovix-v1/626000000.1234.plist";
    device.fileSystem.place(path, {reinterpret_cast<const char*>(bytes), size});
    event = checkCache(device, path);
  }
  if (event) checkSending(disk, *event);
  return 0;
}
