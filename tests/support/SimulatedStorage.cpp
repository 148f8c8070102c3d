#include "support/SimulatedStorage.h"

#include <algorithm>
#include <cerrno>

namespace trovix::test {

namespace attribute = platform::keychainAttribute;
namespace status = platform::keychainStatus;

namespace {

void removeNulls(Value& value) {
  if (Array* array = value.array()) {
    std::erase_if(*array, [](const Value& element) { return element.isNull(); });
    for (Value& element : *array) removeNulls(element);
  } else if (Dictionary* dictionary = value.dictionary()) {
    dictionary->removeIf([](const Dictionary::Entry& entry) { return entry.second.isNull(); });
    const Dictionary entries = *dictionary;
    for (const auto& [key, unused] : entries) removeNulls(*dictionary->find(key));
  }
}

bool hasAll(const Dictionary& item, const Dictionary& query) {
  return std::all_of(query.begin(), query.end(), [&](const Dictionary::Entry& entry) {
    if (entry.first == attribute::matchLimit || entry.first == attribute::returnData) return true;
    const Value* value = item.find(entry.first);
    return value != nullptr && *value == entry.second;
  });
}

bool isSameItem(const Dictionary& a, const Dictionary& b) {
  const auto same = [&](const char* key) {
    const Value* left = a.find(key);
    const Value* right = b.find(key);
    return left == nullptr || right == nullptr ? left == right : *left == *right;
  };
  return same(attribute::itemClass) && same(attribute::account) && same(attribute::service);
}

std::string parentOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

Error posixError(int code) { return Error(posixErrorDomain, code); }

}  // namespace

std::shared_ptr<const Value> SimulatedUserDefaults::object(std::string_view key) const {
  const auto found = image_.find(key);
  return found == image_.end() ? nullptr : found->second;
}

void SimulatedUserDefaults::store(std::string_view key, std::shared_ptr<const Value> value) {
  const auto put = [&](SimulatedDisk::Domain& domain) {
    if (value == nullptr) {
      domain.erase(std::string(key));
    } else {
      domain.insert_or_assign(std::string(key), value);
    }
  };
  put(image_);
  if (!failsToWrite) put(stored_);
}

void SimulatedUserDefaults::set(std::string_view key, Value value) {
  ++writeCount;
  removeNulls(value);
  store(key, value.isNull() ? nullptr : std::make_shared<const Value>(std::move(value)));
}

void SimulatedUserDefaults::remove(std::string_view key) {
  ++writeCount;
  store(key, nullptr);
}

void SimulatedUserDefaults::setAll(const std::vector<std::pair<std::string, std::optional<Value>>>& values) {
  for (const auto& [key, value] : values) set(key, value.value_or(nullptr));
}

void SimulatedUserDefaults::refresh() {
  ++refreshCount;
  if (!failsToWrite) image_ = stored_;
}

SimulatedUserDefaults* SimulatedUserDefaultsDomains::suite(std::string_view name) {
  if (unavailableSuites.contains(name)) return nullptr;
  auto& suite = suites_[std::string(name)];
  if (suite == nullptr) suite = std::make_unique<SimulatedUserDefaults>(disk_.suites[std::string(name)]);
  return suite.get();
}

std::int32_t SimulatedKeychain::add(const Dictionary& attributes) {
  if (failure) return *failure;
  if (!attributes.contains(attribute::itemClass)) return status::parameter;
  for (const Dictionary& item : items_) {
    if (isSameItem(item, attributes)) return status::duplicateItem;
  }
  items_.push_back(attributes);
  return status::success;
}

std::int32_t SimulatedKeychain::copyMatching(const Dictionary& query, Data& result) {
  if (failure) return *failure;
  if (!query.contains(attribute::itemClass)) return status::parameter;
  for (const Dictionary& item : items_) {
    if (!hasAll(item, query)) continue;
    const Value* wantsData = query.find(attribute::returnData);
    const Value* value = item.find(attribute::valueData);
    if (wantsData != nullptr && wantsData->boolValue() && value != nullptr && value->data() != nullptr) {
      result = *value->data();
    }
    return status::success;
  }
  return status::itemNotFound;
}

std::int32_t SimulatedKeychain::update(const Dictionary& query, const Dictionary& attributesToUpdate) {
  if (failure) return *failure;
  // As the real one does: these belong to searches that return something.
  if (query.contains(attribute::matchLimit) || query.contains(attribute::returnData)) return status::parameter;
  std::int32_t result = status::itemNotFound;
  for (Dictionary& item : items_) {
    if (!hasAll(item, query)) continue;
    item.merge(attributesToUpdate);
    result = status::success;
  }
  return result;
}

std::int32_t SimulatedKeychain::remove(const Dictionary& query) {
  if (failure) return *failure;
  return std::erase_if(items_, [&](const Dictionary& item) { return hasAll(item, query); }) > 0 ? status::success
                                                                                                : status::itemNotFound;
}

std::optional<Error> SimulatedFileSystem::refusal(const std::optional<Failure>& failure, const std::string& path,
                                                  bool isChange) const {
  if (isChange && isReadOnly) return posixError(EROFS);
  if (failure && path.find(failure->pathContains) != std::string::npos) return posixError(failure->code);
  return std::nullopt;
}

std::vector<std::string> SimulatedFileSystem::below(const std::string& directory) const {
  std::vector<std::string> paths;
  const std::string prefix = directory + "/";
  for (auto node = nodes_.lower_bound(prefix); node != nodes_.end() && node->first.starts_with(prefix); ++node) {
    paths.push_back(node->first);
  }
  return paths;
}

std::size_t SimulatedFileSystem::entryCount(const std::string& directory) const {
  if (refusal(failReads, directory, false)) return 0;
  const auto paths = below(directory);
  return static_cast<std::size_t>(std::count_if(paths.begin(), paths.end(), [&](const std::string& path) {
    return path.find('/', directory.size() + 1) == std::string::npos;
  }));
}

std::vector<std::string> SimulatedFileSystem::walk(const std::string& directory) const {
  if (refusal(failReads, directory, false)) return {};
  return below(directory);
}

bool SimulatedFileSystem::isDirectory(const std::string& path) const {
  const auto node = nodes_.find(path);
  return node != nodes_.end() && node->second.isDirectory;
}

Result<Data> SimulatedFileSystem::read(const std::string& path, std::size_t limit) const {
  if (const auto error = refusal(failReads, path, false)) return *error;
  const auto node = nodes_.find(path);
  if (node == nodes_.end()) return posixError(ENOENT);
  if (node->second.isDirectory) return posixError(EISDIR);
  if (node->second.bytes.size() > limit) return posixError(EFBIG);
  return node->second.bytes;
}

Status SimulatedFileSystem::writeAtomically(const std::string& path, const Data& bytes) {
  if (const auto error = refusal(failWrites, path, true)) return *error;
  if (!isDirectory(parentOf(path))) return posixError(ENOENT);
  if (isDirectory(path)) return posixError(EISDIR);
  // A new file takes the old one's place, so it is born now.
  nodes_[path] = {.isDirectory = false, .bytes = bytes, .createdAt = clock_.now(), .modifiedAt = clock_.now()};
  written.push_back(path);
  return success();
}

Status SimulatedFileSystem::remove(const std::string& path) {
  if (const auto error = refusal(failRemoves, path, true)) return *error;
  const auto node = nodes_.find(path);
  if (node == nodes_.end()) return posixError(ENOENT);
  if (node->second.isDirectory && !below(path).empty()) return posixError(ENOTEMPTY);
  nodes_.erase(node);
  removed.push_back(path);
  return success();
}

Status SimulatedFileSystem::createDirectories(const std::string& path) {
  if (isDirectory(path)) return success();
  if (exists(path)) return posixError(ENOTDIR);
  if (const auto error = refusal(failWrites, path, true)) return *error;
  if (const std::string parent = parentOf(path); !parent.empty()) {
    if (auto result = createDirectories(parent); !result) return result;
  }
  nodes_[path] = {.isDirectory = true, .bytes = {}, .createdAt = clock_.now(), .modifiedAt = clock_.now()};
  return success();
}

std::optional<double> SimulatedFileSystem::creationTime(const std::string& path) const {
  const auto node = nodes_.find(path);
  if (node == nodes_.end() || !hasCreationTimes) return std::nullopt;
  return node->second.createdAt;
}

std::optional<double> SimulatedFileSystem::modificationTime(const std::string& path) const {
  const auto node = nodes_.find(path);
  if (node == nodes_.end()) return std::nullopt;
  return node->second.modifiedAt;
}

Result<platform::FileSystemSpace> SimulatedFileSystem::space(const std::string&) const {
  if (!availableSpace) return posixError(ENOSYS);
  return *availableSpace;
}

void SimulatedFileSystem::place(const std::string& path, std::string_view text) {
  for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    nodes_.try_emplace(path.substr(0, slash), SimulatedDisk::Node{true, {}, clock_.now(), clock_.now()});
  }
  nodes_[path] = {false, Data(text.begin(), text.end()), clock_.now(), clock_.now()};
}

std::string SimulatedFileSystem::text(const std::string& path) const {
  const auto node = nodes_.find(path);
  return node == nodes_.end() ? "" : std::string(node->second.bytes.begin(), node->second.bytes.end());
}

}  // namespace trovix::test
