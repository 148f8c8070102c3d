#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <vector>

#include "platform/Mutex.h"
#include "platform/linux/CurlWire.h"
#include "platform/linux/WorkerPool.h"

namespace trovix::platform {

/// Drives the wire as one of the jobs of a pool: whenever a load begins, and whenever the wire has something to do. A
/// load that a job of the pool begins, and the job that follows its end, cost no wake-up. Any thread.
class CurlLoop : public WorkerPool::Job, public std::enable_shared_from_this<CurlLoop> {
 public:
  CurlLoop(CurlOptions options, std::shared_ptr<WorkerPool> pool);
  ~CurlLoop() override;

  /// The load answers `ended` once, unless the loop stops before.
  void begin(std::shared_ptr<CurlLoad> load);
  void run() override;
  /// Drops what is on the wire without another word. False when the wire was not to be had in time.
  bool stopUntil(std::chrono::steady_clock::time_point deadline);
  [[nodiscard]] const CurlOptions& options() const noexcept { return options_; }

 private:
  using Loads = std::vector<std::shared_ptr<CurlLoad>>;

  bool beginTurn(Loads& loads);
  void endTurn();
  bool openWire();

  const CurlOptions options_;
  const std::shared_ptr<WorkerPool> pool_;

  Mutex mutex_;
  std::condition_variable_any rested_;
  Loads inbox_ TX_GUARDED_BY(mutex_);
  bool isPosted_ TX_GUARDED_BY(mutex_) = false;
  bool isStopped_ TX_GUARDED_BY(mutex_) = false;
  bool isDriving_ TX_GUARDED_BY(mutex_) = false;
  /// A turn came while another thread had one.
  bool isTurnMissed_ TX_GUARDED_BY(mutex_) = false;

  /// Whoever drives, and once stopped whoever stops.
  std::unique_ptr<CurlWire> wire_;
};

}  // namespace trovix::platform
