#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "trovix/Export.h"
#include "trovix/TrovixLinkGenerator.h"
#include "trovix/platform/URLSession.h"

namespace trovix {

/// Links to another application of the same publisher. Any thread, once the SDK is made.
class TROVIX_API TrovixCrossPromotionHelper {
 public:
  /// Opens the store with the link; the session may be used to follow it.
  using OpenStore = std::function<void(const std::shared_ptr<platform::URLSession>& session, const std::string& URL)>;

  /// A generator for the promoted application over the base address.
  [[nodiscard]] static TrovixLinkGenerator createLinkGenerator(const std::optional<std::string>& appID,
                                                               const std::optional<std::string>& campaign,
                                                               const std::optional<Dictionary>& parameters,
                                                               const std::string& baseURL);
  /// Records the click and hands the link to the callback, on the calling thread.
  static void logAndOpenStore(const std::optional<std::string>& appID, const std::optional<std::string>& campaign,
                              const std::optional<Dictionary>& parameters, const OpenStore& openStore);
  /// Reports that the promotion was seen; not while the SDK is stopped.
  static void logCrossPromoteImpression(const std::optional<std::string>& appID,
                                        const std::optional<std::string>& campaign,
                                        const std::optional<Dictionary>& parameters);
};

}  // namespace trovix
