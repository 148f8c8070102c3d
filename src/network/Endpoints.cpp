#include "network/Endpoints.h"

#include <array>
#include <atomic>
#include <string_view>

#include "common/Log.h"
#include "platform/Mutex.h"

namespace trovix {
namespace {

struct Kind {
  const char* name;
  const char* defaultTemplate;
};

// In the order of Endpoint.
constexpr std::array<Kind, endpointCount> everyKind{{
    {"Launches", "https://%@launches.%@/api/v%@/ios%@?app_id=%@&buildnumber=%@"},
    {"Conversions", "https://%@conversions.%@/api/v%@/ios%@?app_id=%@&buildnumber=%@"},
    {"Attr", "https://%@attr.%@/api/v%@/ios%@?app_id=%@&buildnumber=%@"},
    {"InApps", "https://%@inapps.%@/api/v%@/ios%@?app_id=%@&buildnumber=%@"},
    {"AdRevenue", "https://%@adrevenue.%@/api/v%@/ios?app_id=%@&buildnumber=%@"},
    {"GCD", "https://%@gcdsdk.%@/install_data/v4.0/id%@?devkey=%@&device_id=%@"},
    {"RemoteDebug", "https://%@monitorsdk.%@/remote-debug?app_id=%@&device_tracking_disabled=%@"},
    {"ReceiptValidationInApp", "https://%@validate.%@/api/v%@/iosevent?app_id=%@&buildnumber=%@"},
    {"ReceiptValidation",
     "https://%@sdk-services.%@/validate-ios-receipt-server?app_id=%@&trovix_id=%@&dev_key=%@&sandbox=%@&tran_id=%@"
     "&JBDevice=%@"},
    // The version comes before the application here, unlike everywhere else.
    {"Uninstall", "https://%@register.%@/api/v%@/iosevent?buildnumber=%@&app_id=%@"},
    {"Stats", "https://%@stats.%@/stats?app_id=%@"},
    {"Impression", "https://%@impression.%@"},
    {"VeyraGet", "https://%@veyra.%@%@"},
    {"VeyraCreate", "https://%@veyra.%@/shortlink-sdk/v1/%@"},
    {"DDL", "https://%@dlsdk.%@/v1.0/ios/id%@?sdk_version=%@&tx_sig=%@"},
    {"SKRules", "https://%@skadsdk.%@/api/v1.0/rules?uid=%@&app_id=id%@&currency=%@"},
    {"SKConversionValue", "https://%@skadsdkless.%@/api/v1.0/conversion-value?uid=%@&app_id=id%@"},
}};

struct Overrides {
  platform::Mutex mutex;
  std::array<std::optional<std::string>, endpointCount> templates TX_GUARDED_BY(mutex);
};

Overrides& overridesInForce() {
  // Lives as long as the process: requests are built until its very end.
  static auto& instance = *new Overrides;
  return instance;
}

std::atomic<bool> comparisonEnabled{false};

// As a split counts them: the one in "%%@" too, which is no place when the template is filled.
std::size_t countPlaces(std::string_view text) {
  constexpr std::string_view place = "%@";
  std::size_t count = 0;
  for (auto at = text.find(place); at != std::string_view::npos; at = text.find(place, at + place.size())) ++count;
  return count;
}

std::string fill(std::string_view urlTemplate, const std::vector<std::optional<std::string>>& arguments,
                 std::size_t next) {
  std::string result;
  result.reserve(urlTemplate.size() + 64);
  std::size_t begin = 0;
  for (auto at = urlTemplate.find('%'); at != std::string_view::npos; at = urlTemplate.find('%', begin)) {
    result.append(urlTemplate, begin, at - begin);
    const char kind = at + 1 < urlTemplate.size() ? urlTemplate[at + 1] : '\0';
    begin = at + (kind == '@' || kind == '%' ? 2 : 1);
    if (kind != '@') {
      result += '%';
      continue;
    }
    const bool given = next < arguments.size() && arguments[next];
    result += given ? std::string_view(*arguments[next]) : std::string_view("(null)");
    ++next;
  }
  return result.append(urlTemplate, begin);
}

std::size_t countUpToFirstMissing(const std::vector<std::optional<std::string>>& arguments) {
  std::size_t count = 0;
  while (count < arguments.size() && arguments[count]) ++count;
  return count;
}

std::optional<std::size_t> indexOfKind(std::string_view name) {
  for (std::size_t i = 0; i < everyKind.size(); ++i) {
    if (name == everyKind[i].name) return i;
  }
  return std::nullopt;
}

}  // namespace

std::string endpointTemplate(Endpoint endpoint) {
  const auto index = static_cast<std::size_t>(endpoint);
  Overrides& overrides = overridesInForce();
  const platform::MutexLock lock(overrides.mutex);
  const auto& replaced = overrides.templates[index];
  return replaced ? *replaced : everyKind[index].defaultTemplate;
}

std::string TXSDKURLFormat(const std::string& urlTemplate, const std::vector<std::optional<std::string>>& arguments) {
  const bool fits = !URLComparisonEnabled() || countUpToFirstMissing(arguments) == countPlaces(urlTemplate);
  return fill(urlTemplate, arguments, fits ? 0 : 2);
}

std::string TXSDKURLFormat(Endpoint endpoint, const std::vector<std::optional<std::string>>& arguments) {
  return TXSDKURLFormat(endpointTemplate(endpoint), arguments);
}

void TXSDKUpdateURLs(const Dictionary& replacements) {
  Overrides& overrides = overridesInForce();
  for (const auto& [kind, value] : replacements) {
    TXSystemLog(fmt::format("Overriding URL format for: {} with: {}", kind, value));
    const auto index = indexOfKind(kind);
    if (!index || value.string() == nullptr) continue;
    const platform::MutexLock lock(overrides.mutex);
    overrides.templates[*index] = *value.string();
  }
}

bool URLComparisonEnabled() noexcept { return comparisonEnabled.load(std::memory_order_relaxed); }
void setURLComparisonEnabled() noexcept { comparisonEnabled.store(true, std::memory_order_relaxed); }

}  // namespace trovix
