#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "trovix/Value.h"

namespace trovix {

/// The seventeen kinds of request address.
enum class Endpoint : std::uint8_t {
  launches,
  conversions,
  attr,
  inApps,
  adRevenue,
  gcd,
  remoteDebug,
  receiptValidationInApp,
  receiptValidation,
  uninstall,
  stats,
  impression,
  veyraGet,
  veyraCreate,
  ddl,
  skRules,
  skConversionValue,
};
inline constexpr std::size_t endpointCount = 17;

/// The template of a kind as it stands now, process-wide. Any thread.
[[nodiscard]] std::string endpointTemplate(Endpoint endpoint);

/// Fills a template's "%@" in order; "%%" is a "%", and other text stays as it is. An argument that is missing, or that
/// the template has and the list has not, prints "(null)"; surplus arguments are ignored. In URL comparison mode, when
/// the arguments before the first missing one are not as many as the places, the first two (host prefix and host) are
/// left out, so that an override may carry a fixed host.
[[nodiscard]] std::string TXSDKURLFormat(const std::string& urlTemplate,
                                         const std::vector<std::optional<std::string>>& arguments);
[[nodiscard]] std::string TXSDKURLFormat(Endpoint endpoint, const std::vector<std::optional<std::string>>& arguments);
/// Replaces the templates of the kinds that the dictionary names; values that are not text leave theirs alone. Every
/// entry is written to the system log. Any thread.
void TXSDKUpdateURLs(const Dictionary& overrides);
/// Process-wide; once on it stays on.
[[nodiscard]] bool URLComparisonEnabled() noexcept;
void setURLComparisonEnabled() noexcept;

}  // namespace trovix
