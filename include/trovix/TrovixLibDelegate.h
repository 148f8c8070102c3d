#pragma once

#include <functional>
#include <optional>
#include <string>

#include "trovix/Error.h"
#include "trovix/TrovixDeepLink.h"
#include "trovix/Value.h"

namespace trovix {

/// What the host wants to hear. Held weakly by the SDK. An empty operation is passed over. All are called on the main
/// queue, asynchronously, except the question for headers. None may throw: that ends the process.
struct TrovixLibDelegate {
  /// Printed in log lines.
  std::string className = "TrovixLibDelegate";
  /// Conversion data of this install. Without it nothing is fetched.
  std::function<void(const Dictionary& conversionData)> onConversionDataSuccess;
  std::function<void(const Error& error)> onConversionDataFail;
  /// Attribution of a link that opened the application.
  std::function<void(const Dictionary& attributionData)> onAppOpenAttribution;
  std::function<void(const Error& error)> onAppOpenAttributionFailure;
  /// Header fields for resolving that address. Called synchronously on an SDK thread; must be quick.
  std::function<std::optional<Dictionary>(const std::string& URL)> allHTTPHeaderFieldsForResolveDeepLinkURL;
};

/// Hears of resolved deep links. Held weakly by the SDK. Must not throw: that ends the process.
struct TrovixDeepLinkDelegate {
  std::string className = "TrovixDeepLinkDelegate";
  /// Main queue, asynchronously; not-found and error results too.
  std::function<void(const TrovixDeepLinkResult& result)> didResolveDeepLink;
};

}  // namespace trovix
