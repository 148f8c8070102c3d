#pragma once

namespace trovix {

inline constexpr const char* sdkVersion = "6.2.2";
inline constexpr const char* sdkBuild = "64";
/// Prefix of queue labels, error domains and lock names.
inline constexpr const char* reverseDNSIdentifier = "example.trovix";
inline constexpr const char* defaultHost = "trovix.example";

/// API version of the endpoints: the first two components of the SDK version.
inline constexpr const char* serverVersion = "6.2";

/// The maker's own link domains and addresses.
inline constexpr const char* shortLinkDomains[] = {"vy.trovix.example", "link.trovix.example"};
inline constexpr const char* defaultWebLinkAddress = "https://app.trovix.example";
inline constexpr const char* defaultLinkHost = "vy.trovix.example";

}  // namespace trovix
