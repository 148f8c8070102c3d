// What is read can be written, and reads back as the same.
#include "fuzz/Support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace trovix;
  using fuzz::require;
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  const auto value = platform::parseJson(text, true);
  const auto document = platform::parseJson(text);
  const bool isDocument = value && (value->array() != nullptr || value->dictionary() != nullptr);
  require(static_cast<bool>(document) == isDocument);
  if (!document) return 0;
  require(platform::isValidUtf8(text) && platform::isValidJsonObject(*document));
  const auto written = platform::writeJson(*document);
  require(written && platform::isValidUtf8(*written));
  const auto again = platform::parseJson(*written);
  require(again && *again == *document);
  require(!description(*document).empty());
  return 0;
}
