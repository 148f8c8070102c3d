#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <openssl/evp.h>
#include <sqlite3.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Rig.h"
#include "common/Log.h"
#include "common/Version.h"
#include "core/EventValue.h"
#include "core/LinkText.h"
#include "core/TXSDKSKAdNetwork.h"
#include "network/TXSDKEvent.h"
#include "platform/Url.h"
#include "trovix/platform/SystemLog.h"
#include "trovix/platform/UserDefaults.h"

namespace trovix::bench {
namespace {

using SteadyClock = std::chrono::steady_clock;

double secondsSince(SteadyClock::time_point begin) {
  return std::chrono::duration<double>(SteadyClock::now() - begin).count();
}

/// One stopped SDK for everything that needs none of its own.
Rig& sharedRig() {
  static const TemporaryDirectory directory;
  static Rig rig(directory.path());
  static const bool once = [] {
    rig.configure();
    rig.sdk().setIsStopped(true);
    // As the answer to the first launch does.
    rig.parts().remoteDebugging.stopRemoteDebugging();
    rig.waitUntilIdle();
    return true;
  }();
  static_cast<void>(once);
  return rig;
}

TXSDKEvent makeEvent(Rig& rig) {
  static const Dictionary properties = eventProperties();
  TrovixDictionary parameters = rig.parts().payload.getEventParameters(false);
  Dictionary& dict = parameters.dict();
  dict.set("event", "purchase");
  dict.set("eventName", "purchase");
  dict.set("eventvalue", encodedEventValue(properties, true));
  return {std::move(dict), "https://inapps.example.test/api/v6.2/iosevent?app_id=123456789", sdkVersion,
          eventOption::TXEventOptionInAppEvent};
}

// --- Logging --------------------------------------------------------------------------------------------------------

void logOff(benchmark::State& state) {
  int number = 0;
  for (auto _ : state) {
    // A copy: the log takes references, and a loop variable kept in memory for them would be what is measured.
    TX_LOG(debug, "number {}", int{number});
    benchmark::DoNotOptimize(++number);
  }
}
BENCHMARK(logOff);

/// Takes a line and forgets it.
class NoLog : public platform::SystemLog {
 public:
  void write(std::string_view line) override { benchmark::DoNotOptimize(line.size()); }
};

void logOn(benchmark::State& state) {
  static NoLog log;
  const platform::Clock& clock = sharedRig().platform().services().clock;
  logging::installSink(&log, &clock);
  TXSetShowDebugLogs(true);
  int number = 0;
  for (auto _ : state) TX_LOG(debug, "number {}", int{++number});
  TXSetShowDebugLogs(false);
  logging::installSink(&sharedRig().platform().services().systemLog, &clock);
}
BENCHMARK(logOn);

std::atomic<std::uint32_t> bareFlag{0};

void logOffBare(benchmark::State& state) {
  int number = 0;
  for (auto _ : state) {
    if (bareFlag.load(std::memory_order_relaxed) != 0) [[unlikely]]
      benchmark::DoNotOptimize(number = 0);
    benchmark::DoNotOptimize(++number);
  }
}
BENCHMARK(logOffBare);

// --- logEvent
// ---------------------------------------------------------------------------------------------------------

// So few that all are logged before the first falls due: the caller is measured, not the work behind it.
constexpr int eventsLogged = 2000;

void logEvent(benchmark::State& state) {
  Rig& rig = sharedRig();
  const auto count = static_cast<std::size_t>(state.max_iterations);
  std::vector<std::pair<std::string, Dictionary>> events(count, {"purchase", eventProperties()});
  auto next = events.begin();
  for (auto _ : state) {
    rig.sdk().logEvent(std::move(next->first), std::move(next->second));
    ++next;
  }
  rig.waitUntilIdle();
}
BENCHMARK(logEvent)->Iterations(eventsLogged);

void logEventCopied(benchmark::State& state) {
  Rig& rig = sharedRig();
  const Dictionary properties = eventProperties();
  for (auto _ : state) rig.sdk().logEvent("purchase", properties);
  rig.waitUntilIdle();
}
BENCHMARK(logEventCopied)->Iterations(eventsLogged);

// --- Storage
// ----------------------------------------------------------------------------------------------------------

void storageRead(benchmark::State& state) {
  platform::UserDefaults& defaults = sharedRig().platform().services().userDefaults.standard();
  defaults.set("BenchText", Value("1700000000000-1234567"));
  for (auto _ : state) benchmark::DoNotOptimize(defaults.string("BenchText"));
}
BENCHMARK(storageRead);

void storageWrite(benchmark::State& state) {
  platform::UserDefaults& defaults = sharedRig().platform().services().userDefaults.standard();
  std::int64_t number = 0;
  for (auto _ : state) defaults.set("BenchNumber", Value(++number));
}
BENCHMARK(storageWrite);

/// A table like the stores', made and kept by SQLite alone in the same mode.
class BareStore {
 public:
  explicit BareStore(const std::string& path) {
    sqlite3_open_v2(path.c_str(), &database_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                    nullptr);
    sqlite3_exec(database_,
                 "PRAGMA page_size=1024; PRAGMA synchronous=OFF; PRAGMA journal_mode=MEMORY; "
                 "CREATE TABLE defaults (key TEXT PRIMARY KEY, kind INTEGER NOT NULL, value) WITHOUT ROWID; "
                 "PRAGMA journal_mode=WAL; PRAGMA user_version=1; PRAGMA synchronous=NORMAL",
                 nullptr, nullptr, nullptr);
    sqlite3_prepare_v2(database_,
                       "INSERT INTO defaults VALUES ('BenchNumber', 2, ?1) "
                       "ON CONFLICT (key) DO UPDATE SET kind = excluded.kind, value = excluded.value",
                       -1, &upsert_, nullptr);
  }
  ~BareStore() {
    sqlite3_finalize(upsert_);
    sqlite3_close(database_);
  }
  BareStore(const BareStore&) = delete;
  BareStore& operator=(const BareStore&) = delete;

  bool write(std::int64_t number) {
    sqlite3_bind_int64(upsert_, 1, number);
    const bool isWritten = sqlite3_step(upsert_) == SQLITE_DONE;
    sqlite3_reset(upsert_);
    return isWritten;
  }

 private:
  sqlite3* database_ = nullptr;
  sqlite3_stmt* upsert_ = nullptr;
};

void storageWriteBare(benchmark::State& state) {
  BareStore store(keptDirectory() + "/bare.sqlite");
  std::int64_t number = 0;
  for (auto _ : state) {
    if (!store.write(++number)) state.SkipWithError("not written");
  }
}
BENCHMARK(storageWriteBare);

// --- A request
// --------------------------------------------------------------------------------------------------------

void payload(benchmark::State& state) {
  Rig& rig = sharedRig();
  for (auto _ : state) benchmark::DoNotOptimize(rig.parts().payload.getEventParameters(false));
}
BENCHMARK(payload);

void eventValue(benchmark::State& state) {
  const Dictionary properties = eventProperties();
  for (auto _ : state) benchmark::DoNotOptimize(encodedEventValue(properties, true));
}
BENCHMARK(eventValue);

void checksum(benchmark::State& state) {
  Rig& rig = sharedRig();
  for (auto _ : state) {
    benchmark::DoNotOptimize(rig.parts().checksum.calculate(1700000000123.0, "com.example.shop", devKey, false));
  }
}
BENCHMARK(checksum);

/// The same digests.
void checksumBare(benchmark::State& state) {
  const std::string texts[] = {"1700000000123.000000", "com.example.shop", std::string(160, 'x')};
  unsigned char digest[EVP_MAX_MD_SIZE];
  for (auto _ : state) {
    for (const std::string& text : texts) {
      const EVP_MD* kind = text.size() > 100 ? EVP_md5() : EVP_sha256();
      EVP_Digest(text.data(), text.size(), digest, nullptr, kind, nullptr);
      benchmark::DoNotOptimize(digest);
    }
  }
}
BENCHMARK(checksumBare);

void json(benchmark::State& state) {
  const TXSDKEvent event = makeEvent(sharedRig());
  for (auto _ : state) benchmark::DoNotOptimize(event.data());
  state.counters["bytes"] = static_cast<double>(event.data().value_or(Data()).size());
}
BENCHMARK(json);

void encryption(benchmark::State& state) {
  const TXSDKEvent event = makeEvent(sharedRig());
  const std::optional<Data> data = event.data();
  benchmark::DoNotOptimize(event.encryptWithData(data));  // derives the key, once in a process
  for (auto _ : state) benchmark::DoNotOptimize(event.encryptWithData(data));
}
BENCHMARK(encryption);

void encryptionBare(benchmark::State& state) {
  const Data plain = makeEvent(sharedRig()).data().value_or(Data());
  const std::uint8_t key[16] = {1, 2, 3};
  const std::uint8_t vector[16] = {4, 5, 6};
  std::vector<std::uint8_t> sealed(plain.size() + sizeof vector);
  EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
  for (auto _ : state) {
    int length = 0;
    int rest = 0;
    EVP_EncryptInit_ex(context, EVP_aes_128_cbc(), nullptr, key, vector);
    EVP_EncryptUpdate(context, sealed.data(), &length, plain.data(), static_cast<int>(plain.size()));
    EVP_EncryptFinal_ex(context, sealed.data() + length, &rest);
    benchmark::DoNotOptimize(sealed.data());
    benchmark::ClobberMemory();
  }
  EVP_CIPHER_CTX_free(context);
}
BENCHMARK(encryptionBare);

// They are taken out of the way, so the directory is as empty as it is while the network is up.
constexpr int filesWritten = 1000;

/// The processor time of this thread.
double processorSeconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Takes a written file out of the way.
void setAside(const std::string& path) {
  static const std::string& directory = keptDirectory();
  static int count = 0;
  std::filesystem::rename(path, directory + "/" + std::to_string(++count));
}

void cacheWrite(benchmark::State& state) {
  Rig& rig = sharedRig();
  TXSDKEvent event = makeEvent(rig);
  for (auto _ : state) {
    const double begin = processorSeconds();
    rig.parts().cache.cacheEvent(event);
    state.SetIterationTime(processorSeconds() - begin);
    setAside(event.filePath.value_or(""));
  }
}
BENCHMARK(cacheWrite)->Iterations(filesWritten)->UseManualTime();

void cacheWriteBare(benchmark::State& state) {
  Rig& rig = sharedRig();
  TXSDKEvent event = makeEvent(rig);
  rig.parts().cache.cacheEvent(event);
  const Data bytes(std::filesystem::file_size(event.filePath.value_or("")), 'x');
  setAside(event.filePath.value_or(""));

  const std::string path = keptDirectory() + "/event";
  const std::string draft = path + ".draft";
  for (auto _ : state) {
    const double begin = processorSeconds();
    const int file = open(draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    const ssize_t written = write(file, bytes.data(), bytes.size());
    close(file);
    rename(draft.c_str(), path.c_str());
    state.SetIterationTime(processorSeconds() - begin);
    if (written != static_cast<ssize_t>(bytes.size())) state.SkipWithError("write failed");
    setAside(path);
  }
  state.counters["bytes"] = static_cast<double>(bytes.size());
}
BENCHMARK(cacheWriteBare)->Iterations(filesWritten)->UseManualTime();

/// All that an event costs between the caller and the wire.
void wholeRequest(benchmark::State& state) {
  Rig& rig = sharedRig();
  for (auto _ : state) {
    const double begin = processorSeconds();
    TXSDKEvent event = makeEvent(rig);
    rig.parts().cache.cacheEvent(event);
    event.sign(rig.parts().checksum);
    benchmark::DoNotOptimize(event.encryptWithData(event.data()));
    state.SetIterationTime(processorSeconds() - begin);
    setAside(event.filePath.value_or(""));
  }
}
BENCHMARK(wholeRequest)->Iterations(filesWritten)->UseManualTime();

// --- Rules and links
// ----------------------------------------------------------------------------------------------------

void conversionRule(benchmark::State& state) {
  SKAdRule rule;
  rule.mode = SKAdMode::eventBits;
  rule.ev = Array{"registration", "tutorial", "level", "purchase", "share", "subscription"};
  const Dictionary properties = eventProperties();
  for (auto _ : state) benchmark::DoNotOptimize(SKAdRuleCandidate(rule, "purchase", properties));
}
BENCHMARK(conversionRule);

/// Query items of so many bytes.
std::string queryItems(std::size_t length) {
  std::string text;
  for (int i = 0;; ++i) {
    const std::string item = "&name" + std::to_string(i) + "=value%20" + std::to_string(i);
    if (text.size() + item.size() > length) break;
    text += item;
  }
  text.resize(length, 'x');
  return text;
}

void link(benchmark::State& state, const std::string& before, const std::string& after) {
  const auto length = static_cast<std::size_t>(state.range(0)) - before.size() - after.size();
  const std::string text = before + queryItems(length) + after;
  for (auto _ : state) {
    const auto url = platform::Url::parse(linkWithoutAccessTokens(text));
    if (!url) return state.SkipWithError("not a URL");
    benchmark::DoNotOptimize(TrovixUtils::queryParametersFromURL(*url));
  }
}
BENCHMARK_CAPTURE(link, tokenFirst, "fb1234567890://authorize?access_token=EAAB1234567890abcdef", "")
    ->Arg(200)
    ->Arg(1 << 20);
BENCHMARK_CAPTURE(link, tokenLast, "fb1234567890://authorize?a=b", "&access_token=EAAB1234567890abcdef")
    ->Arg(200)
    ->Arg(1 << 20);

// --- Starting
// -----------------------------------------------------------------------------------------------------------

void ready(benchmark::State& state) {
  for (auto _ : state) {
    const std::string& directory = keptDirectory();
    const auto begin = SteadyClock::now();
    Rig rig(directory);
    rig.waitForSerialQueue();
    state.SetIterationTime(secondsSince(begin));
    rig.platform().shutDown();
  }
}
BENCHMARK(ready)->UseManualTime();

/// The two stores of a new application, by SQLite alone.
void readyBare(benchmark::State& state) {
  for (auto _ : state) {
    const std::string& directory = keptDirectory();
    const auto begin = SteadyClock::now();
    BareStore defaults(directory + "/defaults.sqlite");
    BareStore keychain(directory + "/keychain.sqlite");
    state.SetIterationTime(secondsSince(begin));
    if (!defaults.write(1) || !keychain.write(1)) state.SkipWithError("not written");
  }
}
BENCHMARK(readyBare)->UseManualTime();

}  // namespace
}  // namespace trovix::bench

BENCHMARK_MAIN();
