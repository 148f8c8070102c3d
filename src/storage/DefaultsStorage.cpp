#include "storage/DefaultsStorage.h"

#include <limits>

#include "platform/PropertyList.h"
#include "storage/StorageKeys.h"

namespace trovix {

std::optional<std::string> DefaultsStorage::stringForKey(std::string_view key) { return source().string(key); }
double DefaultsStorage::doubleForKey(std::string_view key) { return source().real(key); }
std::int64_t DefaultsStorage::integerForKey(std::string_view key) { return source().integer(key); }
std::optional<Dictionary> DefaultsStorage::dictionaryForKey(std::string_view key) { return source().dictionary(key); }
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
  const Dictionary* dictionary = object.dictionary();
  // What is no dictionary never reads back, so there is nothing in it worth keeping.
  if (dictionary == nullptr) return store(key, Value(Data{}));
  auto archived = platform::writePropertyList(*dictionary);
  if (archived) store(key, Value(std::move(archived).value()));
}

void DefaultsStorage::refresh() { source().refresh(); }

std::int64_t DefaultsStorage::launchCnt() { return integerForKey(storageKey::launchCounter); }
std::int64_t DefaultsStorage::incrementLaunchCnt() { return increment(storageKey::launchCounter); }
std::int64_t DefaultsStorage::inAppCnt() { return integerForKey(storageKey::inAppCounter); }
std::int64_t DefaultsStorage::incrementInAppCnt() { return increment(storageKey::inAppCounter); }
std::int64_t DefaultsStorage::incrementSessionCnt() { return increment(storageKey::sessionCounter); }

namespace {

/// A counter from a file may hold any number.
std::int64_t successor(std::int64_t count) {
  return count == std::numeric_limits<std::int64_t>::max() ? count : count + 1;
}

}  // namespace

std::int64_t DefaultsStorage::sessionCnt() { return successor(integerForKey(storageKey::sessionCounter)); }

std::int64_t DefaultsStorage::increment(std::string_view key) {
  const platform::MutexLock lock(counterMutex_);
  const std::int64_t next = successor(integerForKey(key));
  setInteger(next, key);
  return next;
}

bool DefaultsStorage::shouldResolveDDL() { return !stringForKey(storageKey::firstLaunchDate); }

}  // namespace trovix
