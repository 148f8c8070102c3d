#include "platform/linux/DeviceProfile.h"

#include <cerrno>
#include <cmath>
#include <fstream>
#include <utility>

#include "platform/Json.h"
#include "platform/linux/PosixError.h"

namespace trovix::platform {
namespace {

constexpr std::size_t maximumFileSize = std::size_t{4} * 1024 * 1024;
/// Of the facts themselves only this one is a section again; others that are dictionaries are replaced whole.
constexpr std::string_view nestedSection = "info";

void mergeSection(Dictionary& section, const Dictionary& changes) {
  for (const auto& [name, change] : changes) {
    Value* fact = section.find(name);
    if (change.isNull()) {
      section.remove(name);
    } else if (name == nestedSection && fact != nullptr && fact->dictionary() != nullptr &&
               change.dictionary() != nullptr) {
      mergeSection(*fact->dictionary(), *change.dictionary());
    } else {
      section.set(name, change);
    }
  }
}

void mergeProfile(Dictionary& facts, const Dictionary& changes) {
  for (const auto& [name, change] : changes) {
    Value* section = facts.find(name);
    const bool mergesInto = section != nullptr && section->dictionary() != nullptr && change.dictionary() != nullptr;
    if (change.isNull()) {
      facts.remove(name);
    } else if (!mergesInto || (name == "disk" && change.dictionary()->contains("error"))) {
      facts.set(name, change);
    } else {
      if (name == "disk") section->dictionary()->remove("error");
      mergeSection(*section->dictionary(), *change.dictionary());
    }
  }
}

}  // namespace

DeviceProfile::DeviceProfile(Dictionary facts) : facts_(std::make_shared<const Dictionary>(std::move(facts))) {}

Result<Dictionary> DeviceProfile::readFile(const std::string& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file) return posixError(errno != 0 ? errno : EIO, path);
  std::string text(maximumFileSize + 1, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (file.bad()) return posixError(errno != 0 ? errno : EIO, path);
  text.resize(static_cast<std::size_t>(file.gcount()));
  if (text.size() > maximumFileSize) return posixError(EFBIG, path);
  Result<Value> root = parseJson(std::string_view(text));
  if (!root) return root.error();
  if (root.value().dictionary() == nullptr) {
    return Error(jsonErrorDomain, jsonCorruptCode,
                 Dictionary{{Error::localizedDescriptionKey, Value(path + ": not an object")}});
  }
  return std::move(*root.value().dictionary());
}

void DeviceProfile::merge(const Dictionary& changes) {
  const MutexLock lock(mutex_);
  Dictionary merged = *facts_;
  mergeProfile(merged, changes);
  facts_ = std::make_shared<const Dictionary>(std::move(merged));
}

std::shared_ptr<const Dictionary> DeviceProfile::snapshot() const {
  const MutexLock lock(mutex_);
  return facts_;
}

std::optional<Value> DeviceProfile::value(Path path) const {
  const auto facts = snapshot();
  const Value* fact = factAt(*facts, path);
  return fact != nullptr ? std::optional<Value>(*fact) : std::nullopt;
}

std::optional<std::string> DeviceProfile::string(Path path) const {
  const auto facts = snapshot();
  const Value* fact = factAt(*facts, path);
  const std::string* text = fact != nullptr ? fact->string() : nullptr;
  return text != nullptr ? std::optional<std::string>(*text) : std::nullopt;
}

std::optional<bool> DeviceProfile::boolean(Path path) const {
  const auto facts = snapshot();
  const Value* fact = factAt(*facts, path);
  const bool* flag = fact != nullptr ? fact->boolean() : nullptr;
  return flag != nullptr ? std::optional<bool>(*flag) : std::nullopt;
}

std::optional<std::int64_t> DeviceProfile::integer(Path path) const {
  const auto facts = snapshot();
  return wholeNumber(factAt(*facts, path));
}

std::optional<double> DeviceProfile::real(Path path) const {
  const auto facts = snapshot();
  const Value* fact = factAt(*facts, path);
  if (fact == nullptr || (fact->kind() != Value::Kind::integer && fact->kind() != Value::Kind::real)) {
    return std::nullopt;
  }
  return fact->doubleValue();
}

const Value* factAt(const Dictionary& facts, DeviceProfile::Path path) noexcept {
  const Dictionary* section = &facts;
  const Value* value = nullptr;
  for (const std::string_view name : path) {
    if (section == nullptr) return nullptr;
    value = section->find(name);
    if (value == nullptr || value->isNull()) return nullptr;
    section = value->dictionary();
  }
  return value;
}

std::optional<std::int64_t> wholeNumber(const Value* value) noexcept {
  if (value == nullptr) return std::nullopt;
  if (value->kind() == Value::Kind::integer) return value->integerValue();
  if (value->kind() != Value::Kind::real) return std::nullopt;
  const double number = value->doubleValue();
  // The upper end is the first number that does not fit.
  const bool fits = std::trunc(number) == number && number >= -0x1p63 && number < 0x1p63;
  return fits ? std::optional<std::int64_t>(saturatingInteger(number)) : std::nullopt;
}

}  // namespace trovix::platform
