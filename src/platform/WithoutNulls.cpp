#include "platform/WithoutNulls.h"

#include <utility>
#include <vector>

namespace trovix::platform {

Value withoutNulls(Value value) {
  if (Array* array = value.array()) {
    std::erase_if(*array, [](const Value& element) { return element.isNull(); });
    for (Value& element : *array) element = withoutNulls(std::move(element));
  } else if (Dictionary* dictionary = value.dictionary()) {
    dictionary->removeIf([](const Dictionary::Entry& entry) { return entry.second.isNull(); });
    for (const auto& [key, nested] : *dictionary) {
      if (nested.array() == nullptr && nested.dictionary() == nullptr) continue;
      Value* place = dictionary->find(key);
      *place = withoutNulls(std::move(*place));
    }
  }
  return value;
}

}  // namespace trovix::platform
