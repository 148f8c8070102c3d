#include "host/Output.h"

#include <cmath>
#include <cstdio>

#include "platform/Json.h"
#include "platform/Text.h"

namespace trovix::host {
namespace {

/// What JSON has no form for is printed as text, so that a line is never lost.
Value printable(const Value& value) {
  if (const auto* dictionary = value.dictionary()) {
    Dictionary copy;
    for (const auto& [key, entry] : *dictionary) copy.set(key, printable(entry));
    return copy;
  }
  if (const auto* array = value.array()) {
    Array copy;
    for (const auto& entry : *array) copy.push_back(printable(entry));
    return copy;
  }
  if (const auto* data = value.data()) return platform::base64(platform::textOf(*data));
  const bool isFiniteNumber = value.kind() != Value::Kind::real || std::isfinite(value.doubleValue());
  return value.date() != nullptr || !isFiniteNumber ? Value(description(value)) : value;
}

}  // namespace

void Output::line(const std::string& name, const Dictionary& fields) {
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start_;
  const Dictionary head{{"name", name}, {"t", std::round(elapsed.count() * 1e6) / 1e6}};
  Dictionary object = head;
  object.merge(*printable(fields).dictionary());
  // The library's deepest values stand below fields of this line; deeper ones come from the script alone.
  auto text = platform::writeJson(object, 2 * platform::maximumJsonDepth);
  if (!text) text = platform::writeJson(head);
  const std::lock_guard lock(mutex_);
  std::printf("%s\n", text->c_str());
  std::fflush(stdout);
  ++untaken_[name];
}

bool Output::take(const std::string& name) {
  const std::lock_guard lock(mutex_);
  const auto found = untaken_.find(name);
  if (found == untaken_.end() || found->second == 0) return false;
  --found->second;
  return true;
}

Dictionary errorFields(const Error& error) {
  Dictionary fields{{"domain", error.domain()}, {"code", error.code()}, {"message", error.localizedDescription()}};
  if (const Error* underlying = error.underlyingError()) fields.set("underlying", errorFields(*underlying));
  return fields;
}

Dictionary deepLinkResultFields(const TrovixDeepLinkResult& result) {
  static constexpr const char* names[] = {"NOT_FOUND", "FOUND", "ERROR"};
  Dictionary fields{{"status", names[static_cast<std::size_t>(result.status())]}};
  if (const auto& link = result.deepLink()) {
    Dictionary properties{{"clickEvent", link->clickEvent()}, {"isDeferred", link->isDeferred()}};
    properties.setIfPresent("deeplinkValue", link->deeplinkValue());
    properties.setIfPresent("matchType", link->matchType());
    properties.setIfPresent("clickHTTPReferrer", link->clickHTTPReferrer());
    properties.setIfPresent("mediaSource", link->mediaSource());
    properties.setIfPresent("campaignId", link->campaignId());
    properties.setIfPresent("campaign", link->campaign());
    properties.setIfPresent("txSub1", link->txSub1());
    properties.setIfPresent("txSub2", link->txSub2());
    properties.setIfPresent("txSub3", link->txSub3());
    properties.setIfPresent("txSub4", link->txSub4());
    properties.setIfPresent("txSub5", link->txSub5());
    fields.set("deepLink", std::move(properties));
  }
  if (result.error()) fields.set("error", errorFields(*result.error()));
  return fields;
}

}  // namespace trovix::host
