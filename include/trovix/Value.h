#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "trovix/Export.h"

namespace trovix {

class Value;

/// Raw bytes.
using Data = std::vector<std::uint8_t>;
/// Values in their order.
using Array = std::vector<Value>;

/// A moment, in seconds since 1970-01-01 UTC. May be negative and has fractions.
struct Date {
  double secondsSince1970 = 0;
  friend bool operator==(const Date&, const Date&) = default;
};

/// String keys to values, in insertion order. Replacing a value keeps its key's place. Look-ups are by
/// hash once the dictionary is large, so hostile input cannot make them quadratic. A key that is missing
/// is not the same as a key whose value is null.
class TROVIX_API Dictionary {
 public:
  using Entry = std::pair<std::string, Value>;
  using const_iterator = std::vector<Entry>::const_iterator;

  Dictionary();
  Dictionary(std::initializer_list<Entry> entries);
  Dictionary(const Dictionary&);
  Dictionary(Dictionary&&) noexcept;
  Dictionary& operator=(const Dictionary&);
  Dictionary& operator=(Dictionary&&) noexcept;
  ~Dictionary();

  [[nodiscard]] std::size_t size() const noexcept;
  [[nodiscard]] bool empty() const noexcept;
  [[nodiscard]] const_iterator begin() const noexcept;
  [[nodiscard]] const_iterator end() const noexcept;
  /// Makes room for so many entries.
  void reserve(std::size_t count);

  /// The value under the key, or a null pointer when the key is missing. Valid until the next change.
  [[nodiscard]] const Value* find(std::string_view key) const noexcept;
  [[nodiscard]] Value* find(std::string_view key) noexcept;
  /// Whether the key is there, with a null value too.
  [[nodiscard]] bool contains(std::string_view key) const noexcept { return find(key) != nullptr; }

  /// Sets or replaces.
  void set(std::string_view key, Value value);
  /// Sets when there is a value, and leaves the key alone when there is none.
  template <typename T>
  void setIfPresent(std::string_view key, const std::optional<T>& value);
  /// Copies every entry of `other` into this one, replacing equal keys.
  void merge(const Dictionary& other);
  /// Removes the key; answers whether it was there.
  bool remove(std::string_view key);
  /// Removes every entry for which `matches` answers true, in one pass.
  template <typename Predicate>
  void removeIf(Predicate matches);
  /// Removes everything.
  void clear() noexcept;

  /// Reads of one type; a null pointer for missing and other types, so a caller need not look twice.
  [[nodiscard]] const std::string* string(std::string_view key) const noexcept;
  [[nodiscard]] const Dictionary* dictionary(std::string_view key) const noexcept;
  [[nodiscard]] const Array* array(std::string_view key) const noexcept;

  /// Equal when they hold equal values under the same keys, in whatever order.
  friend TROVIX_API bool operator==(const Dictionary& a, const Dictionary& b);

 private:
  [[nodiscard]] std::size_t indexOf(std::string_view key) const noexcept;
  /// Makes the index anew, for that many entries.
  void rebuildIndex(std::size_t expected);
  /// Where the key stands in the index, which is not empty, or the free place for it.
  [[nodiscard]] std::size_t slotOf(std::string_view key) const noexcept;
  [[nodiscard]] std::size_t positionAt(std::size_t slot) const noexcept;

  std::vector<Entry> entries_;
  std::vector<std::uint32_t> index_;  // open addressing over entries_, position + 1; empty while small
};

/// A property-list value. Missing is not null: missing is std::nullopt or a null pointer, null is Value(nullptr).
class TROVIX_API Value {
 public:
  /// What a value can be.
  enum class Kind : std::uint8_t { null, boolean, integer, real, string, data, date, array, dictionary };

  Value() noexcept;
  Value(std::nullptr_t) noexcept;
  Value(bool boolean) noexcept;
  /// Unsigned numbers past the signed 64-bit range saturate.
  template <std::integral T>
  requires(!std::same_as<T, bool> && !std::same_as<T, char>) Value(T integer)
  noexcept
      : storage_(std::cmp_greater(integer, std::numeric_limits<std::int64_t>::max())
                     ? std::numeric_limits<std::int64_t>::max()
                     : static_cast<std::int64_t>(integer)) {}
  Value(double real) noexcept;
  Value(float real) noexcept;
  Value(const char* text);
  Value(std::string text) noexcept;
  Value(std::string_view text);
  Value(Data bytes) noexcept;
  Value(Date date) noexcept;
  Value(Array array) noexcept;
  Value(Dictionary dictionary) noexcept;
  template <typename T>
  Value(T*) = delete;

  Value(const Value&);
  Value(Value&&) noexcept;
  Value& operator=(const Value&);
  Value& operator=(Value&&) noexcept;
  ~Value();

  [[nodiscard]] Kind kind() const noexcept { return static_cast<Kind>(storage_.index()); }
  [[nodiscard]] bool isNull() const noexcept { return kind() == Kind::null; }
  /// Booleans are numbers too, as they are to the serialiser.
  [[nodiscard]] bool isNumber() const noexcept {
    return kind() == Kind::boolean || kind() == Kind::integer || kind() == Kind::real;
  }

  /// The value as exactly that type, or a null pointer.
  [[nodiscard]] const bool* boolean() const noexcept { return std::get_if<bool>(&storage_); }
  [[nodiscard]] const std::string* string() const noexcept { return std::get_if<std::string>(&storage_); }
  [[nodiscard]] const Data* data() const noexcept { return std::get_if<Data>(&storage_); }
  [[nodiscard]] const Date* date() const noexcept { return std::get_if<Date>(&storage_); }
  [[nodiscard]] const Array* array() const noexcept { return std::get_if<Array>(&storage_); }
  [[nodiscard]] Array* array() noexcept { return std::get_if<Array>(&storage_); }
  [[nodiscard]] const Dictionary* dictionary() const noexcept { return std::get_if<Dictionary>(&storage_); }
  [[nodiscard]] Dictionary* dictionary() noexcept { return std::get_if<Dictionary>(&storage_); }

  /// Lenient reads: numbers convert (saturating; what is no number gives 0), text is read as far as it
  /// looks like a number ("YES", "true" and a leading non-zero digit are true), anything else gives 0 or false.
  [[nodiscard]] std::int64_t integerValue() const noexcept;
  [[nodiscard]] double doubleValue() const noexcept;
  [[nodiscard]] bool boolValue() const noexcept;

  /// Numbers compare as numbers: a true boolean equals 1.
  friend TROVIX_API bool operator==(const Value& a, const Value& b);

 private:
  std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, Data, Date, Array, Dictionary> storage_;
};

/// The text that log lines print: strings as they are, null as "<null>", dictionaries and arrays in the
/// indented property-list form.
[[nodiscard]] TROVIX_API std::string description(const Value& value);
[[nodiscard]] TROVIX_API std::string description(const Dictionary& dictionary);
/// "(null)" for what is missing.
[[nodiscard]] TROVIX_API std::string description(const Value* value);
template <typename T>
[[nodiscard]] std::string description(const std::optional<T>& value) {
  return value ? description(Value(*value)) : "(null)";
}

/// The one presence test: there, not null, and not empty where it has a length or a count.
[[nodiscard]] TROVIX_API bool txsdk_exists(const Value* value) noexcept;
[[nodiscard]] inline bool txsdk_exists(const Value& value) noexcept { return txsdk_exists(&value); }
[[nodiscard]] inline bool txsdk_exists(const std::optional<std::string>& text) noexcept {
  return text && !text->empty();
}
[[nodiscard]] inline bool txsdk_exists(const std::optional<Dictionary>& dictionary) noexcept {
  return dictionary && !dictionary->empty();
}

/// The one conversion of an outside number to an integer: truncates, saturates at the ends, and gives 0 for
/// what is no number.
[[nodiscard]] TROVIX_API std::int64_t saturatingInteger(double number) noexcept;

template <typename T>
void Dictionary::setIfPresent(std::string_view key, const std::optional<T>& value) {
  if (value) set(key, Value(*value));
}

template <typename Predicate>
void Dictionary::removeIf(Predicate matches) {
  std::erase_if(entries_, [&](const Entry& entry) { return matches(entry); });
  rebuildIndex(entries_.size());
}

}  // namespace trovix
