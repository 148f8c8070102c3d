#pragma once

namespace trovix {

inline constexpr const char* kSDKVersion = "6.2.2";
inline constexpr const char* kSDKBuild = "64";
/// Prefix of queue labels, error domains and lock names.
inline constexpr const char* kReverseDNSIdentifier = "example.trovix";
inline constexpr const char* kDefaultHost = "trovix.example";

/// API version of the endpoints: the first two components of the SDK version.
inline constexpr const char* kServerVersion = "6.2";

/// The maker's own link domains and addresses.
inline constexpr const char* kShortLinkDomains[] = {"vy.trovix.example", "link.trovix.example"};
inline constexpr const char* kDefaultWebLinkAddress = "https://app.trovix.example";
inline constexpr const char* kDefaultLinkHost = "vy.trovix.example";

}  // namespace trovix
