#include "platform/PropertyListGuard.h"

#include <algorithm>
#include <vector>

#include "platform/PropertyList.h"

namespace trovix::platform {
namespace {

// What an object costs beyond its own bytes once it is a node.
constexpr std::uint64_t nodeWeight = 64;
constexpr std::uint64_t maximumWeight = std::uint64_t{64} * 1024 * 1024;

// Walks the object graph of a binary list. Every object is visited once; what it weighs is remembered, so that shared
// objects are counted as often as they will be copied without being walked that often.
class BinaryWalk {
 public:
  explicit BinaryWalk(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  bool isSafe() {
    constexpr std::size_t headerSize = 8;
    constexpr std::size_t trailerSize = 32;
    if (bytes_.size() < headerSize + trailerSize) return false;
    const std::size_t trailer = bytes_.size() - trailerSize;
    offsetSize_ = bytes_[trailer + 6];
    referenceSize_ = bytes_[trailer + 7];
    const std::uint64_t count = number(trailer + 8, 8);
    const std::uint64_t root = number(trailer + 16, 8);
    const std::uint64_t table = number(trailer + 24, 8);
    if (offsetSize_ == 0 || offsetSize_ > 8 || referenceSize_ == 0 || referenceSize_ > 8) return false;
    if (count == 0 || count > bytes_.size() || root >= count) return false;
    if (table < headerSize || table > trailer || (trailer - table) / offsetSize_ < count) return false;
    table_ = static_cast<std::size_t>(table);
    objects_.resize(static_cast<std::size_t>(count));
    return visit(root, 1);
  }

 private:
  enum class State : std::uint8_t { fresh, open, done };
  struct Object {
    State state = State::fresh;
    bool isKey = false;       // text without a NUL
    std::uint8_t height = 0;  // levels below and including this one
    std::uint64_t weight = 0;
  };
  struct Shape {
    std::size_t content = 0;     // where the content begins
    std::uint64_t length = 0;    // its length in bytes
    std::uint64_t children = 0;  // how many references it consists of
  };

  [[nodiscard]] std::uint64_t number(std::size_t at, std::size_t size) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value = value << 8 | bytes_[at + i];
    return value;
  }

  // The count behind a marker: its low half, or an integer object when that is 15.
  bool readCount(std::size_t at, std::size_t& content, std::uint64_t& count) const {
    count = bytes_[at] & 0x0F;
    content = at + 1;
    if (count != 0x0F) return true;
    if (content >= table_ || (bytes_[content] & 0xF0) != 0x10) return false;
    const std::size_t size = std::size_t{1} << (bytes_[content] & 0x0F);
    if (size > 8 || table_ - content - 1 < size) return false;
    count = number(content + 1, size);
    content += 1 + size;
    return true;
  }

  bool readShape(std::size_t at, Shape& shape) const {
    const std::uint8_t marker = bytes_[at];
    const std::uint8_t kind = marker >> 4;
    shape.content = at + 1;
    if (kind == 0x0) return marker == 0x08 || marker == 0x09;  // the two booleans
    if (kind >= 0x1 && kind <= 0x3) {
      const std::uint8_t power = marker & 0x0F;
      shape.length = std::uint64_t{1} << power;
      return power <= (kind == 0x1 ? 4 : 3) && (kind == 0x1 || power >= 2);
    }
    std::uint64_t count = 0;
    if (kind == 0x8 || !readCount(at, shape.content, count) || count > bytes_.size()) return false;
    switch (kind) {
      case 0x4:
      case 0x5:
        shape.length = count;
        return true;
      case 0x6:
        shape.length = count * 2;
        return true;
      case 0xA:
      case 0xD:
        shape.children = kind == 0xD ? count * 2 : count;
        shape.length = shape.children * referenceSize_;
        return true;
      default:
        return false;
    }
  }

  // The library takes a key that holds a NUL for a broken invariant of its own, and ends the process.
  [[nodiscard]] bool isKey(std::uint8_t kind, const Shape& shape) const {
    const std::size_t unit = kind == 0x5 ? 1 : 2;
    if (kind != 0x5 && kind != 0x6) return false;
    for (std::size_t i = 0; i < shape.length; i += unit) {
      if (number(shape.content + i, unit) == 0) return false;
    }
    return true;
  }

  // A scalar stands one level below the innermost container.
  bool visit(std::uint64_t reference, std::size_t depth) {
    if (reference >= objects_.size() || depth > maximumPropertyListDepth + 1) return false;
    const auto index = static_cast<std::size_t>(reference);
    Object& object = objects_[index];
    if (object.state == State::done) return depth + object.height <= maximumPropertyListDepth + 2;
    if (object.state == State::open) return false;
    const std::uint64_t at = number(table_ + index * offsetSize_, offsetSize_);
    Shape shape;
    if (at < 8 || at >= table_ || !readShape(static_cast<std::size_t>(at), shape)) return false;
    if (shape.content > table_ || shape.length > table_ - shape.content) return false;
    object.state = State::open;
    object.weight = nodeWeight + shape.length;
    object.height = 1;
    const auto kind = static_cast<std::uint8_t>(bytes_[static_cast<std::size_t>(at)] >> 4);
    object.isKey = isKey(kind, shape);
    const std::uint64_t keys = kind == 0xD ? shape.children / 2 : 0;
    for (std::uint64_t i = 0; i < shape.children; ++i) {
      const std::size_t position = shape.content + static_cast<std::size_t>(i) * referenceSize_;
      const std::uint64_t child = number(position, referenceSize_);
      if (!visit(child, depth + 1)) return false;
      const Object& visited = objects_[static_cast<std::size_t>(child)];
      if (i < keys && !visited.isKey) return false;
      object.weight += visited.weight;
      if (object.weight > maximumWeight) return false;
      object.height = std::max(object.height, static_cast<std::uint8_t>(visited.height + 1));
    }
    object.state = State::done;
    return true;
  }

  std::span<const std::uint8_t> bytes_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::size_t table_ = 0;
  std::vector<Object> objects_;
};

std::optional<std::string> withoutComments(std::string_view text) {
  constexpr std::string_view opening = "<!--";
  constexpr std::string_view closing = "-->";
  std::string kept;
  kept.reserve(text.size());
  while (!text.empty()) {
    const std::size_t begin = text.find(opening);
    kept += text.substr(0, begin);
    if (begin == std::string_view::npos) break;
    const std::size_t end = text.find(closing, begin + opening.size());
    if (end == std::string_view::npos) return std::nullopt;
    text.remove_prefix(end + closing.size());
  }
  return kept;
}

}  // namespace

bool isSafeBinaryPropertyList(std::span<const std::uint8_t> bytes) { return BinaryWalk(bytes).isSafe(); }

std::optional<std::string> safeXmlPropertyList(std::string_view text) {
  auto kept = withoutComments(text);
  if (!kept || kept->find('\0') != std::string::npos) return std::nullopt;
  for (const std::string_view zero : {"&#0", "&#x0", "&#X0"}) {
    if (kept->find(zero) != std::string::npos) return std::nullopt;
  }
  std::size_t depth = 0;
  for (std::size_t open = kept->find('<'); open != std::string::npos; open = kept->find('<', open + 1)) {
    const std::size_t close = kept->find_first_of("<>", open + 1);
    if (close == std::string::npos || (*kept)[close] == '<') return std::nullopt;
    const std::string_view tag = std::string_view(*kept).substr(open + 1, close - open - 1);
    if (tag.starts_with('?')) continue;
    if (tag.starts_with('!')) {
      if (!tag.starts_with("!DOCTYPE") || tag.find('[') != std::string_view::npos) return std::nullopt;
    } else if (tag.starts_with('/')) {
      if (depth == 0) return std::nullopt;
      --depth;
    } else if (!tag.ends_with('/') && ++depth > maximumPropertyListDepth + 2) {
      // Two more than the values: the root element, and the text of the innermost one.
      return std::nullopt;
    }
  }
  if (depth != 0) return std::nullopt;
  return kept;
}

}  // namespace trovix::platform
