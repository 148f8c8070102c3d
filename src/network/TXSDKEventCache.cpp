#include "network/TXSDKEventCache.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <utility>

#include "common/DictionaryReads.h"
#include "common/Log.h"
#include "platform/PropertyList.h"
#include "trovix/platform/Clock.h"
#include "trovix/platform/DeviceFacts.h"
#include "trovix/platform/FileSystem.h"

namespace trovix {
namespace {

constexpr const char* metadataEntry = ".METADATA";
constexpr const char* parametersEntry = ".DATA";
constexpr const char* sdkVersionEntry = "SDK";
constexpr const char* urlEntry = "URL";
constexpr const char* optionsEntry = "TYPE";

double secondsOfFileName(std::string_view path) {
  std::string_view name = path.substr(path.rfind('/') + 1);
  return Value(name.substr(0, name.rfind('.'))).doubleValue();
}

void fill(TXSDKEvent& event, Dictionary& record) {
  if (Value* parameters = record.find(parametersEntry); parameters != nullptr && parameters->dictionary() != nullptr) {
    event.parameters = std::move(*parameters->dictionary());
  }
  if (const Dictionary* metadata = record.dictionary(metadataEntry)) {
    event.URL = textAt(*metadata, urlEntry);
    event.SDKVersion = textAt(*metadata, sdkVersionEntry);
    if (const Value* options = metadata->find(optionsEntry)) {
      event.options = static_cast<std::uint64_t>(options->integerValue());
    }
  }
}

Result<Data> serialise(TXSDKEvent& event) {
  Dictionary metadata;
  metadata.setIfPresent(sdkVersionEntry, event.SDKVersion);
  metadata.setIfPresent(urlEntry, event.URL);
  metadata.set(optionsEntry, event.options);
  Dictionary record{{metadataEntry, std::move(metadata)}};
  if (!event.parameters) return platform::writePropertyList(record);

  // The parameters are lent to the record, which spares a copy of the whole payload.
  record.set(parametersEntry, std::move(*event.parameters));
  auto bytes = platform::writePropertyList(record);
  event.parameters = std::move(*record.find(parametersEntry)->dictionary());
  return bytes;
}

}  // namespace

TXSDKEventCache::TXSDKEventCache(platform::FileSystem& fileSystem, const platform::Directories& directories,
                                 const platform::Clock& clock)
    : fileSystem_(fileSystem), directories_(directories), clock_(clock) {}

std::string TXSDKEventCache::cacheDirectory() {
  std::call_once(once_, [this] {
    directory_ = directories_.caches() + "/trovix-v1";
    TX_LOG(debug, "[CACHE] Cache path: {}", directory_);
  });
  if (!fileSystem_.exists(directory_)) {
    const Status made = fileSystem_.createDirectories(directory_);
    if (!made) TX_LOG(debug, "[CACHE] Failed to create cache dir: {}", made.error());
  }
  return directory_;
}

void TXSDKEventCache::cacheEvent(TXSDKEvent& event) {
  const std::string directory = cacheDirectory();
  const std::size_t entries = fileSystem_.entryCount(directory);
  if (entries >= capacity) {
    TX_LOG(debug, "[CACHE] Cache reached limit - not caching event...");
    return;
  }
  TX_LOG(debug, "[CACHE] Caching request...(cache size: {})", entries);
  // Set before writing, so that whatever reaches the disk can be deleted.
  event.filePath = fmt::format("{}/{:.4f}.plist", directory, referenceTime());
  const auto bytes = serialise(event);
  if (bytes && fileSystem_.writeAtomically(*event.filePath, *bytes) && observer_) observer_(event);
}

std::vector<TXSDKEvent> TXSDKEventCache::cachedEvents() {
  std::vector<std::string> paths = fileSystem_.walk(cacheDirectory());
  // Backwards, so that a directory comes after what it holds and can go with it.
  std::sort(paths.begin(), paths.end(), std::greater<>());
  std::vector<TXSDKEvent> events;
  for (const std::string& path : paths) {
    auto event = readEvent(path);
    if (!event) continue;
    if (event->isValid()) {
      events.push_back(std::move(*event));
    } else {
      deleteEvent(*event);
    }
  }
  std::reverse(events.begin(), events.end());
  return events;
}

std::optional<TXSDKEvent> TXSDKEventCache::readEvent(const std::string& path) const {
  TXSDKEvent event = TXSDKEvent::fromFilePath(path);
  if (fileSystem_.isDirectory(path)) return event;
  const auto bytes = fileSystem_.read(path, platform::maximumPropertyListSize);
  if (!bytes) {
    return platform::isPassingFailure(bytes.error()) ? std::nullopt : std::optional<TXSDKEvent>(std::move(event));
  }
  auto content = platform::readPropertyList(*bytes);
  if (content && content->dictionary() != nullptr) fill(event, *content->dictionary());
  if (event.URL) {
    *event.URL += fmt::format("&timeincache={:.4f}&isCachedRequest=true", referenceTime() - secondsOfFileName(path));
  }
  return event;
}

void TXSDKEventCache::deleteEvent(const TXSDKEvent& event) {
  if (!event.filePath) return;
  TX_LOG(debug, "[CACHE] Deleting file: {}", *event.filePath);
  const Status removed = fileSystem_.remove(*event.filePath);
  if (!removed) {
    TX_LOG(debug, "[CACHE] Error deleting file: {}, {}", *event.filePath, removed.error().localizedDescription());
  }
}

void TXSDKEventCache::setObserver(Observer observer) { observer_ = std::move(observer); }

double TXSDKEventCache::referenceTime() const { return clock_.now() - platform::propertyListEpoch; }

}  // namespace trovix
