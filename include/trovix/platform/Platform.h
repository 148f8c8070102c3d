#pragma once

#include "trovix/Export.h"

namespace trovix::platform {

class BackgroundTasks;
class Bundle;
class ClassRegistry;
class Clock;
class Console;
class Device;
class Directories;
class Environment;
class FileSystem;
class Frameworks;
class Integrity;
class Keychain;
class Locale;
class NetworkInterfaces;
class NotificationCenter;
class Queues;
class Screen;
class SystemControl;
class SystemLog;
class URLSessions;
class UserDefaultsDomains;

/// One reference to each service of the operating system. Whoever fills it in keeps the services alive for as
/// long as anything that was given the platform.
struct Platform {
  Clock& clock;
  Queues& queues;
  NotificationCenter& notificationCenter;
  UserDefaultsDomains& userDefaults;
  Keychain& keychain;
  Bundle& bundle;
  Environment& environment;
  Directories& directories;
  FileSystem& fileSystem;
  Console& console;
  SystemLog& systemLog;
  Integrity& integrity;
  SystemControl& systemControl;
  Device& device;
  Screen& screen;
  Locale& locale;
  NetworkInterfaces& networkInterfaces;
  URLSessions& urlSessions;
  BackgroundTasks& backgroundTasks;
  Frameworks& frameworks;
  ClassRegistry& classRegistry;
};

/// The process's platform: what `setDefaultPlatform` gave, else a Linux platform with default options, made on
/// first use. Any thread.
[[nodiscard]] TROVIX_API Platform& defaultPlatform();
/// Must come before the first use of `TrovixLib::shared()`; the platform must live as long as the process.
TROVIX_API void setDefaultPlatform(Platform& platform);

}  // namespace trovix::platform
