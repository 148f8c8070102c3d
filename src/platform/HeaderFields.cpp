#include <algorithm>

#include "trovix/platform/URLSession.h"

namespace trovix::platform {
namespace {

char lowered(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool equalNames(std::string_view a, std::string_view b) noexcept {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lowered(x) == lowered(y); });
}

}  // namespace

void HeaderFields::set(std::string_view name, std::string value) {
  const auto sameName = [&](const auto& field) { return equalNames(field.first, name); };
  const auto field = std::find_if(fields_.begin(), fields_.end(), sameName);
  if (field == fields_.end()) {
    fields_.emplace_back(std::string(name), std::move(value));
    return;
  }
  field->second = std::move(value);
  fields_.erase(std::remove_if(field + 1, fields_.end(), sameName), fields_.end());
}

void HeaderFields::add(std::string name, std::string value) { fields_.emplace_back(std::move(name), std::move(value)); }

const std::string* HeaderFields::find(std::string_view name) const noexcept {
  for (const auto& field : fields_) {
    if (equalNames(field.first, name)) return &field.second;
  }
  return nullptr;
}

}  // namespace trovix::platform
