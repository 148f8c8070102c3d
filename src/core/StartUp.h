#pragma once

namespace trovix::platform {
class Console;
}

namespace trovix {

class EventDispatch;
class Installation;
class TXSDKEventCache;
class TXSDKKeychainProtocol;
class TXSDKPerformance;

/// The SDK's first job: identity on disk before any request, and what earlier runs could not deliver back in the
/// buffer.
struct StartUp {
  TXSDKKeychainProtocol& keychain;
  TXSDKPerformance& performance;
  Installation& installation;
  TXSDKEventCache& cache;
  EventDispatch& dispatch;
  platform::Console& console;

  /// Once, on the serial queue.
  void run(bool printsToConsole);
};

}  // namespace trovix
