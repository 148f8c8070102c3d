#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace trovix::collector {

inline constexpr const char* otherKind = "Other";

/// Which endpoint a request is for, and the server domain it names.
struct Destination {
  const char* kind = otherKind;
  std::string domain;  ///< what follows the subdomain word; the whole host when the kind is "Other"
};

/// Recognises an endpoint by the word that a label of the host ends with, whatever stands before and after it, and by
/// the path. The two link kinds share their address and differ in the method.
[[nodiscard]] Destination destinationOf(std::string_view method, std::string_view host, std::string_view path);

/// Every kind that may live on the host.
[[nodiscard]] std::vector<std::string_view> kindsOnHost(std::string_view host);

/// One of the seventeen names, or "Other".
[[nodiscard]] bool isKind(std::string_view name);

/// Whether its bodies are encrypted, checksummed events.
[[nodiscard]] bool carriesEvents(std::string_view kind);

}  // namespace trovix::collector
