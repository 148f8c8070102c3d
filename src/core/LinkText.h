#pragma once

#include <string>
#include <string_view>
#include <vector>

// Rules about the text of links, free of everything. Linear in its length.
namespace trovix {

/// The link without the access token of an authorisation link, and without what introduces one.
[[nodiscard]] std::string linkWithoutAccessTokens(std::string link);

/// The first of the domains that follows "://" in the link.
[[nodiscard]] const std::string* matchingDomain(std::string_view link, const std::vector<std::string>& domains);

}  // namespace trovix
