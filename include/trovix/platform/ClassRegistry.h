#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "trovix/Error.h"
#include "trovix/Export.h"

namespace trovix::platform {

/// The companion SDK's class that fetches a deferred app link.
class TROVIX_API AppLinkUtility {
 public:
  virtual ~AppLinkUtility() = default;
  /// Whether it can be asked.
  [[nodiscard]] virtual bool respondsToFetchDeferredAppLink() const = 0;
  /// Answers once: the link's absolute text (std::nullopt when there is none) or an error. Any thread.
  virtual void fetchDeferredAppLink(std::function<void(Result<std::optional<std::string>>)> completion) = 0;
};

/// Classes of companion SDKs linked into the same application, looked up by name. Any thread.
class TROVIX_API ClassRegistry {
 public:
  virtual ~ClassRegistry() = default;
  /// Whether a class of that name is there.
  [[nodiscard]] virtual bool hasClass(std::string_view name) const = 0;
  /// The class of that name as an app-link utility, or a null pointer.
  [[nodiscard]] virtual std::shared_ptr<AppLinkUtility> appLinkUtility(std::string_view name) const = 0;
};

}  // namespace trovix::platform
