#include "trovix/Value.h"

#include <charconv>
#include <cmath>

namespace trovix {
namespace {

constexpr double twoTo63 = 9223372036854775808.0;

bool equalNumbers(std::int64_t integer, double real) noexcept {
  return real >= -twoTo63 && real < twoTo63 && real == std::trunc(real) && static_cast<std::int64_t>(real) == integer;
}

bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

std::string_view withoutLeadingBlanks(std::string_view text) noexcept {
  const std::size_t first = text.find_first_not_of(" \t\r\n\v\f");
  return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

// Takes a sign off the text; answers whether it was a minus.
bool takeSign(std::string_view& text) noexcept {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  return negative;
}

std::int64_t leadingInteger(std::string_view text) noexcept {
  text = withoutLeadingBlanks(text);
  const bool negative = takeSign(text);
  std::uint64_t magnitude = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), magnitude);
  constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (parsed.ec == std::errc::result_out_of_range || magnitude > most) {
    return negative ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
  }
  const auto integer = static_cast<std::int64_t>(magnitude);
  return negative ? -integer : integer;
}

double leadingReal(std::string_view text) noexcept {
  text = withoutLeadingBlanks(text);
  const bool negative = takeSign(text);
  // The words for infinities and non-numbers are no numbers here.
  if (text.empty() || (!isDigit(text.front()) && text.front() != '.')) return 0;
  double magnitude = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), magnitude);
  if (parsed.ec == std::errc::result_out_of_range) {
    const std::string_view number = text.substr(0, static_cast<std::size_t>(parsed.ptr - text.data()));
    const bool tiny = number.find("e-") != std::string_view::npos || number.find("E-") != std::string_view::npos ||
                      number.front() == '0' || number.front() == '.';
    magnitude = tiny ? 0 : HUGE_VAL;
  }
  return negative ? -magnitude : magnitude;
}

bool leadingTruth(std::string_view text) noexcept {
  text = withoutLeadingBlanks(text);
  takeSign(text);
  const std::size_t first = text.find_first_not_of('0');
  if (first == std::string_view::npos) return false;
  const char c = text[first];
  return c == 'Y' || c == 'y' || c == 'T' || c == 't' || isDigit(c);
}

}  // namespace

Value::Value() noexcept : storage_(nullptr) {}
Value::Value(std::nullptr_t) noexcept : storage_(nullptr) {}
Value::Value(bool boolean) noexcept : storage_(boolean) {}
Value::Value(double real) noexcept : storage_(real) {}
Value::Value(float real) noexcept : storage_(static_cast<double>(real)) {}
Value::Value(const char* text) : storage_(std::in_place_type<std::string>, text == nullptr ? "" : text) {}
Value::Value(std::string text) noexcept : storage_(std::move(text)) {}
Value::Value(std::string_view text) : storage_(std::in_place_type<std::string>, text) {}
Value::Value(Data bytes) noexcept : storage_(std::move(bytes)) {}
Value::Value(Date date) noexcept : storage_(date) {}
Value::Value(Array array) noexcept : storage_(std::move(array)) {}
Value::Value(Dictionary dictionary) noexcept : storage_(std::move(dictionary)) {}
Value::Value(const Value&) = default;
Value::Value(Value&&) noexcept = default;
Value& Value::operator=(const Value&) = default;
Value& Value::operator=(Value&&) noexcept = default;
Value::~Value() = default;

std::int64_t Value::integerValue() const noexcept {
  if (const auto* integer = std::get_if<std::int64_t>(&storage_)) return *integer;
  if (const auto* real = std::get_if<double>(&storage_)) return saturatingInteger(*real);
  if (const auto* truth = boolean()) return *truth ? 1 : 0;
  if (const auto* text = string()) return leadingInteger(*text);
  return 0;
}

double Value::doubleValue() const noexcept {
  if (const auto* real = std::get_if<double>(&storage_)) return *real;
  if (const auto* integer = std::get_if<std::int64_t>(&storage_)) return static_cast<double>(*integer);
  if (const auto* truth = boolean()) return *truth ? 1 : 0;
  if (const auto* text = string()) return leadingReal(*text);
  return 0;
}

bool Value::boolValue() const noexcept {
  if (const auto* truth = boolean()) return *truth;
  if (const auto* text = string()) return leadingTruth(*text);
  if (const auto* real = std::get_if<double>(&storage_)) return *real != 0;
  return integerValue() != 0;
}

bool operator==(const Value& a, const Value& b) {
  if (!a.isNumber() || !b.isNumber()) return a.storage_ == b.storage_;
  const auto* realA = std::get_if<double>(&a.storage_);
  const auto* realB = std::get_if<double>(&b.storage_);
  if (realA != nullptr && realB != nullptr) return *realA == *realB;
  if (realA != nullptr) return equalNumbers(b.integerValue(), *realA);
  if (realB != nullptr) return equalNumbers(a.integerValue(), *realB);
  return a.integerValue() == b.integerValue();
}

bool txsdk_exists(const Value* value) noexcept {
  if (value == nullptr) return false;
  switch (value->kind()) {
    case Value::Kind::null:
      return false;
    case Value::Kind::string:
      return !value->string()->empty();
    case Value::Kind::data:
      return !value->data()->empty();
    case Value::Kind::array:
      return !value->array()->empty();
    case Value::Kind::dictionary:
      return !value->dictionary()->empty();
    case Value::Kind::boolean:
    case Value::Kind::integer:
    case Value::Kind::real:
    case Value::Kind::date:
      return true;
  }
  return true;
}

std::int64_t saturatingInteger(double number) noexcept {
  if (std::isnan(number)) return 0;
  if (number >= twoTo63) return std::numeric_limits<std::int64_t>::max();
  if (number < -twoTo63) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(number);
}

}  // namespace trovix
