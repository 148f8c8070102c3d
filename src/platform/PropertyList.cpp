#include "platform/PropertyList.h"

#include <plist/plist.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <type_traits>

#include "platform/PropertyListGuard.h"
#include "platform/Text.h"

namespace trovix::platform {
namespace {

constexpr const char* kErrorDomain = "NSCocoaErrorDomain";
constexpr std::int64_t kReadCorruptCode = 3840;
constexpr std::int64_t kWriteCode = 3851;
// The format counts its dates from 2001-01-01.
constexpr double kFormatEpoch = 978307200;

struct NodeDeleter {
  void operator()(plist_t node) const { plist_free(node); }
};
using Node = std::unique_ptr<std::remove_pointer_t<plist_t>, NodeDeleter>;
struct MemoryDeleter {
  void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using Memory = std::unique_ptr<T, MemoryDeleter>;

// The library takes text that ends at a NUL, so a NUL inside becomes the replacement character, as ill-formed bytes do.
std::string writableText(std::string_view text) {
  std::string repaired = repairedUtf8(text);
  for (std::size_t at = repaired.find('\0'); at != std::string::npos; at = repaired.find('\0', at)) {
    repaired.replace(at, 1, "\xEF\xBF\xBD");
  }
  return repaired;
}

Node makeDate(double secondsSince1970) {
  const double seconds = std::isnan(secondsSince1970) ? 0 : secondsSince1970 - kFormatEpoch;
  const double whole = std::clamp(std::floor(seconds), double{INT32_MIN}, double{INT32_MAX});
  const double fraction = std::clamp(seconds - whole, 0.0, 0.999999);
  return Node(plist_new_date(static_cast<std::int32_t>(whole), static_cast<std::int32_t>(std::lround(fraction * 1e6))));
}

// A null pointer for what nests too deep.
Node makeNode(const Value& value, std::size_t depth);

Node makeDictionary(const Dictionary& dictionary, std::size_t depth) {
  if (depth == 0) return nullptr;
  Node node(plist_new_dict());
  for (const auto& [key, value] : dictionary) {
    if (value.isNull()) continue;
    Node child = makeNode(value, depth - 1);
    if (child == nullptr) return nullptr;
    plist_dict_set_item(node.get(), writableText(key).c_str(), child.release());
  }
  return node;
}

Node makeArray(const Array& array, std::size_t depth) {
  if (depth == 0) return nullptr;
  Node node(plist_new_array());
  for (const Value& value : array) {
    if (value.isNull()) continue;
    Node child = makeNode(value, depth - 1);
    if (child == nullptr) return nullptr;
    plist_array_append_item(node.get(), child.release());
  }
  return node;
}

Node makeNode(const Value& value, std::size_t depth) {
  switch (value.kind()) {
    case Value::Kind::boolean:
      return Node(plist_new_bool(*value.boolean() ? 1 : 0));
    case Value::Kind::integer:
      return Node(plist_new_uint(static_cast<std::uint64_t>(value.integerValue())));
    case Value::Kind::real:
      return Node(plist_new_real(value.doubleValue()));
    case Value::Kind::string:
      return Node(plist_new_string(writableText(*value.string()).c_str()));
    case Value::Kind::data:
      return Node(
          plist_new_data(reinterpret_cast<const char*>(value.data()->data()), std::uint64_t{value.data()->size()}));
    case Value::Kind::date:
      return makeDate(value.date()->secondsSince1970);
    case Value::Kind::array:
      return makeArray(*value.array(), depth);
    case Value::Kind::dictionary:
      return makeDictionary(*value.dictionary(), depth);
    case Value::Kind::null:
      return nullptr;
  }
  return nullptr;
}

// Nothing for kinds that no property list holds, and for what nests too deep.
std::optional<Value> readNode(plist_t node, std::size_t depth);

std::optional<Value> readDictionary(plist_t node, std::size_t depth) {
  Dictionary dictionary;
  dictionary.reserve(plist_dict_get_size(node));
  plist_dict_iter cursor = nullptr;
  plist_dict_new_iter(node, &cursor);
  const Memory<void> ownedCursor(cursor);
  for (;;) {
    char* name = nullptr;
    plist_t child = nullptr;
    plist_dict_next_item(node, cursor, &name, &child);
    const Memory<char> ownedName(name);
    if (child == nullptr || name == nullptr) return dictionary;
    auto value = readNode(child, depth - 1);
    if (!value) return std::nullopt;
    dictionary.set(name, std::move(*value));
  }
}

std::optional<Value> readArray(plist_t node, std::size_t depth) {
  Array array;
  array.reserve(plist_array_get_size(node));
  plist_array_iter cursor = nullptr;
  plist_array_new_iter(node, &cursor);
  const Memory<void> ownedCursor(cursor);
  for (;;) {
    plist_t child = nullptr;
    plist_array_next_item(node, cursor, &child);
    if (child == nullptr) return array;
    auto value = readNode(child, depth - 1);
    if (!value) return std::nullopt;
    array.push_back(std::move(*value));
  }
}

std::optional<Value> readScalar(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t truth = 0;
      plist_get_bool_val(node, &truth);
      return Value(truth != 0);
    }
    case PLIST_UINT: {
      std::uint64_t bits = 0;
      plist_get_uint_val(node, &bits);
      return Value(static_cast<std::int64_t>(bits));
    }
    case PLIST_REAL: {
      double real = 0;
      plist_get_real_val(node, &real);
      return Value(real);
    }
    case PLIST_STRING: {
      std::uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return Value(std::string_view(text == nullptr ? "" : text, static_cast<std::size_t>(length)));
    }
    case PLIST_DATA: {
      std::uint64_t length = 0;
      const char* bytes = plist_get_data_ptr(node, &length);
      return Value(bytes == nullptr ? Data() : Data(bytes, bytes + length));
    }
    case PLIST_DATE: {
      std::int32_t seconds = 0;
      std::int32_t microseconds = 0;
      plist_get_date_val(node, &seconds, &microseconds);
      // The library cuts both towards zero and drops the fraction's sign.
      const double fraction = std::abs(microseconds / 1e6);
      return Value(Date{kFormatEpoch + seconds + (seconds < 0 ? -fraction : fraction)});
    }
    default:
      return std::nullopt;
  }
}

std::optional<Value> readNode(plist_t node, std::size_t depth) {
  const plist_type type = plist_get_node_type(node);
  if (type != PLIST_DICT && type != PLIST_ARRAY) return readScalar(node);
  if (depth == 0) return std::nullopt;
  return type == PLIST_DICT ? readDictionary(node, depth) : readArray(node, depth);
}

bool isBinary(const Data& bytes) {
  constexpr std::string_view magic = "bplist00";
  return bytes.size() >= magic.size() && std::equal(magic.begin(), magic.end(), bytes.begin());
}

Node parseBounded(const Data& bytes) {
  plist_t node = nullptr;
  if (bytes.size() > maximumPropertyListSize) return nullptr;
  if (isBinary(bytes)) {
    if (!isSafeBinaryPropertyList(bytes)) return nullptr;
    plist_from_bin(reinterpret_cast<const char*>(bytes.data()), static_cast<std::uint32_t>(bytes.size()), &node);
  } else if (const auto text = safeXmlPropertyList({reinterpret_cast<const char*>(bytes.data()), bytes.size()})) {
    plist_from_xml(text->c_str(), static_cast<std::uint32_t>(text->size()), &node);
  }
  return Node(node);
}

Error makeError(std::int64_t code, std::string message) {
  return {kErrorDomain, code, {{Error::localizedDescriptionKey, std::move(message)}}};
}

}  // namespace

Result<Data> writePropertyList(const Dictionary& dictionary) {
  const Node node = makeDictionary(dictionary, maximumPropertyListDepth);
  if (node == nullptr) return makeError(kWriteCode, "The property list nests too deep.");
  char* bytes = nullptr;
  std::uint32_t size = 0;
  plist_to_bin(node.get(), &bytes, &size);
  const Memory<char> owned(bytes);
  if (bytes == nullptr) return makeError(kWriteCode, "The property list cannot be written.");
  return Data(bytes, bytes + size);
}

Result<Value> readPropertyList(const Data& bytes) {
  const Node node = parseBounded(bytes);
  auto value = node == nullptr ? std::nullopt : readNode(node.get(), maximumPropertyListDepth);
  if (!value) return makeError(kReadCorruptCode, "The data is not a property list.");
  return std::move(*value);
}

}  // namespace trovix::platform
