#include "storage/DefaultsStorage.h"

#include <cmath>

#include "common/Counter.h"
#include "platform/Json.h"
#include "platform/PropertyList.h"
#include "storage/StorageKeys.h"

namespace trovix {

std::optional<std::string> DefaultsStorage::stringForKey(std::string_view key) { return source().string(key); }
double DefaultsStorage::doubleForKey(std::string_view key) {
  const double number = source().real(key);
  return std::isfinite(number) ? number : 0;
}
std::int64_t DefaultsStorage::integerForKey(std::string_view key) { return source().integer(key); }
std::optional<Dictionary> DefaultsStorage::dictionaryForKey(std::string_view key) {
  auto stored = source().dictionary(key);
  // A request carries it one level down.
  if (stored && !platform::isValidJsonObject(*stored, platform::maximumJsonDepth - 1)) stored.reset();
  return stored;
}
bool DefaultsStorage::boolForKey(std::string_view key) { return source().boolean(key); }

void DefaultsStorage::setString(std::string_view string, std::string_view key) { store(key, Value(string)); }
void DefaultsStorage::setDouble(double number, std::string_view key) { store(key, Value(number)); }
void DefaultsStorage::setInteger(std::int64_t number, std::string_view key) { store(key, Value(number)); }
void DefaultsStorage::setDictionary(const Dictionary& dictionary, std::string_view key) {
  store(key, Value(dictionary));
}
void DefaultsStorage::setBool(bool flag, std::string_view key) { store(key, Value(flag)); }

std::optional<Dictionary> DefaultsStorage::unarchiveForKey(std::string_view key) {
  const auto stored = source().object(key);
  if (stored == nullptr) return std::nullopt;
  if (const Dictionary* plain = stored->dictionary()) return *plain;
  const Data* archived = stored->data();
  if (archived == nullptr) return std::nullopt;
  auto object = platform::readPropertyList(*archived);
  if (!object || object->dictionary() == nullptr) return std::nullopt;
  return std::move(*object->dictionary());
}

void DefaultsStorage::archive(const Value& object, std::string_view key) {
  const platform::MutexLock lock(archiveMutex_);
  if (const Dictionary* dictionary = object.dictionary()) return archiveDictionary(*dictionary, key);
  // What is no dictionary never reads back, so there is nothing in it worth keeping.
  store(key, Value(Data{}));
}

void DefaultsStorage::archiveDictionary(const Dictionary& dictionary, std::string_view key) {
  auto archived = platform::writePropertyList(dictionary);
  if (archived) store(key, Value(std::move(archived).value()));
}

void DefaultsStorage::updateArchived(std::string_view key, const std::function<void(Dictionary&)>& change) {
  const platform::MutexLock lock(archiveMutex_);
  auto archived = unarchiveForKey(key);
  if (!archived) return;
  change(*archived);
  archiveDictionary(*archived, key);
}

void DefaultsStorage::refresh() { source().refresh(); }

std::int64_t DefaultsStorage::launchCnt() { return integerForKey(storageKey::launchCounter); }
std::int64_t DefaultsStorage::incrementLaunchCnt() { return increment(storageKey::launchCounter); }
std::int64_t DefaultsStorage::inAppCnt() { return integerForKey(storageKey::inAppCounter); }
std::int64_t DefaultsStorage::incrementInAppCnt() { return increment(storageKey::inAppCounter); }
std::int64_t DefaultsStorage::incrementSessionCnt() { return increment(storageKey::sessionCounter); }

std::int64_t DefaultsStorage::sessionCnt() { return successor(integerForKey(storageKey::sessionCounter)); }

std::int64_t DefaultsStorage::increment(std::string_view key) {
  const platform::MutexLock lock(counterMutex_);
  // An answer may come long after the last job; another process may have counted since.
  source().refresh();
  const std::int64_t next = successor(integerForKey(key));
  setInteger(next, key);
  return next;
}

bool DefaultsStorage::shouldResolveDDL() { return !stringForKey(storageKey::firstLaunchDate); }

}  // namespace trovix
