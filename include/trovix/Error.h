#pragma once

#include <memory>
#include <string>
#include <variant>

#include "trovix/Export.h"
#include "trovix/Value.h"

namespace trovix {

/// What went wrong: a domain, a code and user information. Immutable and cheap to copy. Making one never fails.
class TROVIX_API Error {
 public:
  /// User-information key of the message.
  static constexpr const char* localizedDescriptionKey = "NSLocalizedDescription";
  /// User-information key of the failing address of a deep link.
  static constexpr const char* failingURLStringKey = "TXSDKErrorFailingURLStringKey";

  Error(std::string domain, std::int64_t code, Dictionary userInfo = {});
  Error(std::string domain, std::int64_t code, Dictionary userInfo, const Error& underlyingError);
  Error(const Error&);
  Error& operator=(const Error&);
  Error(Error&&) noexcept;
  Error& operator=(Error&&) noexcept;
  ~Error();

  /// Which family of errors the code belongs to.
  [[nodiscard]] const std::string& domain() const noexcept;
  /// What went wrong, within the domain.
  [[nodiscard]] std::int64_t code() const noexcept;
  /// Without the underlying error, which is not a property-list value.
  [[nodiscard]] const Dictionary& userInfo() const noexcept;
  /// The cause, or a null pointer. Lives as long as this error.
  [[nodiscard]] const Error* underlyingError() const noexcept;

  /// The message, or a text made of domain and code when none was given.
  [[nodiscard]] std::string localizedDescription() const;
  /// Error Domain=... Code=... "message", with the underlying error when there is one.
  [[nodiscard]] std::string description() const;

  friend TROVIX_API bool operator==(const Error& a, const Error& b);

 private:
  struct Record;
  std::shared_ptr<const Record> record_;
};

/// "(null)" for what is missing.
[[nodiscard]] TROVIX_API std::string description(const std::optional<Error>& error);

/// Domain of URL-loading errors; -1001 is a time-out.
inline constexpr const char* urlErrorDomain = "NSURLErrorDomain";
/// Domain of system-call errors; the code is errno.
inline constexpr const char* posixErrorDomain = "NSPOSIXErrorDomain";

/// A value, or the error that stands in its place.
template <typename T>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
  Result(Error error) : state_(std::in_place_index<1>, std::move(error)) {}

  /// Whether there is a value.
  [[nodiscard]] bool ok() const noexcept { return state_.index() == 0; }
  explicit operator bool() const noexcept { return ok(); }
  /// The value. Only while ok().
  [[nodiscard]] T& value() & { return std::get<0>(state_); }
  [[nodiscard]] const T& value() const& { return std::get<0>(state_); }
  [[nodiscard]] T&& value() && { return std::get<0>(std::move(state_)); }
  T& operator*() & { return value(); }
  const T& operator*() const& { return value(); }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }
  /// The error. Only while not ok().
  [[nodiscard]] const Error& error() const { return std::get<1>(state_); }

 private:
  std::variant<T, Error> state_;
};

/// Success, or the error.
using Status = Result<std::monostate>;
[[nodiscard]] inline Status success() { return Status(std::monostate{}); }

}  // namespace trovix
