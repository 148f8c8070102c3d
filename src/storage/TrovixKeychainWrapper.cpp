#include "storage/TrovixKeychainWrapper.h"

#include "platform/Text.h"

namespace trovix {

namespace attribute = platform::keychainAttribute;
namespace status = platform::keychainStatus;

namespace {

/// Existing items are found by this exact text.
constexpr const char* keychainService = "example.Trovix.sdk";

Data bytes(std::string_view text) { return Data(text.begin(), text.end()); }

}  // namespace

Dictionary TrovixKeychainWrapper::prepareForKeychain(std::string_view key) {
  Dictionary attributes{{attribute::itemClass, attribute::classGenericPassword}};
  if (!platform::isValidUtf8(key)) return attributes;
  attributes.set(attribute::generic, bytes(key));
  attributes.set(attribute::account, bytes(key));
  attributes.set(attribute::service, keychainService);
  attributes.set(attribute::accessible, attribute::accessibleAfterFirstUnlockThisDeviceOnly);
  return attributes;
}

bool TrovixKeychainWrapper::updateKey(std::string_view key, const Data& data) {
  return keychain_.update(prepareForKeychain(key), {{attribute::valueData, data}}) == status::success;
}

bool TrovixKeychainWrapper::setString(std::string_view string, std::string_view key) {
  const Data data = bytes(string);
  if (!setData(data, key)) updateKey(key, data);
  return true;
}

std::optional<std::string> TrovixKeychainWrapper::stringForKey(std::string_view key) {
  const auto data = dataForKey(key);
  if (!data) return std::nullopt;
  std::string text(data->begin(), data->end());
  if (!platform::isValidUtf8(text)) return std::nullopt;
  return text;
}

bool TrovixKeychainWrapper::setData(const Data& data, std::string_view key) {
  Dictionary item = prepareForKeychain(key);
  item.set(attribute::valueData, data);
  return keychain_.add(item) == status::success;
}

std::optional<Data> TrovixKeychainWrapper::dataForKey(std::string_view key) {
  Dictionary query = prepareForKeychain(key);
  query.set(attribute::matchLimit, attribute::matchLimitOne);
  query.set(attribute::returnData, true);
  Data data;
  if (keychain_.copyMatching(query, data) != status::success) return std::nullopt;
  return data;
}

bool TrovixKeychainWrapper::removeKey(std::string_view key) {
  return keychain_.remove(prepareForKeychain(key)) == status::success;
}

std::int32_t TrovixKeychainWrapper::migrateKeychainData() {
  std::int32_t last = status::success;
  for (const char* key : {trovixIdKey, reinstallCounterKey}) {
    Dictionary query = prepareForKeychain(key);
    query.set(attribute::accessible, attribute::accessibleAlwaysThisDeviceOnly);
    Dictionary search = query;
    search.set(attribute::matchLimit, attribute::matchLimitOne);
    search.set(attribute::returnData, true);
    Data data;
    if (keychain_.copyMatching(search, data) != status::success) continue;
    last = keychain_.update(query, {{attribute::accessible, attribute::accessibleAfterFirstUnlockThisDeviceOnly}});
  }
  return last;
}

}  // namespace trovix
