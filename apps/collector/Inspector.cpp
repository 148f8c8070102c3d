#include "collector/Inspector.h"

#include "platform/Json.h"

namespace trovix::collector {
namespace {

std::string text(const std::string* value) { return value != nullptr ? *value : std::string(); }

std::string text(const std::optional<Value>& body, std::string_view key) {
  const Dictionary* dictionary = body ? body->dictionary() : nullptr;
  return dictionary != nullptr ? text(dictionary->string(key)) : std::string();
}

// What the request carries as its signature and what it should be; nothing for kinds that are not signed.
struct Signature {
  std::string given;
  std::string expected;
};

std::optional<Signature> signatureOf(const Request& request, const Address& address, std::string_view kind,
                                     const std::optional<Value>& body, const std::string& devKey) {
  const auto item = [&](std::string_view name) { return address.item(name).value_or(""); };
  const auto header = [&](std::string_view name) { return text(findHeader(request.headers, name)); };
  const auto signedText = [&] { return header("Tx-Timestamp") + item("app_id") + item("uid"); };
  if (kind == "DDL") return Signature{item("tx_sig"), keyedDigest(devKey, text(body, "timestamp") + devKey)};
  if (kind == "SKRules")
    return Signature{header("Authorization"), keyedDigest(devKey, signedText() + item("currency"))};
  if (kind == "SKConversionValue") return Signature{header("Authorization"), keyedDigest(devKey, signedText())};
  if (kind == "VeyraGet" || kind == "VeyraCreate")
    return Signature{header("authorization"), sha1Digest(devKey + header("tx-timestamp"))};
  return std::nullopt;
}

Dictionary flagsRecord(const ChecksumFlags& flags) {
  return {{"simulator", flags.simulator},
          {"development", flags.development},
          {"integrity", flags.integrity},
          {"counterValid", flags.counterValid},
          {"debugger", flags.debugger}};
}

template <typename Pairs>
Dictionary record(const Pairs& pairs) {
  Dictionary result;
  result.reserve(pairs.size());
  for (const auto& [name, value] : pairs) result.set(name, value);
  return result;
}

}  // namespace

std::optional<Value> Inspector::parametersOf(const Request& request, std::string_view kind, Dictionary& checks) {
  const std::string* type = findHeader(request.headers, "Content-Type");
  const bool sealed = carriesEvents(kind) || (type != nullptr && *type == "application/octet-stream");
  if (!sealed) {
    if (request.body.empty()) return std::nullopt;
    auto parsed = platform::parseJson(std::string_view(request.body));
    return parsed ? std::move(parsed).value() : Value(request.body);
  }
  if (devKey_.empty()) return std::nullopt;
  if (!bodyKey_) bodyKey_ = deriveBodyKey(devKey_);
  const auto plain = bodyKey_ ? openBody(request.body, *bodyKey_) : std::nullopt;
  std::optional<Value> parameters;
  if (plain) {
    auto parsed = platform::parseJson(std::string_view(*plain));
    if (parsed) parameters = std::move(parsed).value();
  }
  checks.set("decrypted", parameters.has_value());
  checkChecksum(parameters, checks);
  return parameters;
}

void Inspector::checkChecksum(const std::optional<Value>& parameters, Dictionary& checks) const {
  if (!parameters) return;
  const Dictionary* dictionary = parameters->dictionary();
  const Value* timestamp = dictionary != nullptr ? dictionary->find("timestamp") : nullptr;
  const auto flags = verifyChecksum(text(parameters, "cksm_v1"), timestamp != nullptr ? timestamp->doubleValue() : 0,
                                    text(parameters, "bundleIdentifier"), devKey_);
  checks.set("checksum", flags.has_value());
  if (flags) checks.set("flags", flagsRecord(*flags));
}

Dictionary Inspector::inspect(const Request& request, const Address& address, const Destination& destination) {
  Dictionary checks;
  auto parameters = parametersOf(request, destination.kind, checks);
  if (!devKey_.empty()) {
    const auto signature = signatureOf(request, address, destination.kind, parameters, devKey_);
    if (signature) checks.set("signature", !signature->given.empty() && signature->given == signature->expected);
  }
  Dictionary result{{"name", "request"},
                    {"kind", destination.kind},
                    {"method", request.method},
                    {"url", address.url},
                    {"host", address.host},
                    {"path", address.path},
                    {"query", record(address.query)},
                    {"headers", record(request.headers)}};
  if (parameters) result.set("parameters", std::move(*parameters));
  result.set("checks", std::move(checks));
  return result;
}

}  // namespace trovix::collector
