#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "trovix/Value.h"

namespace trovix {

/// A request payload under construction: a key that is set with nothing is still there, as "".
class TrovixDictionary {
 public:
  void setParameter(std::optional<Value> value, std::string_view key) {
    dict_.set(key, value ? *std::move(value) : Value(""));
  }
  void setParameter(const std::optional<std::string>& text, std::string_view key) {
    dict_.set(key, text ? Value(*text) : Value(""));
  }
  void setParameter(const char* text, std::string_view key) { dict_.set(key, Value(text)); }

  [[nodiscard]] const Dictionary& dict() const noexcept { return dict_; }
  [[nodiscard]] Dictionary& dict() noexcept { return dict_; }
  void setDict(Dictionary dict) { dict_ = std::move(dict); }

 private:
  Dictionary dict_;
};

}  // namespace trovix
