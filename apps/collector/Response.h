#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "collector/Request.h"

namespace trovix::collector {

/// A reply as the bytes that go out: some that are given, then generated ones, up to where the connection is cut.
class Response {
 public:
  /// `reason` is the status's phrase, `keepAlive` what the client asks for; `withBody` is false for a HEAD request.
  Response(Reply reply, std::string_view reason, bool keepAlive, bool withBody);

  /// The bytes from a position on, at most `limit` of them; empty at the end. Valid as long as this.
  [[nodiscard]] std::string_view slice(std::uint64_t position, std::uint64_t limit) const;
  /// Whether another request may follow.
  [[nodiscard]] bool keepAlive() const noexcept { return keepAlive_; }
  [[nodiscard]] bool reset() const noexcept { return reset_; }

 private:
  std::string given_;
  std::uint64_t end_ = 0;
  bool keepAlive_;
  bool reset_;
};

}  // namespace trovix::collector
