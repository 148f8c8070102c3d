#include <charconv>
#include <vector>

#include "platform/Json.h"
#include "platform/Text.h"

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/src.hpp>

namespace trovix::platform {
namespace {

namespace json = boost::json;

// Builds the value while the parser reads, so that nothing is built twice. Numbers are read from their text: the
// parser's own reals can be off by one unit in the last place.
class ValueHandler {
 public:
  static constexpr std::size_t max_object_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_array_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_key_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_string_size = static_cast<std::size_t>(-1);
  using Code = json::error_code;
  using Text = json::string_view;

  Value takeRoot() { return std::move(root_); }

  bool on_document_begin(Code&) { return true; }
  bool on_document_end(Code&) { return true; }
  bool on_object_begin(Code&) { return open(Dictionary()); }
  bool on_object_end(std::size_t, Code&) { return close(); }
  bool on_array_begin(Code&) { return open(Array()); }
  bool on_array_end(std::size_t, Code&) { return close(); }
  bool on_key_part(Text part, std::size_t, Code&) { return append(part); }
  bool on_key(Text part, std::size_t, Code&) {
    append(part);
    open_.back().key.swap(text_);
    text_.clear();
    return true;
  }
  bool on_string_part(Text part, std::size_t, Code&) { return append(part); }
  bool on_string(Text part, std::size_t, Code&) {
    append(part);
    add(Value(std::string_view(text_)));
    text_.clear();
    return true;
  }
  bool on_number_part(Text part, Code&) { return append(part); }
  bool on_int64(std::int64_t integer, Text, Code&) {
    text_.clear();
    return add(Value(integer));
  }
  bool on_uint64(std::uint64_t, Text part, Code& code) { return addReal(part, code); }
  bool on_double(double, Text part, Code& code) { return addReal(part, code); }
  bool on_bool(bool truth, Code&) { return add(Value(truth)); }
  bool on_null(Code&) { return add(Value(nullptr)); }
  bool on_comment_part(Text, Code&) { return true; }
  bool on_comment(Text, Code&) { return true; }

 private:
  struct Level {
    Value container;
    std::string key;  // of the object's next value
  };

  bool append(Text part) {
    text_.append(part.data(), part.size());
    return true;
  }

  bool addReal(Text part, Code& code) {
    append(part);
    double real = 0;
    const auto parsed = std::from_chars(text_.data(), text_.data() + text_.size(), real);
    const bool tiny = parsed.ec == std::errc::result_out_of_range && isTiny();
    text_.clear();
    if (parsed.ec != std::errc() && !tiny) {
      code = json::error::exponent_overflow;
      return false;
    }
    return add(Value(tiny ? 0.0 : real));
  }

  // Whether a number out of range is too small rather than too large.
  [[nodiscard]] bool isTiny() const {
    const std::size_t exponent = text_.find_first_of("eE");
    if (exponent != std::string::npos) return text_[exponent + 1] == '-';
    return text_.starts_with("0") || text_.starts_with("-0");
  }

  bool open(Value container) {
    open_.push_back({std::move(container), {}});
    return true;
  }

  bool close() {
    Value closed = std::move(open_.back().container);
    open_.pop_back();
    return add(std::move(closed));
  }

  bool add(Value value) {
    if (open_.empty()) {
      root_ = std::move(value);
    } else if (Array* array = open_.back().container.array()) {
      array->push_back(std::move(value));
    } else {
      open_.back().container.dictionary()->set(open_.back().key, std::move(value));
    }
    return true;
  }

  Value root_;
  std::vector<Level> open_;
  std::string text_;
};

Error readError(std::string message) {
  return {jsonErrorDomain, jsonCorruptCode, {{Error::localizedDescriptionKey, std::move(message)}}};
}

}  // namespace

Result<Value> parseJson(std::string_view text, bool allowFragments, std::size_t depth) {
  json::parse_options options;
  options.max_depth = depth;
  json::basic_parser<ValueHandler> parser(options);
  json::error_code code;
  const std::size_t used = parser.write_some(false, text.data(), text.size(), code);
  if (!code && used < text.size()) code = json::error::extra_data;
  if (code) return readError("The data is not valid JSON: " + code.message() + " near byte " + std::to_string(used));
  Value root = parser.handler().takeRoot();
  if (!allowFragments && root.array() == nullptr && root.dictionary() == nullptr) {
    return readError("JSON text did not start with array or object and option to allow fragments not set.");
  }
  return root;
}

Result<Value> parseJson(const Data& bytes, bool allowFragments) { return parseJson(textOf(bytes), allowFragments); }

}  // namespace trovix::platform
