#include "torture/Evidence.h"

#include <fmt/core.h>
#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <utility>

#include "linux/TemporaryDirectory.h"
#include "platform/linux/SqliteKeychain.h"
#include "platform/linux/SqliteUserDefaults.h"
#include "storage/StorageKeys.h"
#include "storage/TrovixKeychainWrapper.h"
#include "trovix/Json.h"

namespace trovix::torture {
namespace {

namespace fs = std::filesystem;
using platform::MutexLock;

constexpr std::size_t shownStepsBack = 5;

bool holds(const Dictionary& request, const char* check) {
  const Dictionary* checks = request.dictionary("checks");
  const Value* verdict = checks != nullptr ? checks->find(check) : nullptr;
  return verdict != nullptr && verdict->boolValue();
}

std::int64_t countAt(const Dictionary& parameters, const char* key) {
  const Value* count = parameters.find(key);
  return count != nullptr ? count->integerValue() : -1;
}

std::string textAt(const Dictionary& parameters, const char* key) {
  const std::string* text = parameters.string(key);
  return text != nullptr ? *text : "(none)";
}

/// "ok", or what SQLite has to say about the file.
std::string verdictOfSqlite(const std::string& file) {
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr);
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> database(opened, sqlite3_close);
  if (code != SQLITE_OK) return sqlite3_errstr(code);
  std::string verdict;
  const auto read = [](void* text, int, char** columns, char**) {
    static_cast<std::string*>(text)->append(columns[0] != nullptr ? columns[0] : "");
    return 0;
  };
  if (sqlite3_exec(opened, "PRAGMA integrity_check", read, &verdict, nullptr) != SQLITE_OK) {
    return sqlite3_errmsg(opened);
  }
  return verdict;
}

}  // namespace

void Arrivals::add(const Dictionary& request) {
  const std::string kind = textAt(request, "kind");
  const bool isInAppEvent = kind == "InApps";
  if (!isInAppEvent && kind != "Conversions" && kind != "Launches" && kind != "Attr") return;
  const Dictionary* parameters = request.dictionary("parameters");
  const MutexLock lock(mutex_);
  ++requests_;
  if (parameters == nullptr || !holds(request, "decrypted") || !holds(request, "checksum")) {
    ++unreadable_;
    return;
  }
  if (kind == "Conversions") hasFirstLaunch_ = true;
  ++arrivals_[textAt(*parameters, "timestamp")];
  // A request carries the number that its own answer will make of the counter.
  follow("counter", countAt(*parameters, "counter") - (isInAppEvent ? 0 : 1), launches_);
  follow("iaecounter", countAt(*parameters, "iaecounter") - (isInAppEvent ? 1 : 0), inAppEvents_);
  // Backup information comes with a keychain that has lost what the store still knows.
  identities_.insert(fmt::format("{} {}{}", textAt(*parameters, "uid"), textAt(*parameters, "originalTrovixId"),
                                 parameters->contains("backupInfo") ? " restored" : ""));
}

void Arrivals::follow(const char* name, std::int64_t count, std::int64_t& latest) {
  if (count < latest) stepsBack_.push_back(fmt::format("{} went back from {} to {}", name, latest, count));
  latest = count;
}

bool Arrivals::has(const std::string& timestamp) const {
  const MutexLock lock(mutex_);
  return arrivals_.contains(timestamp);
}

bool Arrivals::hasFirstLaunch() const {
  const MutexLock lock(mutex_);
  return hasFirstLaunch_;
}

std::size_t Arrivals::requests() const {
  const MutexLock lock(mutex_);
  return requests_;
}

Arrivals::Repeats Arrivals::repeats() const {
  const MutexLock lock(mutex_);
  Repeats repeats;
  for (const auto& [timestamp, times] : arrivals_) {
    if (times > 1) ++repeats.events;
    repeats.most = std::max(repeats.most, times);
  }
  return repeats;
}

void Arrivals::judge(const std::string& name, Report& report) const {
  const MutexLock lock(mutex_);
  report.expect(unreadable_ == 0,
                fmt::format("{}: {} bodies did not decrypt, or had a wrong checksum", name, unreadable_));
  for (std::size_t i = 0; i < std::min(stepsBack_.size(), shownStepsBack); ++i)
    report.fail(name + ": " + stepsBack_[i]);
  std::string all;
  for (const std::string& identity : identities_) all += " [" + identity + "]";
  report.expect(identities_.size() == 1, name + ": the application was not one and the same:" + all);
}

void Acceptances::addOutput(const std::string& outputFile) {
  std::ifstream output(outputFile);
  std::string line;
  // A line without its end was being written when the process died.
  while (std::getline(output, line) && !output.eof()) {
    if (line.find("\"cached\"") == std::string::npos) continue;
    const auto fields = dictionaryFromJson(line);
    if (!fields || textAt(*fields, "name") != "cached") continue;
    const std::string uuid = textAt(*fields, "event");
    stampsByFile_[textAt(*fields, "file")].push_back(uuid.substr(uuid.rfind('-') + 1));
    ++events_;
  }
}

std::vector<std::string> Acceptances::accepted() const {
  std::vector<std::string> stamps;
  for (const auto& [file, stampsOfFile] : stampsByFile_) {
    if (stampsOfFile.size() == 1) stamps.push_back(stampsOfFile.front());
  }
  return stamps;
}

void StoreWatch::inspect(const std::string& when) {
  std::error_code failure;
  for (const auto& entry : fs::recursive_directory_iterator(dataDirectory_, failure)) {
    const std::string name = entry.path().filename().string();
    const bool isNews = name.find(".corrupt-") != std::string::npos && setAside_.insert(name).second;
    report_.expect(!isNews, when + ": the host had to set aside " + name);
    if (!name.ends_with(".sqlite")) continue;
    const std::string copy = scratchDirectory_ + "/" + name;
    for (const char* suffix : {"", "-wal"}) {
      fs::remove(copy + suffix, failure);
      fs::copy_file(entry.path().string() + suffix, copy + suffix, failure);
    }
    fs::remove(copy + "-shm", failure);
    const std::string verdict = verdictOfSqlite(copy);
    report_.expect(verdict == "ok", when + ": " + name + ": " + verdict);
    if (name == "standard.sqlite") readCounters(copy, when);
    if (name == "keychain.sqlite") {
      const std::string key = scratchDirectory_ + "/keychain.key";
      fs::remove(key, failure);
      fs::copy_file(entry.path().parent_path() / "keychain.key", key, failure);
      readKeychain(when);
    }
    ++inspected_;
  }
}

void StoreWatch::readCounters(const std::string& store, const std::string& when) {
  platform::RecordingLog log;
  const platform::SqliteUserDefaults defaults(store, log);
  report_.expect(defaults.isPersistent() && log.lines.empty(), when + ": the library does not open " + store);
  const auto follow = [&](const char* key, std::int64_t& latest) {
    const std::int64_t count = defaults.integer(key);
    report_.expect(count >= latest,
                   fmt::format("{}: {} in the store went back from {} to {}", when, key, latest, count));
    latest = count;
  };
  follow(storageKey::launchCounter, launches_);
  follow(storageKey::inAppCounter, inAppEvents_);
}

void StoreWatch::readKeychain(const std::string& when) {
  platform::RecordingLog log;
  platform::SqliteKeychain keychain(scratchDirectory_, log);
  const auto identifier = TrovixKeychainWrapper(keychain).stringForKey(TXSDKKeychainProtocol::trovixIdKey);
  report_.expect(log.lines.empty(), when + ": the library does not open the keychain");
  report_.expect(
      keptIdentifier_.empty() || identifier == keptIdentifier_,
      fmt::format("{}: the keychain says \"{}\", not \"{}\"", when, identifier.value_or(""), keptIdentifier_));
  keptIdentifier_ = identifier.value_or("");
}

}  // namespace trovix::torture
