#pragma once

#include <functional>
#include <string>

#include "common/Lifetime.h"
#include "core/TrovixDictionary.h"
#include "trovix/platform/Platform.h"
#include "trovix/platform/Queues.h"

namespace trovix {

class Installation;
class PushInformation;
class SessionState;
class Settings;
class TXSDKiAdClient;
class TXSDKStorageProtocol;
class TXSystemInfo;
class TrovixUtils;

/// Builds the flat dictionary of device, application, installation and user that every request carries. Serial queue.
/// Has side effects on dates and one-shot values: never call it for a request that is not sent.
class EventPayload {
 public:
  struct Sources {
    platform::Platform& platform;
    Settings& settings;
    SessionState& session;
    Installation& installation;
    TXSDKStorageProtocol& storage;
    TXSystemInfo& systemInfo;
    TrovixUtils& utils;
    TXSDKiAdClient& iAdClient;
    PushInformation& push;
    platform::SerialQueue& serial;
    Lifetime lifetime;
  };
  explicit EventPayload(Sources sources) : sources_(std::move(sources)) {}

  [[nodiscard]] TrovixDictionary getEventParameters(bool isLaunch);
  /// The smaller dictionary of ad-revenue reports. Any thread; the completion runs on the serial queue. The type is
  /// ignored.
  void eventParametersInBackgroundQueueAndType(int type, std::function<void(Dictionary)> completionHandler);

 private:
  // The sections of the payload, in its order.
  void addDevice(TrovixDictionary& payload);
  void addLaunch(TrovixDictionary& payload);
  void addApplication(TrovixDictionary& payload);
  void addDates(TrovixDictionary& payload, const std::string& shortVersion);
  void addLocale(TrovixDictionary& payload);
  void addUser(TrovixDictionary& payload);
  void addSurroundings(TrovixDictionary& payload);

  /// The info dictionary's value as text, "" when it is absent.
  [[nodiscard]] std::string bundleText(std::string_view key) const;
  void requestBackgroundParameters(std::function<void(Dictionary)> completionHandler);

  Sources sources_;
};

}  // namespace trovix
