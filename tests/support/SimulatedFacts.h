#pragma once

#include <limits>
#include <map>

#include "trovix/platform/Console.h"
#include "trovix/platform/DeviceFacts.h"
#include "trovix/platform/NotificationCenter.h"
#include "trovix/platform/SystemLog.h"

// Facts as plain fields with the values of an ordinary phone. What a test empties is not known.
namespace trovix::test {

struct SimulatedBundle final : platform::Bundle {
  std::optional<Value> infoValue(std::string_view key) const override {
    const Value* value = info.find(key);
    return value == nullptr ? std::nullopt : std::optional(*value);
  }
  std::optional<std::string> identifier() const override { return "com.example.shop"; }
  std::optional<std::string> executablePath() const override { return executable; }
  std::optional<std::string> receiptPath() const override { return receipt; }

  Dictionary info{{"CFBundleVersion", "42"}, {"CFBundleShortVersionString", "3.1.4"}, {"CFBundleDisplayName", "Shop"}};
  /// An extension's holds ".appex/".
  std::optional<std::string> executable = "/app/Shop.app/Shop";
  std::optional<std::string> receipt = "/app/Shop.app/StoreKit/receipt";
};

struct SimulatedEnvironment final : platform::Environment {
  std::optional<std::string> variable(std::string_view name) const override {
    const auto found = variables.find(name);
    return found == variables.end() ? std::nullopt : std::optional(found->second);
  }

  std::map<std::string, std::string, std::less<>> variables;
};

struct SimulatedDirectories final : platform::Directories {
  std::string library() const override { return "/data/Library"; }
  std::string caches() const override { return "/data/Library/Caches"; }
  std::string documents() const override { return "/data/Documents"; }
  std::string temporary() const override { return "/data/tmp"; }
};

struct SimulatedDeviceFacts final : platform::Device {
  std::optional<std::string> model() const override { return modelName; }
  std::optional<std::string> name() const override { return "Ada's iPhone"; }
  std::optional<std::string> systemName() const override { return "iOS"; }
  std::optional<std::string> systemVersion() const override { return version; }
  std::optional<std::string> localizedModel() const override { return "iPhone"; }
  std::optional<std::string> identifierForVendor() const override { return vendorIdentifier; }
  std::optional<std::string> operatingSystemVersionString() const override { return versionText; }

  std::optional<std::string> modelName = "iPhone";
  std::optional<std::string> version = "17.2";
  std::optional<std::string> vendorIdentifier = "5C1A9F0E-3B77-4D0A-8C52-6E1F2B9D4A30";
  std::optional<std::string> versionText = "Version 17.2 (Build 21C62)";
};

struct SimulatedScreen final : platform::Screen {
  std::optional<platform::PixelSize> nativeBounds() const override { return bounds; }

  std::optional<platform::PixelSize> bounds = platform::PixelSize{1170, 2532};
};

struct SimulatedLocale final : platform::Locale {
  std::optional<std::string> preferredLanguage() const override { return "en-US"; }
  std::optional<std::string> languageCode() const override { return "en"; }
  std::optional<std::string> countryCode() const override { return country; }
  std::int32_t secondsFromGMT(double secondsSince1970) const override {
    return zoneOffset + (secondsSince1970 >= daylightSavingFrom ? 3600 : 0);
  }

  std::optional<std::string> country = "US";
  /// West of UTC, so that a date in the wrong zone shows.
  std::int32_t zoneOffset = -5 * 3600;
  double daylightSavingFrom = std::numeric_limits<double>::infinity();
};

struct SimulatedNetworkInterfaces final : platform::NetworkInterfaces {
  std::vector<platform::NetworkInterface> interfaces() const override { return all; }
  std::optional<std::vector<std::string>> scopedProxies() const override { return proxies; }

  /// A phone on Wi-Fi.
  std::vector<platform::NetworkInterface> all{{"lo0", true, true}, {"en0", true, false}};
  std::optional<std::vector<std::string>> proxies = std::vector<std::string>{"en0"};
};

struct SimulatedSystemControl final : platform::SystemControl {
  std::optional<std::string> text(std::string_view name) const override { return valueOf(texts, name); }
  std::optional<std::int64_t> integer(std::string_view name) const override { return valueOf(integers, name); }
  std::optional<std::int64_t> integer(int first, int second) const override {
    return valueOf(numbered, std::pair(first, second));
  }

  std::map<std::string, std::string, std::less<>> texts{{"hw.machine", "iPhone14,5"}, {"kern.osversion", "21C62"}};
  std::map<std::string, std::int64_t, std::less<>> integers{{"hw.memsize", 4'294'967'296},
                                                            {"hw.ncpu", 6},
                                                            {"hw.optional.64bitops", 1},
                                                            {"hw.cputype", 0x100000C},
                                                            {"hw.cpusubtype", 2}};
  std::map<std::pair<int, int>, std::int64_t> numbered;

 private:
  template <typename Map, typename Key>
  static std::optional<typename Map::mapped_type> valueOf(const Map& map, const Key& key) {
    const auto found = map.find(key);
    return found == map.end() ? std::nullopt : std::optional(found->second);
  }
};

struct SimulatedIntegrity final : platform::Integrity {
  bool isDeviceCompromised(bool) const override { return isCompromised; }
  bool isDebuggerAttached() const override { return hasDebugger; }
  std::string runtimeIntegrity(std::int32_t remainder) const override {
    return "integrity:" + std::to_string(remainder);
  }

  bool isCompromised = false;
  bool hasDebugger = false;
};

struct SimulatedConsole final : platform::Console {
  void print(std::string_view line) override { text += line; }

  /// Everything that was printed.
  std::string text;
};

struct SimulatedSystemLog final : platform::SystemLog {
  void write(std::string_view line) override { lines.emplace_back(line); }

  std::vector<std::string> lines;
};

class SimulatedNotificationCenter final : public platform::NotificationCenter {
 public:
  std::unique_ptr<Registration> addObserver(std::string_view name, Handler handler) override;
  void post(const platform::Notification& notification) override;
  void post(std::string_view name, std::optional<Dictionary> userInfo = std::nullopt) {
    post(platform::Notification{std::string(name), std::move(userInfo)});
  }
  std::size_t observerCount(std::string_view name) const;

 private:
  struct Observer {
    std::string name;
    Handler handler;
  };
  using Observers = std::map<std::uint64_t, std::shared_ptr<const Observer>>;  // in the order of registration

  std::shared_ptr<Observers> observers_ = std::make_shared<Observers>();
  std::uint64_t last_ = 0;
};

}  // namespace trovix::test
