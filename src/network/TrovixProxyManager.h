#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Mutex.h"
#include "trovix/Value.h"

namespace trovix::platform {
class Clock;
class Locale;
}  // namespace trovix::platform

namespace trovix {

class TXSDKStorageProtocol;

/// What remote debugging needs from the upper rooms. Called on the thread that uploads.
class RemoteDebugHost {
 public:
  virtual ~RemoteDebugHost() = default;
  [[nodiscard]] virtual std::string devKey() const = 0;
  [[nodiscard]] virtual std::string trovixUID() const = 0;
  [[nodiscard]] virtual std::string appleAppID() const = 0;
  /// Info.plist "CFBundleVersion".
  [[nodiscard]] virtual std::string appVersion() const = 0;
  /// Sends the document, unless the SDK is stopped.
  virtual void remoteDebuggingCallWithData(const std::string& data) = 0;
};

/// Collects the SDK's own log lines while the server wants them. Collection is on from the start; the first answer
/// decides whether the lines are kept. Any thread.
class TrovixProxyManager {
 public:
  static constexpr std::int32_t lineBudget = 98304;

  TrovixProxyManager(const platform::Clock& clock, const platform::Locale& locale, TXSDKStorageProtocol& storage);
  ~TrovixProxyManager();
  /// Installs this manager as the log's mirror, and the host it asks. Before the first log line that counts.
  void attach(RemoteDebugHost* host);

  [[nodiscard]] bool isRemoteDebugging() const noexcept;
  [[nodiscard]] bool proxyEnabledFromServer() const noexcept { return proxyEnabledFromServer_; }
  [[nodiscard]] bool shouldCollectDebugData() const noexcept { return shouldCollectDebugData_; }
  [[nodiscard]] bool proxyManagerDisabled() const noexcept { return proxyManagerDisabled_; }
  void setProxyManagerDisabled(bool flag) noexcept;

  /// Whether the next line would be kept: somebody wants it and the budget is not yet used up.
  [[nodiscard]] bool acceptsLines() const noexcept { return isRemoteDebugging() && requestSize_ < lineBudget; }
  void startRemoteDebugging();
  void stopRemoteDebugging();
  void dropPreLaunchData() { clearData(); }
  /// Forgets the lines; the static data stays.
  void clearData();
  /// Keeps the text with its time, or drops it silently. It may cross the budget by one line.
  void addEventWithString(std::string_view text);
  /// Loads the static data, uploads everything through the host and clears the lines; nothing while disabled.
  void sendRemoteDebuggingDataWithModel(const std::string& model, const std::string& systemVersion);
  /// The upload document as it stands.
  [[nodiscard]] std::string getJSONString();
  /// Bytes of the lines kept since the last upload.
  [[nodiscard]] std::int32_t requestSize() const noexcept { return requestSize_; }

 private:
  void loadStaticDataWithModel(const std::string& model, const std::string& systemVersion);
  void setDeviceDataWithModel(const std::string& model, const std::string& osVersion, const std::string& advId);
  void setSDKDataWithVersion(const std::string& version, const std::string& devKey, const std::string& originalTXUID,
                             const std::string& TXUID, const std::string& launchCounter);
  void setAppDataWithAppId(const std::string& appId, const std::string& appVersion);
  void setProxyEntries(const Dictionary& entries);
  /// Lets log sites know whether lines are kept. After every change of a flag or of the budget that is left.
  void updateMirror() noexcept;

  const platform::Clock& clock_;
  const platform::Locale& locale_;
  TXSDKStorageProtocol& storage_;
  std::atomic<RemoteDebugHost*> host_{nullptr};
  std::atomic<bool> proxyEnabledFromServer_{false};
  std::atomic<bool> shouldCollectDebugData_{true};
  std::atomic<bool> proxyManagerDisabled_{false};
  std::atomic<std::int32_t> requestSize_{0};

  platform::Mutex mutex_;
  /// The static data; the lines join it when the document is made.
  Dictionary proxyRdDict_ TX_GUARDED_BY(mutex_);
  std::vector<std::string> events_ TX_GUARDED_BY(mutex_);
};

/// A line of a log site for the remote channel.
void addLogEvent(TrovixProxyManager& manager, std::int32_t level, std::string_view functionName,
                 std::string_view message);

}  // namespace trovix
