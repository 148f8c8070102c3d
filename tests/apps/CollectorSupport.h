#pragma once

#include <charconv>
#include <string>
#include <string_view>

namespace trovix::collector {

inline constexpr const char* testKey = "kVx2pQ9sLmN4";

inline std::string bytesFromHex(std::string_view hex) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    unsigned char byte = 0;
    std::from_chars(hex.data() + i, hex.data() + i + 2, byte, 16);
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

}  // namespace trovix::collector
