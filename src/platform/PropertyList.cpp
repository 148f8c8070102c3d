#include "platform/PropertyList.h"

#include <plist/plist.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <type_traits>

#include "platform/PropertyListGuard.h"
#include "platform/Text.h"

namespace trovix::platform {
namespace {

constexpr std::int64_t readCorruptCode = 3840;

struct NodeDeleter {
  void operator()(plist_t node) const { plist_free(node); }
};
using Node = std::unique_ptr<std::remove_pointer_t<plist_t>, NodeDeleter>;
struct MemoryDeleter {
  void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using Memory = std::unique_ptr<T, MemoryDeleter>;

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
      return Value(Date{propertyListEpoch + seconds + (seconds < 0 ? -fraction : fraction)});
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
  } else if (const auto text = safeXmlPropertyList(textOf(bytes))) {
    plist_from_xml(text->c_str(), static_cast<std::uint32_t>(text->size()), &node);
  }
  return Node(node);
}

}  // namespace

Result<Value> readPropertyList(const Data& bytes) {
  const Node node = parseBounded(bytes);
  auto value = node == nullptr ? std::nullopt : readNode(node.get(), maximumPropertyListDepth);
  if (!value) {
    return Error(propertyListErrorDomain, readCorruptCode,
                 {{Error::localizedDescriptionKey, "The data is not a property list."}});
  }
  return std::move(*value);
}

}  // namespace trovix::platform
