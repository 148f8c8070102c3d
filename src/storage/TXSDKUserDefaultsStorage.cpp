#include "storage/TXSDKUserDefaultsStorage.h"

#include "storage/StorageKeys.h"

namespace trovix {

std::optional<std::string> TXSDKUserDefaultsStorage::stringForKey(std::string_view key) {
  if (key != storageKey::userId) return DefaultsStorage::stringForKey(key);
  // The read stays under the lock, or a value written meanwhile would be replaced by the older one.
  const platform::MutexLock lock(mutex_);
  if (!trovixUID_) trovixUID_ = source().string(key);
  return trovixUID_;
}

void TXSDKUserDefaultsStorage::setString(std::string_view string, std::string_view key) {
  if (key == storageKey::userId) {
    const platform::MutexLock lock(mutex_);
    trovixUID_ = std::string(string);
  }
  DefaultsStorage::setString(string, key);
}

void TXSDKUserDefaultsStorage::removeKey(std::string_view key) { source().remove(key); }

void TXSDKUserDefaultsStorage::store(std::string_view key, Value value) { source().set(key, std::move(value)); }

}  // namespace trovix
