#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "collector/Request.h"
#include "trovix/Error.h"
#include "trovix/Value.h"

namespace trovix::collector {

/// One answer of a scenario, read and checked.
struct Answer {
  std::uint64_t times = 1;
  bool forever = false;
  CertificateFault tls = CertificateFault::none;
  bool hasBody = false;  ///< a 200 without one takes the healthy body
  Reply reply;
  std::vector<std::string> removedHeaders;
};

/// Reads one answer; the error names the field that is wrong.
Result<Answer> parseAnswer(const Value& value);

/// The answers that are left. One thread at a time.
class Scenario {
 public:
  /// Replaces the answers under a key; an error changes nothing.
  Status set(std::string_view key, const Array& answers);

  /// The next answer to a request of that host and kind; nothing when a healthy one is due.
  [[nodiscard]] std::optional<Answer> next(std::string_view host, std::string_view kind);
  /// The certificate of the next handshake for the host.
  [[nodiscard]] CertificateFault nextCertificate(std::string_view host);

 private:
  using Answers = std::deque<Answer>;
  struct Lists {
    Answers requests;
    Answers handshakes;
  };

  static std::optional<Answer> take(Answers& answers);

  std::map<std::string, Lists, std::less<>> lists_;
};

/// Puts the scenario's answer in the place of the healthy one.
[[nodiscard]] Reply replyOf(Answer answer, Reply healthy);

}  // namespace trovix::collector
