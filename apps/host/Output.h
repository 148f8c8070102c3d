#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>

#include "trovix/Error.h"
#include "trovix/TrovixDeepLink.h"
#include "trovix/Value.h"

namespace trovix::host {

/// The program's own output: one JSON object a line on standard output. Any thread.
class Output {
 public:
  /// Prints {"name", "t", fields...}.
  void line(const std::string& name, const Dictionary& fields);
  /// Takes a line of that name that nobody took before; false when there is none.
  [[nodiscard]] bool take(const std::string& name);

 private:
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::mutex mutex_;
  // Guarded by mutex_: lines printed and not yet taken.
  std::map<std::string, std::size_t> untaken_;
};

/// {"domain", "code", "message"}, with "underlying" when there is one.
[[nodiscard]] Dictionary errorFields(const Error& error);
/// {"status", "deepLink", "error"}: the status by name, the deep link's properties by theirs.
[[nodiscard]] Dictionary deepLinkResultFields(const TrovixDeepLinkResult& result);

}  // namespace trovix::host
