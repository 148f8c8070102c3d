#pragma once

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/TrovixLibParts.h"
#include "trovix/Json.h"
#include "trovix/TrovixLib.h"
#include "trovix/platform/LinuxPlatform.h"

namespace trovix::bench {

inline constexpr const char* devKey = "bench-developer-key-1";

[[noreturn]] inline void fail(const char* what) {
  std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, what);
  std::exit(1);
}

/// Takes what libcurl received and forgets it.
inline std::size_t discard(char*, std::size_t size, std::size_t count, void*) { return size * count; }

/// A directory that goes with the object.
class TemporaryDirectory {
 public:
  TemporaryDirectory() : path_((std::filesystem::temp_directory_path() / "trovix-bench-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) std::abort();
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  [[nodiscard]] const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
};

/// A new directory that stays until the process ends. For minutes the file system passes over every inode that was
/// deleted, one by one, so what is cleared away between two measurements would cost the second.
inline const std::string& keptDirectory() {
  static std::vector<std::unique_ptr<TemporaryDirectory>> kept;
  return kept.emplace_back(std::make_unique<TemporaryDirectory>())->path();
}

/// A telephone whose request buffer never evicts.
inline Dictionary deviceProfile() {
  static constexpr const char* profile = R"json({
    "device": {"model": "iPhone", "name": "Bench iPhone", "systemName": "iOS", "systemVersion": "17.2",
               "localizedModel": "iPhone", "identifierForVendor": "7D9E1B2C-4F5A-4C6B-8D7E-9F0A1B2C3D4E"},
    "operatingSystemVersionString": "Version 17.2 (Build 21C62)",
    "system": {"hw.machine": "iPhone15,2", "hw.memsize": 6442450944, "hw.ncpu": 6},
    "screen": {"width": 1179, "height": 2556},
    "locale": {"languages": ["en-US"], "language": "en", "country": "US"},
    "timeZone": "Europe/Berlin",
    "bundle": {"identifier": "com.example.shop", "executablePath": "/Applications/Shop.app/Shop",
               "info": {"CFBundleVersion": "42", "CFBundleShortVersionString": "3.1.4", "TrovixBufferSize": 1000000}},
    "network": {"interfaces": [{"name": "en0", "ipv4": true, "loopback": false}], "scopedProxies": ["en0"]},
    "disk": {"free": 68719476736, "total": 127999999999},
    "frameworks": {"attStatus": 3, "advertisingIdentifier": "6E0F2A51-9C3D-4B7E-A1D2-3F4E5D6C7B8A",
                   "advertisingTrackingEnabled": true, "adNetwork": true}
  })json";
  return dictionaryFromJson(profile).value_or(Dictionary());
}

/// The SDK as a host composes it.
class Rig {
 public:
  explicit Rig(const std::string& directory, std::string connectTo = {}, std::string authorityFile = {})
      : platform_(options(directory, std::move(connectTo), std::move(authorityFile))), sdk_(platform_.services()) {}

  [[nodiscard]] platform::LinuxPlatform& platform() noexcept { return platform_; }
  [[nodiscard]] TrovixLib& sdk() noexcept { return sdk_; }
  [[nodiscard]] TrovixLib::Parts& parts() noexcept { return sdk_.parts(); }

  void configure() {
    sdk_.setTrovixDevKey(devKey);
    sdk_.setAppleAppID(Value("123456789"));
  }
  /// Returns once the serial queue has done everything that was posted before.
  void waitForSerialQueue() {
    std::promise<void> done;
    parts().serial->post([&done] { done.set_value(); });
    done.get_future().wait();
  }
  void waitUntilIdle() {
    while (!platform_.isIdle()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

 private:
  static platform::LinuxPlatformOptions options(const std::string& directory, std::string connectTo,
                                                std::string authorityFile) {
    platform::LinuxPlatformOptions result;
    result.dataDirectory = directory;
    result.deviceProfile = deviceProfile();
    result.connectTo = std::move(connectTo);
    result.certificateAuthorityFile = std::move(authorityFile);
    result.mainQueueMode = platform::MainQueueMode::ownThread;
    return result;
  }

  platform::LinuxPlatform platform_;
  TrovixLib sdk_;
};

/// Twenty properties of an ordinary purchase.
inline Dictionary eventProperties() {
  Dictionary properties;
  for (int i = 0; i < 10; ++i) {
    properties.set("property_text_" + std::to_string(i), "value of property " + std::to_string(i));
    properties.set("property_number_" + std::to_string(i), static_cast<std::int64_t>(i) * 1000);
  }
  return properties;
}

}  // namespace trovix::bench
