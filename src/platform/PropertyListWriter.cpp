#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "platform/PropertyList.h"
#include "platform/Text.h"

namespace trovix::platform {
namespace {

constexpr std::int64_t writeCode = 3851;

// The first half of an object's first byte.
enum class Marker : std::uint8_t {
  integer = 0x10,
  real = 0x20,
  date = 0x30,
  data = 0x40,
  asciiText = 0x50,
  utf16Text = 0x60,
  array = 0xA0,
  dictionary = 0xD0
};
constexpr std::uint8_t falseByte = 0x08;
constexpr std::uint8_t trueByte = 0x09;
constexpr std::uint8_t eightBytes = 3;
// What an object of an event's parameters takes, its place in the table included.
constexpr std::size_t ordinaryObject = 16;

// How many objects a value becomes, as far down as one may nest.
std::size_t objectCount(const Value& value, std::size_t depth);

std::size_t objectCount(const Dictionary& dictionary, std::size_t depth) {
  std::size_t count = 1;
  if (depth == 0) return count;
  for (const auto& entry : dictionary) count += 1 + objectCount(entry.second, depth - 1);
  return count;
}

std::size_t objectCount(const Value& value, std::size_t depth) {
  if (const Dictionary* dictionary = value.dictionary()) return objectCount(*dictionary, depth);
  std::size_t count = 1;
  const Array* array = value.array();
  if (array == nullptr || depth == 0) return count;
  for (const Value& element : *array) count += objectCount(element, depth - 1);
  return count;
}

bool isAscii(std::string_view text) noexcept {
  unsigned char bits = 0;
  for (const char c : text) bits |= static_cast<unsigned char>(c);
  return bits < 0x80;
}

constexpr std::size_t bytesFor(std::uint64_t number) noexcept {
  return number <= 0xFF ? 1 : number <= 0xFFFF ? 2 : number <= 0xFFFFFFFF ? 4 : 8;
}

// One binary property list. An object comes after what it holds, so that its references are known when it is written;
// the root is the last one. libplist's writer takes ten times as long for an event's parameters.
class BinaryWriter {
 public:
  /// Of at most so many objects.
  explicit BinaryWriter(std::size_t objects) : referenceSize_(bytesFor(objects)) {
    offsets_.reserve(objects);
    bytes_.reserve(objects * ordinaryObject);
  }

  /// False when it nests too deep.
  bool write(const Dictionary& dictionary) {
    append("bplist00");
    if (!writeDictionary(dictionary, maximumPropertyListDepth)) return false;
    finish();
    return true;
  }
  [[nodiscard]] Data take() { return std::move(bytes_); }

 private:
  void append(std::string_view text) {
    const auto* begin = reinterpret_cast<const std::uint8_t*>(text.data());
    bytes_.insert(bytes_.end(), begin, begin + text.size());
  }
  void appendNumber(std::uint64_t number, std::size_t size) {
    for (std::size_t i = size; i > 0; --i) bytes_.push_back(static_cast<std::uint8_t>(number >> (8 * (i - 1))));
  }
  void appendByte(Marker marker, std::size_t low) {
    bytes_.push_back(static_cast<std::uint8_t>(static_cast<std::uint8_t>(marker) | low));
  }
  void beginObject() { offsets_.push_back(bytes_.size()); }

  void appendInteger(std::uint64_t number) {
    const std::size_t size = bytesFor(number);
    appendByte(Marker::integer, static_cast<std::size_t>(std::countr_zero(size)));
    appendNumber(number, size);
  }
  void appendHead(Marker marker, std::size_t count) {
    constexpr std::size_t countFollows = 15;
    appendByte(marker, std::min(count, countFollows));
    if (count >= countFollows) appendInteger(count);
  }
  void appendEightBytes(Marker marker, double number) {
    appendByte(marker, eightBytes);
    appendNumber(std::bit_cast<std::uint64_t>(number), sizeof number);
  }

  void writeText(std::string_view text) {
    beginObject();
    if (!isAscii(text) || text.find('\0') != std::string_view::npos) return writeUtf16(utf16(text));
    appendHead(Marker::asciiText, text.size());
    append(text);
  }
  void writeUtf16(std::u16string text) {
    // Readers end text at a NUL.
    std::replace(text.begin(), text.end(), u'\0', u'\uFFFD');
    appendHead(Marker::utf16Text, text.size());
    for (const char16_t unit : text) appendNumber(unit, 2);
  }
  void writeDate(Date date) {
    const double seconds = std::isnan(date.secondsSince1970) ? 0 : date.secondsSince1970 - propertyListEpoch;
    using Limits = std::numeric_limits<std::int32_t>;
    appendEightBytes(Marker::date, std::clamp<double>(seconds, Limits::min(), Limits::max()));
  }

  void appendReferences(std::size_t begin, std::size_t step) {
    for (std::size_t i = begin; i < references_.size(); i += step) appendNumber(references_[i], referenceSize_);
  }
  std::size_t lastObject() const { return offsets_.size() - 1; }

  bool writeDictionary(const Dictionary& dictionary, std::size_t depth) {
    if (depth == 0) return false;
    const std::size_t begin = references_.size();
    for (const auto& [key, value] : dictionary) {
      if (value.isNull()) continue;
      writeText(key);
      references_.push_back(lastObject());
      if (!writeValue(value, depth - 1)) return false;
      references_.push_back(lastObject());
    }
    beginObject();
    appendHead(Marker::dictionary, (references_.size() - begin) / 2);
    appendReferences(begin, 2);
    appendReferences(begin + 1, 2);
    references_.resize(begin);
    return true;
  }

  bool writeArray(const Array& array, std::size_t depth) {
    if (depth == 0) return false;
    const std::size_t begin = references_.size();
    for (const Value& element : array) {
      if (element.isNull()) continue;
      if (!writeValue(element, depth - 1)) return false;
      references_.push_back(lastObject());
    }
    beginObject();
    appendHead(Marker::array, references_.size() - begin);
    appendReferences(begin, 1);
    references_.resize(begin);
    return true;
  }

  bool writeValue(const Value& value, std::size_t depth) {
    if (const Dictionary* dictionary = value.dictionary()) return writeDictionary(*dictionary, depth);
    if (const Array* array = value.array()) return writeArray(*array, depth);
    if (const std::string* text = value.string()) {
      writeText(*text);
      return true;
    }
    beginObject();
    if (const Data* data = value.data()) {
      appendHead(Marker::data, data->size());
      bytes_.insert(bytes_.end(), data->begin(), data->end());
    } else if (const Date* date = value.date()) {
      writeDate(*date);
    } else if (const bool* truth = value.boolean()) {
      bytes_.push_back(*truth ? trueByte : falseByte);
    } else if (value.kind() == Value::Kind::real) {
      appendEightBytes(Marker::real, value.doubleValue());
    } else {
      appendInteger(static_cast<std::uint64_t>(value.integerValue()));
    }
    return true;
  }

  void finish() {
    const std::size_t table = bytes_.size();
    const std::size_t offsetSize = bytesFor(table);
    bytes_.reserve(table + offsets_.size() * offsetSize + 32);
    for (const std::size_t offset : offsets_) appendNumber(offset, offsetSize);
    bytes_.insert(bytes_.end(), 6, 0);
    appendNumber(offsetSize, 1);
    appendNumber(referenceSize_, 1);
    appendNumber(offsets_.size(), 8);
    appendNumber(lastObject(), 8);
    appendNumber(table, 8);
  }

  const std::size_t referenceSize_;
  Data bytes_;
  std::vector<std::size_t> offsets_;
  /// Of the containers that are being written, key and value in turn.
  std::vector<std::size_t> references_;
};

Error writeError(const char* message) {
  return {propertyListErrorDomain, writeCode, {{Error::localizedDescriptionKey, message}}};
}

}  // namespace

Result<Data> writePropertyList(const Dictionary& dictionary) {
  BinaryWriter writer(objectCount(dictionary, maximumPropertyListDepth));
  if (!writer.write(dictionary)) return writeError("The property list nests too deep.");
  Data bytes = writer.take();
  // What could not be read again is not worth writing.
  if (bytes.size() > maximumPropertyListSize) return writeError("The property list is too large.");
  return bytes;
}

}  // namespace trovix::platform
