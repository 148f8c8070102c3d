#include "links/LinkHost.h"

#include "platform/Mutex.h"

namespace trovix {
namespace {

struct Installed {
  platform::Mutex mutex;
  std::weak_ptr<LinkHost> host TX_GUARDED_BY(mutex);
};

Installed& installed() {
  static auto* const record = new Installed;  // reachable until the process has ended
  return *record;
}

}  // namespace

void installLinkHost(const std::shared_ptr<LinkHost>& host) {
  const platform::MutexLock lock(installed().mutex);
  installed().host = host;
}

std::shared_ptr<LinkHost> linkHost() {
  const platform::MutexLock lock(installed().mutex);
  return installed().host.lock();
}

}  // namespace trovix
