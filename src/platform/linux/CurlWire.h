#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/linux/CurlExchange.h"

struct curl_slist;

namespace trovix::platform {

/// A request that is loaded. `ended` runs on whichever thread drives the wire, and must only hand on.
class CurlLoad {
 public:
  virtual ~CurlLoad() = default;
  /// Constant while the wire has the load.
  [[nodiscard]] virtual const URLRequest& request() const = 0;
  /// When the task began; every request of a chain of redirects counts from there.
  [[nodiscard]] virtual CurlExchange::Time begun() const = 0;
  /// The answer, or the error. `url` is the parsed address, or null when it was refused.
  virtual void ended(URLResult result, const CurlURL* url) = 0;
};

/// Every transfer of the platform, over one multi handle, which keeps connections, names and certificate authorities
/// between requests. Whatever it waits for shows in one descriptor. Nothing blocks. One thread at a time.
class CurlWire {
 public:
  explicit CurlWire(const CurlOptions& options);
  /// Drops what is under way without another word.
  ~CurlWire();
  CurlWire(const CurlWire&) = delete;
  CurlWire& operator=(const CurlWire&) = delete;

  /// Whether the system gave what it needs; nothing else may be called otherwise.
  [[nodiscard]] bool isUsable() const noexcept { return multi_ != nullptr && events_ >= 0 && timer_ >= 0; }
  /// Readable while there is something to do for `drive`.
  [[nodiscard]] int descriptor() const noexcept { return events_; }
  void start(std::shared_ptr<CurlLoad> load);
  /// Moves on what can move.
  void drive();

 private:
  using Time = CurlExchange::Time;
  struct Transfer {
    std::shared_ptr<CurlLoad> load;
    void* easy = nullptr;
    std::unique_ptr<CurlExchange> exchange;
  };

  static int onSocket(void* easy, int socket, int what, void* self, void* isWatched);
  static int onTimer(void* multi, long milliseconds, void* self);

  void moveReady();
  void finish(void* easy, int code);
  void finishDone();
  void finishOverdue();
  [[nodiscard]] Time deadline(const Transfer& transfer) const;
  void armTimer();
  Transfer take(void* easy);

  const CurlOptions& options_;
  void* multi_ = nullptr;
  curl_slist* connectTo_ = nullptr;
  int events_ = -1;
  int timer_ = -1;
  /// When curl wants to be called, and what the timer is set to.
  std::optional<Time> curlTime_;
  std::optional<Time> armedTime_;
  std::vector<Transfer> transfers_;
  std::vector<void*> idleHandles_;
};

}  // namespace trovix::platform
