#include "collector/Kinds.h"

#include <algorithm>
#include <array>

namespace trovix::collector {
namespace {

struct Rule {
  const char* kind;
  std::string_view word;
  std::string_view pathBegin;
  std::string_view pathEnd;
  std::string_view method;  // empty: any
  bool events = false;
};

constexpr std::array<Rule, 17> rules{{
    {"Launches", "launches", "/api/v", "/iosevent", {}, true},
    {"Conversions", "conversions", "/api/v", "/iosevent", {}, true},
    {"Attr", "attr", "/api/v", "/iosevent", {}, true},
    {"InApps", "inapps", "/api/v", "/iosevent", {}, true},
    {"AdRevenue", "adrevenue", "/api/v", "/ios", {}},
    {"GCD", "gcdsdk", "/install_data/v4.0/id", "", {}},
    {"RemoteDebug", "monitorsdk", "/remote-debug", "", {}},
    {"ReceiptValidationInApp", "validate", "/api/v", "/iosevent", {}, true},
    {"ReceiptValidation", "sdk-services", "/validate-ios-receipt-server", "", {}},
    {"Uninstall", "register", "/api/v", "/iosevent", {}},
    {"Stats", "stats", "/stats", "", {}},
    {"Impression", "impression", "", "", {}},
    {"VeyraCreate", "veyra", "/shortlink-sdk/v1/", "", "POST"},
    {"VeyraGet", "veyra", "/", "", "GET"},
    {"DDL", "dlsdk", "/v1.0/ios/id", "", {}},
    {"SKRules", "skadsdk", "/api/v1.0/rules", "", {}},
    {"SKConversionValue", "skadsdkless", "/api/v1.0/conversion-value", "", {}},
}};

// Calls `visit` with each label's end, read from the left, until it answers true.
template <typename Visit>
void forEachLabel(std::string_view host, Visit visit) {
  for (std::size_t dot = host.find('.'); dot != std::string_view::npos; dot = host.find('.', dot + 1))
    if (visit(host.substr(0, dot), host.substr(dot + 1))) return;
}

bool fitsPath(const Rule& rule, std::string_view path) {
  return path.size() >= rule.pathBegin.size() + rule.pathEnd.size() && path.starts_with(rule.pathBegin) &&
         path.ends_with(rule.pathEnd);
}

}  // namespace

Destination destinationOf(std::string_view method, std::string_view host, std::string_view path) {
  Destination found{.domain = std::string(host)};
  forEachLabel(host, [&](std::string_view head, std::string_view domain) {
    const auto rule = std::ranges::find_if(rules, [&](const Rule& candidate) {
      return head.ends_with(candidate.word) && fitsPath(candidate, path) &&
             (candidate.method.empty() || candidate.method == method);
    });
    if (rule == rules.end()) return false;
    found = {.kind = rule->kind, .domain = std::string(domain)};
    return true;
  });
  return found;
}

std::vector<std::string_view> kindsOnHost(std::string_view host) {
  std::vector<std::string_view> kinds;
  forEachLabel(host, [&](std::string_view head, std::string_view) {
    for (const Rule& rule : rules)
      if (head.ends_with(rule.word)) kinds.emplace_back(rule.kind);
    return !kinds.empty();
  });
  if (kinds.empty()) kinds.emplace_back(otherKind);
  return kinds;
}

bool isKind(std::string_view name) {
  return name == otherKind || std::ranges::find(rules, name, &Rule::kind) != rules.end();
}

bool carriesEvents(std::string_view kind) {
  const auto rule = std::ranges::find(rules, kind, &Rule::kind);
  return rule != rules.end() && rule->events;
}

}  // namespace trovix::collector
