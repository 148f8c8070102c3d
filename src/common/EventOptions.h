#pragma once

#include <cstdint>

namespace trovix {

/// What a request is, as bits of one 64-bit word.
namespace eventOption {
// Kinds that only the request log tells apart; the event of a purchase is an in-app event too.
inline constexpr std::uint64_t adRevenue = 1;
inline constexpr std::uint64_t closingReport = 2;
inline constexpr std::uint64_t purchase = 4;
inline constexpr std::uint64_t uninstallToken = 8;

inline constexpr std::uint64_t TXEventOptionInAppEvent = 16;
inline constexpr std::uint64_t TXEventOptionLaunch = 32;
inline constexpr std::uint64_t conversionValue = 64;
inline constexpr std::uint64_t TXEventOptionSearchAds = 128;
inline constexpr std::uint64_t TXEventOptionColdStart = 256;
inline constexpr std::uint64_t TXEventOptionFirstLaunch = 512;
inline constexpr std::uint64_t conversionRules = 1024;
inline constexpr std::uint64_t deepLink = 2048;
inline constexpr std::uint64_t deferredDeepLink = 4096;
/// Requests that bypass the launch and in-app counters.
inline constexpr std::uint64_t uncountedMask = conversionRules | deepLink | deferredDeepLink;
/// What decides the order in the buffer.
inline constexpr std::uint64_t orderingMask =
    TXEventOptionSearchAds | TXEventOptionColdStart | conversionRules | deferredDeepLink;
}  // namespace eventOption

}  // namespace trovix
