#include "trovix/Error.h"

#include <fmt/core.h>

namespace trovix {

struct Error::Record {
  std::string domain;
  std::int64_t code = 0;
  Dictionary userInfo;
  std::optional<Error> underlyingError;
};

Error::Error(std::string domain, std::int64_t code, Dictionary userInfo)
    : record_(std::make_shared<const Record>(Record{std::move(domain), code, std::move(userInfo), std::nullopt})) {}
Error::Error(std::string domain, std::int64_t code, Dictionary userInfo, const Error& underlyingError)
    : record_(std::make_shared<const Record>(Record{std::move(domain), code, std::move(userInfo), underlyingError})) {}
Error::Error(const Error&) = default;
Error& Error::operator=(const Error&) = default;
// A moved-from error stays whole: it can be in a closure that still reads it.
Error::Error(Error&& other) noexcept : record_(other.record_) {}  // NOLINT(performance-move-constructor-init)
Error& Error::operator=(Error&& other) noexcept {
  record_ = other.record_;
  return *this;
}
Error::~Error() = default;

const std::string& Error::domain() const noexcept { return record_->domain; }
std::int64_t Error::code() const noexcept { return record_->code; }
const Dictionary& Error::userInfo() const noexcept { return record_->userInfo; }
const Error* Error::underlyingError() const noexcept {
  return record_->underlyingError ? &*record_->underlyingError : nullptr;
}

std::string Error::localizedDescription() const {
  if (const std::string* message = record_->userInfo.string(localizedDescriptionKey)) return *message;
  return fmt::format("The operation couldn’t be completed. ({} error {}.)", record_->domain, record_->code);
}

std::string Error::description() const {
  std::string text = fmt::format("Error Domain={} Code={} \"{}\"", domain(), code(), localizedDescription());
  if (const Error* cause = underlyingError()) text += " UserInfo={NSUnderlyingError={" + cause->description() + "}}";
  return text;
}

bool operator==(const Error& a, const Error& b) {
  if (a.record_ == b.record_) return true;
  return a.record_->domain == b.record_->domain && a.record_->code == b.record_->code &&
         a.record_->userInfo == b.record_->userInfo && a.record_->underlyingError == b.record_->underlyingError;
}

std::string description(const std::optional<Error>& error) { return error ? error->description() : "(null)"; }

}  // namespace trovix
