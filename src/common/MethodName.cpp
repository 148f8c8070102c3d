#include "common/Log.h"

namespace trovix::logging {
namespace {

constexpr std::string_view closureMarks[] = {"<lambda", "(anonymous class)", "(lambda", "'lambda"};

void removeAll(std::string& text, std::string_view part) {
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at)) text.erase(at, part.size());
}

// Where the parameters of the outermost function begin: the first bracket outside template arguments.
std::size_t parametersBegin(std::string_view text) noexcept {
  int depth = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '<') ++depth;
    if (text[i] == '>') --depth;
    if (text[i] == '(' && depth <= 0) {
      const bool callOperator = text.substr(0, i).ends_with("operator");
      if (!callOperator) return i;
      ++i;
    }
  }
  return text.size();
}

// Where the qualified name that ends the text begins: behind the last blank outside template arguments.
std::size_t nameBegin(std::string_view text) noexcept {
  int depth = 0;
  for (std::size_t i = text.size(); i > 0; --i) {
    const char c = text[i - 1];
    if (c == '>') ++depth;
    if (c == '<') --depth;
    if (depth <= 0 && (c == ' ' || c == '*' || c == '&')) return i;
  }
  return 0;
}

// The last component of a qualified name, without template arguments; `qualified` keeps what stands before it.
std::string_view takeLastComponent(std::string_view& qualified) noexcept {
  int depth = 0;
  std::size_t begin = 0;
  for (std::size_t i = qualified.size(); i > 1 && begin == 0; --i) {
    const char c = qualified[i - 1];
    if (c == '>') ++depth;
    if (c == '<') --depth;
    if (depth <= 0 && c == ':' && qualified[i - 2] == ':') begin = i;
  }
  std::string_view component = qualified.substr(begin);
  qualified = qualified.substr(0, begin < 2 ? 0 : begin - 2);
  return component.substr(0, component.find('<'));
}

bool isClassName(std::string_view component) noexcept {
  return !component.empty() && component.front() >= 'A' && component.front() <= 'Z';
}

}  // namespace

std::string methodName(std::string_view prettyFunction) {
  std::string text(prettyFunction);
  removeAll(text, "(anonymous namespace)::");
  removeAll(text, "{anonymous}::");
  bool inClosure = false;
  for (const std::string_view mark : closureMarks) inClosure = inClosure || text.find(mark) != std::string::npos;

  std::string_view qualified(text);
  const bool isStatic = qualified.starts_with("static ");
  qualified = qualified.substr(0, parametersBegin(qualified));
  qualified.remove_prefix(nameBegin(qualified));
  const std::string_view method = takeLastComponent(qualified);
  const std::string_view owner = takeLastComponent(qualified);

  std::string name;
  if (isClassName(owner)) {
    name = isStatic ? "+[" : "-[";
    name.append(owner).append(" ").append(method).append("]");
  } else {
    name = method;
  }
  if (inClosure) name += "_block_invoke";
  return name;
}

}  // namespace trovix::logging
