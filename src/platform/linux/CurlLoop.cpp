#include "platform/linux/CurlLoop.h"

#include <utility>

#include "platform/linux/CurlErrors.h"
#include "trovix/platform/URLSession.h"

namespace trovix::platform {

CurlLoop::CurlLoop(CurlOptions options, std::shared_ptr<WorkerPool> pool)
    : options_(std::move(options)), pool_(std::move(pool)) {}

CurlLoop::~CurlLoop() = default;

void CurlLoop::begin(std::shared_ptr<CurlLoad> load) {
  {
    const MutexLock lock(mutex_);
    if (isStopped_) return;
    inbox_.push_back(std::move(load));
    if (std::exchange(isPosted_, true)) return;
  }
  pool_->post(shared_from_this());
}

bool CurlLoop::beginTurn(Loads& loads) {
  const MutexLock lock(mutex_);
  if (isStopped_) return false;
  isPosted_ = false;
  if (std::exchange(isDriving_, true)) {
    isTurnMissed_ = true;
    return false;
  }
  loads.swap(inbox_);
  return true;
}

void CurlLoop::endTurn() {
  {
    const MutexLock lock(mutex_);
    isDriving_ = false;
    if (isStopped_) rested_.notify_all();
    if (!std::exchange(isTurnMissed_, false) || isStopped_ || std::exchange(isPosted_, true)) return;
  }
  pool_->post(shared_from_this());
}

void CurlLoop::run() {
  Loads loads;
  if (!beginTurn(loads)) return;
  if (wire_ || openWire()) {
    for (auto& load : loads) wire_->start(std::move(load));
    wire_->drive();
  } else {
    for (const auto& load : loads) {
      URLResult refused;
      refused.error = urlLoadingError(urlError::cannotConnectToHost, load->request().url);
      load->ended(std::move(refused), nullptr);
    }
  }
  endTurn();
}

// On the pool's thread, because the first use of the libraries below takes its time. A system without descriptors to
// give is asked again by the next load.
bool CurlLoop::openWire() {
  auto wire = std::make_unique<CurlWire>(options_);
  if (!wire->isUsable() || !pool_->watch(wire->descriptor(), weak_from_this())) return false;
  wire_ = std::move(wire);
  return true;
}

bool CurlLoop::stopUntil(std::chrono::steady_clock::time_point deadline) {
  Loads dropped;
  {
    const MutexLock lock(mutex_);
    isStopped_ = true;
    dropped.swap(inbox_);
    while (isDriving_) {
      if (rested_.wait_until(mutex_, deadline) == std::cv_status::timeout && isDriving_) return false;
    }
  }
  wire_.reset();
  return true;
}

}  // namespace trovix::platform
