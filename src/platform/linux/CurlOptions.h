#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace trovix::platform {

/// How the sessions load.
struct CurlOptions {
  /// "ADDRESS:PORT" that every https connection goes to; empty: where the address says.
  std::string connectTo;
  std::string certificateAuthorityFile;
  bool allowPlainHttp = false;
  std::size_t maximumAnswer = std::size_t{8} << 20;
  int maximumRedirects = 16;
  /// Without data, where the request does not say.
  std::chrono::milliseconds idleLimit{std::chrono::seconds(60)};
  /// From the first byte of the first request to the last of the answer, redirects included.
  std::chrono::milliseconds totalLimit{std::chrono::minutes(5)};
};

}  // namespace trovix::platform
