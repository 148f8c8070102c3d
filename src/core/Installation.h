#pragma once

#include <mutex>
#include <string>

#include "device/TXSDKDevice.h"
#include "trovix/platform/Platform.h"

namespace trovix {

class TXSDKKeychainProtocol;
class TXSDKStorageProtocol;

/// Who this installation is, and its dates. The three identity values are computed once; any thread.
class Installation {
 public:
  /// How the original identifier was found.
  enum class OriginalIdStatus : std::uint8_t { stored = 1, fresh = 2, reinstalled = 3, restored = 4, undecided = 5 };

  Installation(platform::Platform& platform, TXSDKStorageProtocol& storage, TXSDKKeychainProtocol& keychain);

  /// Seconds since 1970: when the user's Library directory was made.
  [[nodiscard]] double installDate();
  [[nodiscard]] std::string getTrovixUID();
  [[nodiscard]] std::string getOriginalTrovixId();
  [[nodiscard]] OriginalIdStatus originalIdStatus();

  // Serial queue; each writes what it generates.
  /// Whole seconds since the previous launch, -1 when there was none.
  [[nodiscard]] double getTimePassedSinceLastLaunch();
  [[nodiscard]] std::string getVersionUpdateDate(const std::string& newVersion, const std::string& currentUpdateDate);
  [[nodiscard]] std::string getFirstLaunchDate();
  [[nodiscard]] std::string getInstallDate();

 private:
  [[nodiscard]] std::string computeTrovixUID();
  [[nodiscard]] std::string resolveOriginalTrovixID(OriginalIdStatus& status);
  void countReinstall();
  void resolveBackupInfo();

  platform::Platform& platform_;
  TXSDKDevice device_;
  TXSDKStorageProtocol& storage_;
  TXSDKKeychainProtocol& keychain_;
  std::once_flag installDateOnce_, uidOnce_, originalIdOnce_;
  double installDate_ = 0;
  std::string uid_;
  std::string originalId_;
  OriginalIdStatus originalIdStatus_ = OriginalIdStatus::undecided;
};

}  // namespace trovix
