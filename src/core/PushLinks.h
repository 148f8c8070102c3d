#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/DeepLinks.h"
#include "core/PushInformation.h"
#include "platform/Mutex.h"
#include "trovix/Value.h"

namespace trovix {

/// Where links may hide in push payloads: each path is a list of dictionary keys. Any thread.
class PushLinkPaths {
 public:
  using Paths = std::vector<std::vector<std::string>>;

  /// A missing path is ignored, and so is one that is there already.
  void addPushNotificationDeepLinkPath(const std::optional<std::vector<std::string>>& path);
  [[nodiscard]] std::shared_ptr<const Paths> deepLinkSearchPaths() const;

 private:
  mutable platform::Mutex mutex_;
  std::shared_ptr<const Paths> paths_ TX_GUARDED_BY(mutex_) = std::make_shared<const Paths>();
};

/// The link or information in a push payload; std::nullopt when it holds neither. `depth` counts the dictionaries that
/// may still be entered.
[[nodiscard]] std::optional<std::string> findPushLink(int depth, const Dictionary& payload,
                                                      const PushLinkPaths::Paths& paths);

/// Finds links in push payloads: they are resolved as deep links; anything else is kept for the next launch. Any
/// thread.
class PushLinks final : public PushInformation {
 public:
  PushLinks(DeepLinks& deepLinks, const PushLinkPaths& paths) : deepLinks_(deepLinks), paths_(paths) {}

  void handlePushNotification(const Dictionary& payload);
  void setNotificationUserInfo(std::optional<std::string> notificationUserInfo);
  [[nodiscard]] std::optional<std::string> takeNotificationUserInfo() override;

 private:
  DeepLinks& deepLinks_;
  const PushLinkPaths& paths_;
  mutable platform::Mutex mutex_;
  std::optional<std::string> notificationUserInfo_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix
