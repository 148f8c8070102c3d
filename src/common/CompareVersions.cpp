#include "common/CompareVersions.h"

namespace trovix {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Takes the first component off: its digits without leading zeros, so that a number of any size compares by length.
std::string_view takeComponent(std::string_view& version) {
  const std::size_t dot = version.find('.');
  std::string_view component = version.substr(0, dot);
  version = dot == std::string_view::npos ? std::string_view() : version.substr(dot + 1);

  while (component.starts_with('0')) component.remove_prefix(1);
  std::size_t digits = 0;
  while (digits < component.size() && isDigit(component[digits])) ++digits;
  return component.substr(0, digits);
}

}  // namespace

int compareVersions(std::string_view a, std::string_view b) noexcept {
  while (!a.empty() || !b.empty()) {
    const std::string_view left = takeComponent(a);
    const std::string_view right = takeComponent(b);
    if (left.size() != right.size()) return left.size() < right.size() ? -1 : 1;
    if (const int order = left.compare(right); order != 0) return order < 0 ? -1 : 1;
  }
  return 0;
}

}  // namespace trovix
