#pragma once

#include <memory>

#include "trovix/platform/NotificationCenter.h"

namespace trovix::platform {

/// Observers by name. No lock is held while a handler runs. A registration may outlive the center.
class LinuxNotificationCenter : public NotificationCenter {
 public:
  LinuxNotificationCenter();
  ~LinuxNotificationCenter() override;

  [[nodiscard]] std::unique_ptr<Registration> addObserver(std::string_view name, Handler handler) override;
  /// An observer that is removed while this runs is not called any more; one that is added is not called yet.
  void post(const Notification& notification) override;

 private:
  class Observer;
  struct Observers;
  class ObserverRegistration;

  std::shared_ptr<Observers> observers_;
};

}  // namespace trovix::platform
