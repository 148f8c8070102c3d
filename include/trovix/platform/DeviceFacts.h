#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "trovix/Export.h"
#include "trovix/Value.h"

// Facts about the application, the device and its surroundings. What a device does not know is std::nullopt.
// All of these may be asked from any thread.
namespace trovix::platform {

/// The application's main bundle.
class TROVIX_API Bundle {
 public:
  virtual ~Bundle() = default;
  /// A value of the info dictionary.
  [[nodiscard]] virtual std::optional<Value> infoValue(std::string_view key) const = 0;
  /// The bundle identifier, "com.example.shop".
  [[nodiscard]] virtual std::optional<std::string> identifier() const = 0;
  /// Where the executable is; an application extension is told by it.
  [[nodiscard]] virtual std::optional<std::string> executablePath() const = 0;
  /// Where the store receipt would be, whether or not there is one.
  [[nodiscard]] virtual std::optional<std::string> receiptPath() const = 0;
};

/// The process environment.
class TROVIX_API Environment {
 public:
  virtual ~Environment() = default;
  /// The value of an environment variable.
  [[nodiscard]] virtual std::optional<std::string> variable(std::string_view name) const = 0;
};

/// The user's directories, absolute and without a trailing slash.
class TROVIX_API Directories {
 public:
  virtual ~Directories() = default;
  /// Where the application keeps its own files.
  [[nodiscard]] virtual std::string library() const = 0;
  /// Files that may be lost.
  [[nodiscard]] virtual std::string caches() const = 0;
  /// The user's files.
  [[nodiscard]] virtual std::string documents() const = 0;
  /// Files of this run.
  [[nodiscard]] virtual std::string temporary() const = 0;
};

/// What the device says of itself.
class TROVIX_API Device {
 public:
  virtual ~Device() = default;
  /// The kind of device, "iPhone".
  [[nodiscard]] virtual std::optional<std::string> model() const = 0;
  /// The name that the user gave the device.
  [[nodiscard]] virtual std::optional<std::string> name() const = 0;
  /// The operating system, "iOS".
  [[nodiscard]] virtual std::optional<std::string> systemName() const = 0;
  /// Its version, "17.2".
  [[nodiscard]] virtual std::optional<std::string> systemVersion() const = 0;
  /// The kind of device in the user's language.
  [[nodiscard]] virtual std::optional<std::string> localizedModel() const = 0;
  /// UUID text, the same for all applications of one vendor.
  [[nodiscard]] virtual std::optional<std::string> identifierForVendor() const = 0;
  /// As the process information gives it: "Version 17.2 (Build 21C62)".
  [[nodiscard]] virtual std::optional<std::string> operatingSystemVersionString() const = 0;
};

/// A size in physical pixels.
struct PixelSize {
  float width = 0;
  float height = 0;
};

/// The main screen.
class TROVIX_API Screen {
 public:
  virtual ~Screen() = default;
  /// Physical pixels of the main screen.
  [[nodiscard]] virtual std::optional<PixelSize> nativeBounds() const = 0;
};

/// The user's languages, country and time zone.
class TROVIX_API Locale {
 public:
  virtual ~Locale() = default;
  /// The first of the user's languages, "en-US".
  [[nodiscard]] virtual std::optional<std::string> preferredLanguage() const = 0;
  /// "en".
  [[nodiscard]] virtual std::optional<std::string> languageCode() const = 0;
  /// "US".
  [[nodiscard]] virtual std::optional<std::string> countryCode() const = 0;
  /// Seconds east of UTC in the device's time zone at that moment.
  [[nodiscard]] virtual std::int32_t secondsFromGMT(double secondsSince1970) const = 0;
};

/// One network interface.
struct NetworkInterface {
  std::string name;
  bool hasIPv4 = false;
  bool isLoopback = false;
};

/// The device's ways into the network.
class TROVIX_API NetworkInterfaces {
 public:
  virtual ~NetworkInterfaces() = default;
  /// Each once, whatever number of addresses it has.
  [[nodiscard]] virtual std::vector<NetworkInterface> interfaces() const = 0;
  /// Names of the interfaces with proxy settings of their own.
  [[nodiscard]] virtual std::optional<std::vector<std::string>> scopedProxies() const = 0;
};

/// The kernel's answers by name ("hw.memsize") or by numbers (6, 15). A query that fails is std::nullopt.
class TROVIX_API SystemControl {
 public:
  virtual ~SystemControl() = default;
  /// An answer that is text.
  [[nodiscard]] virtual std::optional<std::string> text(std::string_view name) const = 0;
  /// An answer that is a number.
  [[nodiscard]] virtual std::optional<std::int64_t> integer(std::string_view name) const = 0;
  /// The number under a query of two numbers.
  [[nodiscard]] virtual std::optional<std::int64_t> integer(int first, int second) const = 0;
};

/// Whether the device and the process are what they claim to be.
class TROVIX_API Integrity {
 public:
  virtual ~Integrity() = default;
  /// Whether the device runs what its maker does not allow.
  [[nodiscard]] virtual bool isDeviceCompromised(bool skipAdvancedValidation) const = 0;
  /// Whether a debugger follows the process now.
  [[nodiscard]] virtual bool isDebuggerAttached() const = 0;
  /// A digest over the library's own code and the remainder, which lies between -99 and 99.
  [[nodiscard]] virtual std::string runtimeIntegrity(std::int32_t remainder) const = 0;
};

}  // namespace trovix::platform
