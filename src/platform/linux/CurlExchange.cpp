#include "platform/linux/CurlExchange.h"

#include <curl/curl.h>
#include <fmt/core.h>
#include <strings.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <utility>

#include "platform/linux/CurlErrors.h"

namespace trovix::platform {
namespace {

constexpr const char* userAgent = "trovix";

// These belong to the connection, not to the caller.
bool isReserved(const std::string& name) {
  for (const char* reserved : {"Connection", "Content-Length", "Expect", "Host", "Transfer-Encoding"}) {
    if (strcasecmp(name.c_str(), reserved) == 0) return true;
  }
  return false;
}

// A line feed in a field would start another one.
bool isSafe(const std::string& text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())) != 0) text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0) text.remove_suffix(1);
  return text;
}

std::string mimeTypeOf(const HeaderFields& headers) {
  const std::string* field = headers.find("Content-Type");
  if (field == nullptr) return {};
  std::string type(trimmed(std::string_view(*field).substr(0, field->find(';'))));
  std::transform(type.begin(), type.end(), type.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return type;
}

}  // namespace

CurlExchange::CurlExchange(const URLRequest& request, CurlURL url, const CurlOptions& options)
    : request_(request), url_(std::move(url)), options_(options) {}

CurlExchange::~CurlExchange() { curl_slist_free_all(headers_); }

void CurlExchange::bind(void* easy, curl_slist* connectTo) {
  easy_ = easy;
  curl_easy_setopt(easy, CURLOPT_CURLU, url_.handle());
  setMethodAndBody();
  setHeaders();
  // "*" keeps the connection from a proxy: one that is told its address, or stays on this machine.
  const bool isDirected = url_.scheme() == "https" && connectTo != nullptr;
  curl_easy_setopt(easy, CURLOPT_CONNECT_TO, isDirected ? connectTo : nullptr);
  curl_easy_setopt(easy, CURLOPT_NOPROXY, isDirected || url_.isLoopback() ? "*" : nullptr);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &CurlExchange::onHeader);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &CurlExchange::onBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
  curl_easy_setopt(easy, CURLOPT_XFERINFOFUNCTION, &CurlExchange::onProgress);
  curl_easy_setopt(easy, CURLOPT_XFERINFODATA, this);
}

void CurlExchange::setMethodAndBody() {
  const bool isHead = request_.method == "HEAD";
  curl_easy_setopt(easy_, CURLOPT_POSTFIELDS, nullptr);
  curl_easy_setopt(easy_, CURLOPT_HTTPGET, 1L);
  if (isHead) curl_easy_setopt(easy_, CURLOPT_NOBODY, 1L);
  if (!isHead && (request_.body || request_.method == "POST")) {
    const bool isEmpty = !request_.body || request_.body->empty();
    curl_easy_setopt(easy_, CURLOPT_POST, 1L);
    curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(isEmpty ? std::size_t{0} : request_.body->size()));
    curl_easy_setopt(easy_, CURLOPT_POSTFIELDS, isEmpty ? "" : reinterpret_cast<const char*>(request_.body->data()));
  }
  curl_easy_setopt(easy_, CURLOPT_CUSTOMREQUEST, isHead ? nullptr : request_.method.c_str());
}

void CurlExchange::setHeaders() {
  curl_slist_free_all(std::exchange(headers_, nullptr));
  const auto append = [this](const std::string& line) {
    if (auto* grown = curl_slist_append(headers_, line.c_str())) headers_ = grown;
  };
  for (const auto& [name, value] : request_.headers) {
    if (name.empty() || isReserved(name) || !isSafe(name) || !isSafe(value)) continue;
    append(value.empty() ? name + ";" : fmt::format("{}: {}", name, value));
  }
  if (request_.headers.find("User-Agent") == nullptr) append(fmt::format("User-Agent: {}", userAgent));
  // The server's "continue" would cost every upload a round trip.
  append("Expect:");
  curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, headers_);
}

std::size_t CurlExchange::onHeader(char* bytes, std::size_t size, std::size_t count, void* self) {
  auto& exchange = *static_cast<CurlExchange*>(self);
  exchange.lastActivity_ = std::chrono::steady_clock::now();
  exchange.readHeader(std::string_view(bytes, size * count));
  return size * count;
}

void CurlExchange::readHeader(std::string_view line) {
  // Each answer of a chain, a proxy's or an interim one included, starts anew.
  if (line.substr(0, 5) == "HTTP/") {
    response_.headers = HeaderFields();
    return;
  }
  const auto colon = line.find(':');
  if (colon == std::string_view::npos || colon == 0) return;
  response_.headers.add(std::string(trimmed(line.substr(0, colon))), std::string(trimmed(line.substr(colon + 1))));
}

std::size_t CurlExchange::onBody(char* bytes, std::size_t size, std::size_t count, void* self) {
  auto& exchange = *static_cast<CurlExchange*>(self);
  const std::size_t length = size * count;
  exchange.lastActivity_ = std::chrono::steady_clock::now();
  if (length > exchange.options_.maximumAnswer - exchange.body_.size()) {
    exchange.isTooLarge_ = true;
    return length + 1;
  }
  exchange.body_.insert(exchange.body_.end(), bytes, bytes + length);
  return length;
}

int CurlExchange::onProgress(void* self, std::int64_t, std::int64_t down, std::int64_t, std::int64_t up) {
  auto& exchange = *static_cast<CurlExchange*>(self);
  if (std::exchange(exchange.bytesMoved_, down + up) != down + up) {
    exchange.lastActivity_ = std::chrono::steady_clock::now();
  }
  return 0;
}

URLResult CurlExchange::finish(int code) {
  URLResult result;
  if (code != CURLE_OK) {
    const auto failure = isTooLarge_ ? urlError::dataLengthExceedsMaximum : urlErrorCode(code);
    result.error = urlLoadingError(failure, request_.url);
    return result;
  }
  long status = 0;
  curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
  response_.statusCode = status;
  response_.mimeType = mimeTypeOf(response_.headers);
  response_.url = request_.url;
  result.response = std::move(response_);
  result.data = std::move(body_);
  return result;
}

}  // namespace trovix::platform
