#include "platform/linux/ProcessExit.h"

#include <openssl/crypto.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/Mutex.h"

namespace trovix::platform {
namespace {

struct Entry {
  unsigned generation = 0;
  std::shared_ptr<const std::function<void()>> handler;
};

struct Registry {
  Mutex mutex;
  std::vector<Entry> entries TX_GUARDED_BY(mutex);
};

std::atomic<unsigned> generation{0};

// Never destroyed: threads may still end while the process does.
Registry& registry() {
  static auto* const instance = new Registry;
  return *instance;
}

void runHandlers() {
  std::vector<Entry> entries;
  {
    const MutexLock lock(registry().mutex);
    entries.swap(registry().entries);
  }
  std::for_each(entries.rbegin(), entries.rend(), [](const Entry& entry) {
    if (entry.generation == generation) (*entry.handler)();
  });
}

void prepareProcess() {
  static std::once_flag once;
  std::call_once(once, [] {
    // Transfers and digests may still run while the process ends, so OpenSSL must not tear itself down under them.
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    // A child must not find the registry locked by a thread that it does not have.
    pthread_atfork([] { registry().mutex.native().lock(); }, [] { registry().mutex.native().unlock(); },
                   [] {
                     ++generation;
                     registry().mutex.native().unlock();
                   });
    std::atexit(runHandlers);
  });
}

}  // namespace

unsigned forkGeneration() noexcept { return generation.load(std::memory_order_relaxed); }

ExitHandler::ExitHandler(std::function<void()> handler)
    : handler_(std::make_shared<const std::function<void()>>(std::move(handler))) {
  prepareProcess();
  const MutexLock lock(registry().mutex);
  registry().entries.push_back({forkGeneration(), handler_});
}

ExitHandler::~ExitHandler() {
  const MutexLock lock(registry().mutex);
  std::erase_if(registry().entries, [this](const Entry& entry) { return entry.handler == handler_; });
}

}  // namespace trovix::platform
