#pragma once

#include <memory>
#include <optional>
#include <string>

#include "trovix/Error.h"
#include "trovix/Export.h"
#include "trovix/Value.h"

namespace trovix {

/// One resolved deep link: the click's known fields and the whole click event. Immutable.
class TROVIX_API TrovixDeepLink {
 public:
  /// From a deferred deep link answer; null unless its "found" is true.
  [[nodiscard]] static std::shared_ptr<const TrovixDeepLink> withParameters(const Dictionary& answer);
  /// From the parameters of a link that opened the application.
  [[nodiscard]] static std::shared_ptr<const TrovixDeepLink> withVeyra(const Dictionary& parameters);

  /// The whole click event.
  [[nodiscard]] const Dictionary& clickEvent() const noexcept { return clickEvent_; }
  /// Whether the click came before the application was installed.
  [[nodiscard]] bool isDeferred() const noexcept { return isDeferred_; }
  /// Fields of the click event that hold text; std::nullopt when they are missing or hold something else.
  [[nodiscard]] std::optional<std::string> deeplinkValue() const;
  [[nodiscard]] std::optional<std::string> matchType() const;
  [[nodiscard]] std::optional<std::string> clickHTTPReferrer() const;
  [[nodiscard]] std::optional<std::string> mediaSource() const;
  [[nodiscard]] std::optional<std::string> campaignId() const;
  [[nodiscard]] std::optional<std::string> campaign() const;
  [[nodiscard]] std::optional<std::string> txSub1() const;
  [[nodiscard]] std::optional<std::string> txSub2() const;
  [[nodiscard]] std::optional<std::string> txSub3() const;
  [[nodiscard]] std::optional<std::string> txSub4() const;
  [[nodiscard]] std::optional<std::string> txSub5() const;

  /// JSON text of the click event and the fields above.
  [[nodiscard]] std::string toString() const;
  [[nodiscard]] std::string description() const { return toString(); }

 private:
  TrovixDeepLink() = default;
  [[nodiscard]] std::optional<std::string> field(const char* key) const;

  Dictionary clickEvent_;
  bool isDeferred_ = false;
};

/// How the resolution of a deep link ended.
enum class TrovixDeepLinkResultStatus : std::uint64_t { notFound = 0, found = 1, error = 2 };

/// What the deep link delegate receives. Immutable, cheap to copy.
class TROVIX_API TrovixDeepLinkResult {
 public:
  /// A time-out underneath the error turns it into "Resolve DeepLink timeout", code 10.
  TrovixDeepLinkResult(std::shared_ptr<const TrovixDeepLink> deepLink, std::optional<Error> error);

  /// May be null.
  [[nodiscard]] const std::shared_ptr<const TrovixDeepLink>& deepLink() const noexcept { return deepLink_; }
  [[nodiscard]] const std::optional<Error>& error() const noexcept { return error_; }
  /// An error wins even when there is a deep link.
  [[nodiscard]] TrovixDeepLinkResultStatus status() const noexcept;

 private:
  std::shared_ptr<const TrovixDeepLink> deepLink_;
  std::optional<Error> error_;
};

}  // namespace trovix
