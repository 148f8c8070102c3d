#include "platform/KeyedHash.h"

#include <array>
#include <bit>
#include <cstring>

#include "platform/Crypto.h"

namespace trovix::platform {
namespace {

struct Key {
  std::uint64_t first = 0, second = 0;
};

const Key& processKey() noexcept {
  static const Key key = [] {
    std::array<std::uint8_t, 16> bytes{};
    // Zero bytes on failure still hash correctly; only the protection is gone.
    static_cast<void>(secureRandom(bytes));
    Key drawn;
    std::memcpy(&drawn.first, bytes.data(), 8);
    std::memcpy(&drawn.second, bytes.data() + 8, 8);
    return drawn;
  }();
  return key;
}

// SipHash with one compression and three finalisation rounds.
struct SipState {
  std::uint64_t v0, v1, v2, v3;

  explicit SipState(const Key& key) noexcept
      : v0(key.first ^ 0x736f6d6570736575U),
        v1(key.second ^ 0x646f72616e646f6dU),
        v2(key.first ^ 0x6c7967656e657261U),
        v3(key.second ^ 0x7465646279746573U) {}

  void round() noexcept {
    v0 += v1;
    v1 = std::rotl(v1, 13) ^ v0;
    v0 = std::rotl(v0, 32);
    v2 += v3;
    v3 = std::rotl(v3, 16) ^ v2;
    v0 += v3;
    v3 = std::rotl(v3, 21) ^ v0;
    v2 += v1;
    v1 = std::rotl(v1, 17) ^ v2;
    v2 = std::rotl(v2, 32);
  }

  void absorb(std::uint64_t word) noexcept {
    v3 ^= word;
    round();
    v0 ^= word;
  }
};

}  // namespace

std::uint64_t keyedHash(std::string_view text) noexcept {
  SipState state(processKey());
  const std::uint64_t size = text.size();
  while (text.size() >= 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data(), 8);
    state.absorb(word);
    text.remove_prefix(8);
  }
  std::uint64_t last = 0;
  if (!text.empty()) std::memcpy(&last, text.data(), text.size());
  state.absorb(last | (size << 56));
  state.v2 ^= 0xff;
  for (int i = 0; i < 3; ++i) state.round();
  return state.v0 ^ state.v1 ^ state.v2 ^ state.v3;
}

}  // namespace trovix::platform
