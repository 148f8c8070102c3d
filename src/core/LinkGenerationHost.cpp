#include "core/LinkGenerationHost.h"

#include "core/EventDispatch.h"
#include "core/Installation.h"
#include "core/SessionState.h"
#include "core/Settings.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKStorageProtocol.h"
#include "trovix/platform/DeviceFacts.h"

namespace trovix {

LinkGenerationHost::LinkGenerationHost(platform::Platform& platform, Settings& settings, SessionState& session,
                                       Installation& installation, TXSDKStorageProtocol& storage,
                                       TXSDKHTTPClientProtocol& http, EventDispatch& dispatch)
    : platform_(platform),
      settings_(settings),
      session_(session),
      installation_(installation),
      storage_(storage),
      http_(http),
      dispatch_(dispatch) {}

LinkFacts LinkGenerationHost::linkFacts() {
  return {.host = settings_.host(),
          .hostPrefix = settings_.hostPrefix(),
          .devKey = settings_.trovixDevKey(),
          .appleAppID = settings_.appleAppID(),
          .trovixUID = installation_.getTrovixUID(),
          .isStopped = settings_.isStopped(),
          .appInviteVeyraID = settings_.appInviteVeyraID(),
          .customerUserID = settings_.customerUserID(),
          .advertisingIdentifier = session_.advertisingIdentifier(),
          .identifierForVendor = platform_.device.identifierForVendor(),
          .linkDomain = storage_.stringForKey(storageKey::linkDomain),
          .linkScheme = storage_.stringForKey(storageKey::linkScheme)};
}

void LinkGenerationHost::logEvent(std::string name, Dictionary values) {
  dispatch_.logEvent(std::move(name), std::move(values), {});
}

}  // namespace trovix
