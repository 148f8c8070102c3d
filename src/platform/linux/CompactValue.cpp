#include "platform/linux/CompactValue.h"

#include <algorithm>
#include <bit>
#include <string_view>
#include <utility>

#include "platform/PropertyList.h"

namespace trovix::platform {
namespace {

// The letters and the order of the bytes are those of the files; they never change.
namespace letter {
constexpr char isFalse = 'f', isTrue = 't', integer = 'i', real = 'r', string = 's', data = 'b', date = 'd',
               array = 'a', dictionary = 'o';
}  // namespace letter

class Encoder {
 public:
  bool append(const Value& value, std::size_t depth) {
    if (bytes_.size() > maximumPropertyListSize) return false;
    switch (value.kind()) {
      case Value::Kind::null:
        return false;
      case Value::Kind::boolean:
        bytes_.push_back(static_cast<std::uint8_t>(*value.boolean() ? letter::isTrue : letter::isFalse));
        return true;
      case Value::Kind::integer:
        return appendNumber(letter::integer, static_cast<std::uint64_t>(value.integerValue()));
      case Value::Kind::real:
        return appendNumber(letter::real, std::bit_cast<std::uint64_t>(value.doubleValue()));
      case Value::Kind::date:
        return appendNumber(letter::date, std::bit_cast<std::uint64_t>(value.date()->secondsSince1970));
      case Value::Kind::string:
        bytes_.push_back(static_cast<std::uint8_t>(letter::string));
        return appendBytes(*value.string());
      case Value::Kind::data:
        bytes_.push_back(static_cast<std::uint8_t>(letter::data));
        return appendBytes(*value.data());
      case Value::Kind::array:
        return appendArray(*value.array(), depth);
      case Value::Kind::dictionary:
        return appendDictionary(*value.dictionary(), depth);
    }
    return false;
  }

  Data take() { return std::move(bytes_); }

 private:
  bool appendNumber(char kind, std::uint64_t number) {
    bytes_.push_back(static_cast<std::uint8_t>(kind));
    for (int i = 0; i < 8; ++i, number >>= 8U) bytes_.push_back(static_cast<std::uint8_t>(number));
    return true;
  }

  /// Seven bits a byte, the lowest first.
  void appendLength(std::size_t length) {
    for (; length >= 0x80; length >>= 7U) bytes_.push_back(static_cast<std::uint8_t>(length | 0x80U));
    bytes_.push_back(static_cast<std::uint8_t>(length));
  }

  template <typename Bytes>
  bool appendBytes(const Bytes& bytes) {
    if (bytes.size() > maximumPropertyListSize) return false;
    appendLength(bytes.size());
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return true;
  }

  bool appendArray(const Array& array, std::size_t depth) {
    if (depth > maximumPropertyListDepth) return false;
    const auto nulls = std::count_if(array.begin(), array.end(), [](const Value& element) { return element.isNull(); });
    bytes_.push_back(static_cast<std::uint8_t>(letter::array));
    appendLength(array.size() - static_cast<std::size_t>(nulls));
    return std::all_of(array.begin(), array.end(),
                       [&](const Value& element) { return element.isNull() || append(element, depth + 1); });
  }

  bool appendDictionary(const Dictionary& dictionary, std::size_t depth) {
    if (depth > maximumPropertyListDepth) return false;
    const auto nulls = std::count_if(dictionary.begin(), dictionary.end(),
                                     [](const Dictionary::Entry& entry) { return entry.second.isNull(); });
    bytes_.push_back(static_cast<std::uint8_t>(letter::dictionary));
    appendLength(dictionary.size() - static_cast<std::size_t>(nulls));
    return std::all_of(dictionary.begin(), dictionary.end(), [&](const Dictionary::Entry& entry) {
      return entry.second.isNull() || (appendBytes(entry.first) && append(entry.second, depth + 1));
    });
  }

  Data bytes_;
};

class Decoder {
 public:
  explicit Decoder(std::string_view bytes) : rest_(bytes) {}

  [[nodiscard]] bool atEnd() const noexcept { return rest_.empty(); }

  std::optional<Value> value(std::size_t depth) {
    if (rest_.empty()) return std::nullopt;
    const char kind = rest_.front();
    rest_.remove_prefix(1);
    switch (kind) {
      case letter::isFalse:
      case letter::isTrue:
        return Value(kind == letter::isTrue);
      case letter::integer:
      case letter::real:
      case letter::date:
        return number(kind);
      case letter::string:
        if (const auto text = bytes()) return Value(*text);
        return std::nullopt;
      case letter::data:
        if (const auto text = bytes()) return Value(Data(text->begin(), text->end()));
        return std::nullopt;
      case letter::array:
        return array(depth);
      case letter::dictionary:
        return dictionary(depth);
      default:
        return std::nullopt;
    }
  }

 private:
  std::optional<Value> number(char kind) {
    if (rest_.size() < 8) return std::nullopt;
    std::uint64_t number = 0;
    for (std::size_t i = 8; i-- > 0;) number = number << 8U | static_cast<std::uint8_t>(rest_[i]);
    rest_.remove_prefix(8);
    if (kind == letter::integer) return Value(static_cast<std::int64_t>(number));
    const auto real = std::bit_cast<double>(number);
    return kind == letter::real ? Value(real) : Value(Date{real});
  }

  /// A length or count; there is at least one byte for each of what it counts.
  std::optional<std::size_t> length() {
    std::size_t length = 0;
    for (unsigned shift = 0; shift < 35 && !rest_.empty(); shift += 7) {
      const auto byte = static_cast<std::uint8_t>(rest_.front());
      rest_.remove_prefix(1);
      length |= static_cast<std::size_t>(byte & 0x7fU) << shift;
      if (byte < 0x80) return length <= rest_.size() ? std::optional(length) : std::nullopt;
    }
    return std::nullopt;
  }

  std::optional<std::string_view> bytes() {
    const auto size = length();
    if (!size) return std::nullopt;
    const std::string_view found = rest_.substr(0, *size);
    rest_.remove_prefix(*size);
    return found;
  }

  std::optional<Value> array(std::size_t depth) {
    const auto count = depth <= maximumPropertyListDepth ? length() : std::nullopt;
    if (!count) return std::nullopt;
    Array array;
    for (std::size_t i = 0; i < *count; ++i) {
      auto element = value(depth + 1);
      if (!element) return std::nullopt;
      array.push_back(std::move(*element));
    }
    return Value(std::move(array));
  }

  std::optional<Value> dictionary(std::size_t depth) {
    const auto count = depth <= maximumPropertyListDepth ? length() : std::nullopt;
    if (!count) return std::nullopt;
    Dictionary dictionary;
    for (std::size_t i = 0; i < *count; ++i) {
      const auto key = bytes();
      auto element = key ? value(depth + 1) : std::nullopt;
      if (!element) return std::nullopt;
      dictionary.set(*key, std::move(*element));
    }
    return Value(std::move(dictionary));
  }

  std::string_view rest_;
};

}  // namespace

std::optional<Data> encodeCompactly(const Value& value) {
  Encoder encoder;
  if (!encoder.append(value, 1)) return std::nullopt;
  Data bytes = encoder.take();
  return bytes.size() <= maximumPropertyListSize ? std::optional(std::move(bytes)) : std::nullopt;
}

std::optional<Value> decodeCompactly(std::string_view bytes) {
  Decoder decoder(bytes);
  auto value = decoder.value(1);
  return value && decoder.atEnd() ? value : std::nullopt;
}

}  // namespace trovix::platform
