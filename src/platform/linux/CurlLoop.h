#pragma once

#include <chrono>
#include <memory>
#include <vector>

#include "platform/Mutex.h"
#include "platform/linux/CurlExchange.h"
#include "platform/linux/WorkerThread.h"

namespace trovix::platform {

/// A request that the loop loads. Its functions run on the I/O thread.
class CurlLoad {
 public:
  virtual ~CurlLoad() = default;
  /// Constant while the loop has the load.
  [[nodiscard]] virtual const URLRequest& request() const = 0;
  /// When the task began; every request of a chain of redirects counts from there.
  [[nodiscard]] virtual CurlExchange::Time begun() const = 0;
  /// The answer, or the error. `url` is the parsed address, or null when it was refused.
  virtual void ended(URLResult result, const CurlURL* url) = 0;
};

/// The I/O thread: drives every transfer of the platform over one multi handle, which keeps connections, names and
/// certificate authorities between requests. It starts with the first load and sleeps while nothing is on the wire.
/// Any thread.
class CurlLoop : public std::enable_shared_from_this<CurlLoop> {
 public:
  explicit CurlLoop(CurlOptions options);
  ~CurlLoop();

  /// The load answers `ended` once, unless the loop stops before.
  void begin(std::shared_ptr<CurlLoad> load);
  /// Drops what is on the wire without another word. Answers whether the thread ended in time.
  bool stopUntil(std::chrono::steady_clock::time_point deadline);
  [[nodiscard]] const CurlOptions& options() const noexcept { return options_; }

 private:
  struct Wire;
  using Loads = std::vector<std::shared_ptr<CurlLoad>>;

  void run();
  bool takeLoads(Loads& loads);

  const CurlOptions options_;
  Mutex mutex_;
  Loads inbox_ TX_GUARDED_BY(mutex_);
  bool isStopped_ TX_GUARDED_BY(mutex_) = false;
  /// The wire while its thread sleeps, or is about to.
  Wire* sleeping_ TX_GUARDED_BY(mutex_) = nullptr;
  bool isStarted_ TX_GUARDED_BY(mutex_) = false;
  WorkerThread thread_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix::platform
