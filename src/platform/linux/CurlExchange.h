#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/linux/CurlOptions.h"
#include "platform/linux/CurlURL.h"
#include "trovix/platform/URLSession.h"

struct curl_slist;

namespace trovix::platform {

/// One request on the wire. It is bound to an easy handle while the multi handle drives it. One thread at a time.
class CurlExchange {
 public:
  using Time = std::chrono::steady_clock::time_point;

  CurlExchange(const URLRequest& request, CurlURL url, const CurlOptions& options);
  ~CurlExchange();
  CurlExchange(const CurlExchange&) = delete;
  CurlExchange& operator=(const CurlExchange&) = delete;

  /// Sets the easy handle up for this request; `connectTo` is where https goes, or null, and outlives the exchange.
  void bind(void* easy, curl_slist* connectTo);
  /// What came of it; `code` is curl's. The address is the request's.
  [[nodiscard]] URLResult finish(int code);
  /// Time of the last byte in either direction.
  [[nodiscard]] Time lastActivity() const noexcept { return lastActivity_; }
  [[nodiscard]] const CurlURL& url() const noexcept { return url_; }

 private:
  static std::size_t onHeader(char* bytes, std::size_t size, std::size_t count, void* self);
  static std::size_t onBody(char* bytes, std::size_t size, std::size_t count, void* self);
  static int onProgress(void* self, std::int64_t downTotal, std::int64_t down, std::int64_t upTotal, std::int64_t up);

  void setMethodAndBody();
  void setHeaders();
  void readHeader(std::string_view line);

  const URLRequest& request_;
  const CurlURL url_;
  const CurlOptions& options_;
  void* easy_ = nullptr;
  curl_slist* headers_ = nullptr;
  URLResponse response_;
  Data body_;
  bool isTooLarge_ = false;
  std::int64_t bytesMoved_ = 0;
  Time lastActivity_ = std::chrono::steady_clock::now();
};

}  // namespace trovix::platform
