#include "platform/linux/LinuxIntegrity.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <link.h>
#include <unistd.h>

#include <chrono>
#include <string_view>

#include "platform/Crypto.h"
#include "platform/linux/DeviceProfile.h"

namespace trovix::platform {
namespace {

// The kernel writes a whole page of figures for the one that is wanted: most of what signing a request would cost.
constexpr std::chrono::milliseconds tracerFieldLifetime{100};

struct Search {
  std::uintptr_t address = 0;
  Data digests;
};

using Digest = std::array<std::uint8_t, 32>;

/// Zero bytes where the system does not offer the digest.
Digest digestOf(Bytes bytes) { return sha256(bytes).value_or(Digest{}); }

/// Digests the executable segments of the object that holds the address.
int visitObject(dl_phdr_info* object, std::size_t, void* context) {
  auto& search = *static_cast<Search*>(context);
  bool isOurs = false;
  for (int i = 0; i < object->dlpi_phnum; ++i) {
    const auto& segment = object->dlpi_phdr[i];
    const std::uintptr_t begin = object->dlpi_addr + segment.p_vaddr;
    isOurs =
        isOurs || (segment.p_type == PT_LOAD && search.address >= begin && search.address - begin < segment.p_memsz);
  }
  if (!isOurs) return 0;
  for (int i = 0; i < object->dlpi_phnum; ++i) {
    const auto& segment = object->dlpi_phdr[i];
    constexpr auto readableCode = PF_X | PF_R;
    if (segment.p_type != PT_LOAD || (segment.p_flags & readableCode) != readableCode) continue;
    // The loader tells addresses as numbers. NOLINTNEXTLINE(performance-no-int-to-ptr)
    const auto* begin = reinterpret_cast<const std::uint8_t*>(object->dlpi_addr + segment.p_vaddr);
    const Digest digest = digestOf(Bytes(begin, segment.p_memsz));
    search.digests.insert(search.digests.end(), digest.begin(), digest.end());
  }
  return 1;
}

Digest digestOfOwnCode() {
  Search search;
  search.address = reinterpret_cast<std::uintptr_t>(&visitObject);
  ::dl_iterate_phdr(visitObject, &search);
  return digestOf(search.digests);
}

bool isTraced() {
  const int file = ::open("/proc/self/status", O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  char buffer[4096];
  const ssize_t size = ::read(file, buffer, sizeof buffer);
  ::close(file);
  const std::string_view status(buffer, size > 0 ? static_cast<std::size_t>(size) : 0);
  constexpr std::string_view field = "\nTracerPid:\t";
  const std::size_t found = status.find(field);
  return found != std::string_view::npos && !status.substr(found + field.size()).starts_with("0\n");
}

}  // namespace

bool LinuxIntegrity::isDeviceCompromised(bool) const {
  return profile_.boolean({"integrity", "compromised"}).value_or(false);
}

bool LinuxIntegrity::isDebuggerAttached() const {
  const auto word = profile_.boolean({"integrity", "debugger"});
  return word ? *word : isTracedLately();
}

bool LinuxIntegrity::isTracedLately() const {
  const std::int64_t now = std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
  const std::int64_t known = tracerKnownUntil_.load(std::memory_order_acquire);
  if (now < known) return isTraced_.load(std::memory_order_relaxed);
  const bool traced = isTraced();
  isTraced_.store(traced, std::memory_order_relaxed);
  tracerKnownUntil_.store(now + tracerFieldLifetime / std::chrono::nanoseconds(1), std::memory_order_release);
  return traced;
}

std::string LinuxIntegrity::runtimeIntegrity(std::int32_t remainder) const {
  {
    const MutexLock lock(mutex_);
    if (const auto known = answers_.find(remainder); known != answers_.end()) return known->second;
  }
  std::call_once(codeOnce_, [this] { codeDigest_ = digestOfOwnCode(); });
  Data message(codeDigest_.begin(), codeDigest_.end());
  for (const char digit : std::to_string(remainder)) message.push_back(static_cast<std::uint8_t>(digit));
  std::string answer;
  for (const std::uint8_t byte : digestOf(message)) answer += fmt::format("{:02x}", byte);
  const MutexLock lock(mutex_);
  return answers_.emplace(remainder, std::move(answer)).first->second;
}

}  // namespace trovix::platform
