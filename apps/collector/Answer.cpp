#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "collector/CollectorError.h"
#include "collector/Scenario.h"
#include "platform/Json.h"

namespace trovix::collector {
namespace {

Error wrong(std::string_view field, std::string_view what) {
  std::string message = "\"";
  message.append(field).append("\" ").append(what);
  return collectorError(std::move(message), collectorScenarioCode);
}

// Sizes, counts and seconds all have to be real and not negative.
std::optional<double> amount(const Value& value) {
  const double number = value.doubleValue();
  if (!value.isNumber() || value.boolean() != nullptr || !std::isfinite(number) || number < 0) return std::nullopt;
  return number;
}

std::optional<std::uint64_t> count(const Value& value) {
  const auto number = amount(value);
  if (!number) return std::nullopt;
  return static_cast<std::uint64_t>(saturatingInteger(*number));
}

std::optional<std::string> fromBase64(std::string text) {
  std::erase_if(text, [](char c) { return c == '\n' || c == '\r' || c == ' '; });
  if (text.size() % 4 != 0) return std::nullopt;
  std::string bytes(text.size() / 4 * 3, '\0');
  const int size = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                                   reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
  if (size < 0) return std::nullopt;
  // The library decodes padding as zero bytes.
  const auto padding =
      static_cast<std::size_t>(std::count(text.end() - std::min<std::ptrdiff_t>(2, std::ssize(text)), text.end(), '='));
  bytes.resize(static_cast<std::size_t>(size) - padding);
  return bytes;
}

bool hasLineBreak(std::string_view text) { return text.find_first_of(std::string_view("\r\n\0", 3)) != text.npos; }

Status readTimes(const Value& value, Answer& answer) {
  const auto times = count(value);
  if (!times || *times == 0) return wrong("times", "is a number of at least 1");
  answer.times = *times;
  return success();
}

Status readForever(const Value& value, Answer& answer) {
  if (value.boolean() == nullptr) return wrong("forever", "is true or false");
  answer.forever = *value.boolean();
  return success();
}

Status readStatus(const Value& value, Answer& answer) {
  const auto status = count(value);
  if (!status || *status < 100 || *status > 999) return wrong("status", "is a number from 100 to 999");
  answer.reply.status = static_cast<int>(*status);
  return success();
}

Status readHeaders(const Value& value, Answer& answer) {
  if (value.dictionary() == nullptr) return wrong("headers", "is an object");
  for (const auto& [name, field] : *value.dictionary()) {
    if (name.empty() || hasLineBreak(name)) return wrong("headers", "has a name that is none");
    if (field.isNull()) {
      answer.removedHeaders.push_back(name);
      continue;
    }
    if (field.string() == nullptr || hasLineBreak(*field.string())) return wrong(name, "is a line of text or null");
    answer.reply.headers.emplace_back(name, *field.string());
  }
  return success();
}

void giveType(Answer& answer, const char* type) {
  if (findHeader(answer.reply.headers, "Content-Type") == nullptr)
    answer.reply.headers.emplace_back("Content-Type", type);
}

Status readBody(const Value& value, Answer& answer) {
  answer.hasBody = true;
  if (const std::string* text = value.string()) {
    answer.reply.body = *text;
    giveType(answer, "text/plain; charset=utf-8");
    return success();
  }
  // The writer takes objects and arrays at the root; any value goes as the one element of an array.
  auto json = platform::writeJson(Value(Array{value}));
  if (!json) return wrong("body", "cannot be written as JSON");
  answer.reply.body = json->substr(1, json->size() - 2);
  giveType(answer, "application/json");
  return success();
}

Status readBodyBase64(const Value& value, Answer& answer) {
  auto bytes = value.string() != nullptr ? fromBase64(*value.string()) : std::nullopt;
  if (!bytes) return wrong("bodyBase64", "is base64 text");
  answer.hasBody = true;
  answer.reply.body = std::move(*bytes);
  giveType(answer, "application/octet-stream");
  return success();
}

Status readBodySize(const Value& value, Answer& answer) {
  const auto size = count(value);
  if (!size) return wrong("bodySize", "is a number of bytes");
  answer.hasBody = true;
  answer.reply.filler = *size;
  giveType(answer, "application/octet-stream");
  return success();
}

Status readRedirect(const Value& value, Answer& answer) {
  if (value.string() == nullptr || hasLineBreak(*value.string())) return wrong("redirect", "is an address");
  answer.reply.headers.emplace_back("Location", *value.string());
  return success();
}

Status readRaw(const Value& value, Answer& answer) {
  if (value.string() == nullptr) return wrong("raw", "is text");
  answer.hasBody = true;
  answer.reply.raw = true;
  answer.reply.body = *value.string();
  answer.reply.cutAfter = value.string()->size();
  return success();
}

Status readDelay(const Value& value, Answer& answer) {
  const auto seconds = amount(value);
  constexpr double aYear = 366.0 * 24 * 3600;
  if (!seconds || *seconds > aYear) return wrong("delay", "is a number of seconds");
  answer.reply.delay = std::chrono::duration<double>(*seconds);
  return success();
}

Status readDrip(const Value& value, Answer& answer) {
  const auto rate = amount(value);
  if (!rate || *rate < 0.01) return wrong("drip", "is a number of bytes a second");
  answer.reply.bytesPerSecond = *rate;
  return success();
}

Status readCut(std::string_view field, const Value& value, Answer& answer) {
  const Value* after = value.dictionary() != nullptr ? value.dictionary()->find("after") : nullptr;
  const bool beforeHeaders = value.string() != nullptr && *value.string() == "beforeHeaders";
  const auto bytes = beforeHeaders ? 0 : after != nullptr ? count(*after) : std::nullopt;
  if (!bytes) return wrong(field, "is {\"after\": bytes} or \"beforeHeaders\"");
  answer.reply.cutAfter = bytes;
  answer.reply.reset = field == "reset";
  return success();
}

Status readTls(const Value& value, Answer& answer) {
  constexpr std::array<std::pair<std::string_view, CertificateFault>, 3> faults{
      {{"expired", CertificateFault::expired},
       {"wrongHost", CertificateFault::wrongHost},
       {"unknownAuthority", CertificateFault::unknownAuthority}}};
  for (const auto& [name, fault] : faults) {
    if (value.string() == nullptr || *value.string() != name) continue;
    answer.tls = fault;
    return success();
  }
  return wrong("tls", "is \"expired\", \"wrongHost\" or \"unknownAuthority\"");
}

struct Field {
  std::string_view name;
  Status (*read)(const Value&, Answer&);
};

// Headers come before the bodies that add a content type unless there is one, the default status of a redirect before
// the status.
constexpr std::array<Field, 14> fields{{
    {"times", readTimes},
    {"forever", readForever},
    {"status", readStatus},
    {"headers", readHeaders},
    {"body", readBody},
    {"bodyBase64", readBodyBase64},
    {"bodySize", readBodySize},
    {"redirect", readRedirect},
    {"raw", readRaw},
    {"delay", readDelay},
    {"drip", readDrip},
    {"close", [](const Value& value, Answer& answer) { return readCut("close", value, answer); }},
    {"reset", [](const Value& value, Answer& answer) { return readCut("reset", value, answer); }},
    {"tls", readTls},
}};

}  // namespace

Result<Answer> parseAnswer(const Value& value) {
  const Dictionary* dictionary = value.dictionary();
  if (dictionary == nullptr) return wrong("answer", "is an object");
  for (const auto& entry : *dictionary)
    if (std::ranges::find(fields, entry.first, &Field::name) == fields.end())
      return wrong(entry.first, "is no field of an answer");
  Answer answer;
  if (dictionary->contains("redirect")) answer.reply.status = 302;
  for (const Field& field : fields) {
    const Value* given = dictionary->find(field.name);
    if (given == nullptr) continue;
    if (auto read = field.read(*given, answer); !read) return read.error();
  }
  return answer;
}

}  // namespace trovix::collector
