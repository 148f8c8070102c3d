#include "support/SimulatedStorage.h"

#include <algorithm>
#include <cerrno>

#include "device/TrovixUtils.h"

namespace trovix::test {

namespace attribute = platform::keychainAttribute;
namespace status = platform::keychainStatus;

namespace {

bool hasAll(const Dictionary& item, const Dictionary& query) {
  return std::all_of(query.begin(), query.end(), [&](const Dictionary::Entry& entry) {
    if (entry.first == attribute::matchLimit || entry.first == attribute::returnData) return true;
    const Value* value = item.find(entry.first);
    return value != nullptr && *value == entry.second;
  });
}

bool isSameItem(const Dictionary& a, const Dictionary& b) {
  const auto keys = {attribute::itemClass, attribute::account, attribute::service};
  return std::all_of(keys.begin(), keys.end(), [&](const char* key) { return *a.find(key) == *b.find(key); });
}

std::string parentOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

Error posixError(int code) { return Error(posixErrorDomain, code); }

}  // namespace

std::shared_ptr<const Value> SimulatedUserDefaults::object(std::string_view key) const {
  const auto found = image_.find(key);
  return found == image_.end() ? nullptr : found->second;
}

void SimulatedUserDefaults::set(std::string_view key, Value value) {
  const Dictionary cleaned = TrovixUtils::recursivelyRemoveNulls({{"kept", std::move(value)}});
  const auto kept = cleaned.empty() ? nullptr : std::make_shared<const Value>(*cleaned.find("kept"));
  for (SimulatedDisk::Domain* domain : {&image_, &stored_}) {
    if (kept == nullptr) {
      domain->erase(std::string(key));
    } else {
      domain->insert_or_assign(std::string(key), kept);
    }
  }
}

void SimulatedUserDefaults::setAll(const std::vector<std::pair<std::string, std::optional<Value>>>& values) {
  for (const auto& [key, value] : values) set(key, value.value_or(nullptr));
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
  const auto isSame = [&](const Dictionary& item) { return isSameItem(item, attributes); };
  if (std::any_of(items_.begin(), items_.end(), isSame)) return status::duplicateItem;
  items_.push_back(attributes);
  return status::success;
}

std::int32_t SimulatedKeychain::copyMatching(const Dictionary& query, Data& result) {
  if (failure) return *failure;
  if (!query.contains(attribute::itemClass)) return status::parameter;
  const auto item = std::find_if(items_.begin(), items_.end(), [&](const auto& each) { return hasAll(each, query); });
  if (item == items_.end()) return status::itemNotFound;
  if (query.contains(attribute::returnData)) result = *item->find(attribute::valueData)->data();
  return status::success;
}

std::int32_t SimulatedKeychain::update(const Dictionary& query, const Dictionary& attributesToUpdate) {
  if (failure) return *failure;
  // As the real one does: these belong to searches that return something.
  if (query.contains(attribute::matchLimit) || query.contains(attribute::returnData)) return status::parameter;
  const auto item = std::find_if(items_.begin(), items_.end(), [&](const auto& each) { return hasAll(each, query); });
  if (item == items_.end()) return status::itemNotFound;
  item->merge(attributesToUpdate);
  return status::success;
}

std::int32_t SimulatedKeychain::remove(const Dictionary& query) {
  if (failure) return *failure;
  return std::erase_if(items_, [&](const Dictionary& item) { return hasAll(item, query); }) > 0 ? status::success
                                                                                                : status::itemNotFound;
}

std::size_t SimulatedFileSystem::entryCount(const std::string& directory) const {
  const auto paths = walk(directory);
  return static_cast<std::size_t>(std::count_if(paths.begin(), paths.end(), [&](const std::string& path) {
    return path.find('/', directory.size() + 1) == std::string::npos;
  }));
}

std::vector<std::string> SimulatedFileSystem::walk(const std::string& directory) const {
  std::vector<std::string> paths;
  const std::string prefix = directory + "/";
  for (auto node = nodes_.lower_bound(prefix); node != nodes_.end() && node->first.starts_with(prefix); ++node) {
    paths.push_back(node->first);
  }
  return paths;
}

bool SimulatedFileSystem::isDirectory(const std::string& path) const {
  const auto node = nodes_.find(path);
  return node != nodes_.end() && node->second.isDirectory;
}

Result<Data> SimulatedFileSystem::read(const std::string& path, std::size_t limit) const {
  if (failReads && path.find(failReads->pathContains) != std::string::npos) return posixError(failReads->code);
  const auto node = nodes_.find(path);
  if (node == nodes_.end()) return posixError(ENOENT);
  if (node->second.isDirectory) return posixError(EISDIR);
  if (node->second.bytes.size() > limit) return posixError(EFBIG);
  return node->second.bytes;
}

Status SimulatedFileSystem::writeAtomically(const std::string& path, const Data& bytes) {
  if (!isDirectory(parentOf(path))) return posixError(ENOENT);
  if (isDirectory(path)) return posixError(EISDIR);
  // A new file takes the old one's place, so it is born now.
  nodes_[path] = {.isDirectory = false, .bytes = bytes, .createdAt = clock_.now(), .modifiedAt = clock_.now()};
  return success();
}

Status SimulatedFileSystem::remove(const std::string& path) {
  const auto node = nodes_.find(path);
  if (node == nodes_.end()) return posixError(ENOENT);
  if (node->second.isDirectory && !walk(path).empty()) return posixError(ENOTEMPTY);
  nodes_.erase(node);
  return success();
}

Status SimulatedFileSystem::createDirectories(const std::string& path) {
  for (std::size_t slash = path.find('/', 1); true; slash = path.find('/', slash + 1)) {
    const std::string part = path.substr(0, slash);
    nodes_.try_emplace(part, SimulatedDisk::Node{true, {}, clock_.now(), clock_.now()});
    if (!isDirectory(part)) return posixError(ENOTDIR);
    if (slash == std::string::npos) return success();
  }
}

std::optional<double> SimulatedFileSystem::creationTime(const std::string& path) const {
  const auto node = nodes_.find(path);
  if (node == nodes_.end()) return std::nullopt;
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
  static_cast<void>(createDirectories(parentOf(path)));
  nodes_[path] = {false, Data(text.begin(), text.end()), clock_.now(), clock_.now()};
}

std::string SimulatedFileSystem::text(const std::string& path) const {
  const auto node = nodes_.find(path);
  return node == nodes_.end() ? "" : std::string(node->second.bytes.begin(), node->second.bytes.end());
}

}  // namespace trovix::test
