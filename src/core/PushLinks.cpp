#include "core/PushLinks.h"

#include <algorithm>

#include "common/Log.h"
#include "device/TrovixUtils.h"
#include "platform/Json.h"
#include "platform/Url.h"

namespace trovix {
namespace {

constexpr int maximumDepth = 4;

/// Steps along the keys while there are dictionaries to step into; what ends the descent early stays the value.
const Value* valueAtPath(const Dictionary& payload, const std::vector<std::string>& path) {
  const Dictionary* current = &payload;
  const Value* value = nullptr;
  for (const std::string& key : path) {
    if (current == nullptr) break;
    value = current->find(key);
    if (value == nullptr) return nullptr;
    current = value->dictionary();
  }
  return value;
}

std::optional<std::string> linkAtPaths(const Dictionary& payload, const PushLinkPaths::Paths& paths) {
  for (const auto& path : paths) {
    const Value* value = valueAtPath(payload, path);
    const std::string* text = value != nullptr ? value->string() : nullptr;
    if (text != nullptr && TrovixUtils::isValidURLFromString(*text)) return *text;
  }
  return std::nullopt;
}

}  // namespace

void PushLinkPaths::addPushNotificationDeepLinkPath(const std::optional<std::vector<std::string>>& path) {
  if (!path) return;
  const platform::MutexLock lock(mutex_);
  if (std::find(paths_->begin(), paths_->end(), *path) != paths_->end()) return;
  Paths extended = *paths_;
  extended.push_back(*path);
  paths_ = std::make_shared<const Paths>(std::move(extended));
}

std::shared_ptr<const PushLinkPaths::Paths> PushLinkPaths::deepLinkSearchPaths() const {
  const platform::MutexLock lock(mutex_);
  return paths_;
}

std::optional<std::string> findPushLink(int depth, const Dictionary& payload, const PushLinkPaths::Paths& paths) {
  if (depth == 0) {
    TX_LOG(debug, "Retry count exceeded");
    return std::nullopt;
  }
  if (auto link = linkAtPaths(payload, paths)) return link;
  if (const Value* tx = payload.find("tx")) {
    if (tx->string() != nullptr) return *tx->string();
    if (tx->dictionary() != nullptr) {
      auto text = platform::writeJson(*tx->dictionary());
      if (text) return std::move(text).value();
      TX_LOG(error, "Push notification info contains not valid JSON object");
      return std::nullopt;
    }
  }
  for (const auto& [key, value] : payload) {
    if (value.dictionary() == nullptr) continue;
    if (auto link = findPushLink(depth - 1, *value.dictionary(), paths)) return link;
  }
  return std::nullopt;
}

void PushLinks::handlePushNotification(const Dictionary& payload) {
  auto found = findPushLink(maximumDepth, payload, *paths_.deepLinkSearchPaths());
  if (!txsdk_exists(found)) return;
  if (platform::Url::parse(*found)) {
    deepLinks_.setDeepLinkAndResolve(found, LinkHandler::pushNotification);
  } else {
    setNotificationUserInfo(std::move(found));
  }
}

void PushLinks::setNotificationUserInfo(std::optional<std::string> notificationUserInfo) {
  TX_LOG(debug, "Push notification info: {}", description(notificationUserInfo));
  const platform::MutexLock lock(mutex_);
  notificationUserInfo_ = std::move(notificationUserInfo);
}

std::optional<std::string> PushLinks::takeNotificationUserInfo() {
  const platform::MutexLock lock(mutex_);
  return std::exchange(notificationUserInfo_, std::nullopt);
}

}  // namespace trovix
