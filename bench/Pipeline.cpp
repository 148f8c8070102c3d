#include <curl/curl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>

#include "Rig.h"
#include "collector/Collector.h"
#include "common/Version.h"
#include "network/TXSDKEvent.h"

namespace trovix::bench {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr int memoryEvents = 10'000;
constexpr int manyEvents = 100'000;
constexpr int step = 100;
constexpr int burst = 3'000;
constexpr int rounds = 5;
constexpr const char* eventKind = "InApps";
constexpr std::chrono::minutes patience{3};

/// Bytes of this process that are in memory.
std::int64_t residentBytes() {
  std::ifstream statistics("/proc/self/statm");
  std::int64_t total = 0;
  std::int64_t resident = 0;
  statistics >> total >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}

/// When the first and the last event came in since it was reset.
struct Arrivals {
  std::atomic<std::int64_t> first{0};
  std::atomic<std::int64_t> last{0};

  void reset() { first = last = 0; }
  void note(const Dictionary& request) {
    const std::string* kind = request.string("kind");
    if (kind == nullptr || *kind != eventKind) return;
    last = SteadyClock::now().time_since_epoch().count();
    if (first == 0) first = last.load();
  }
  [[nodiscard]] double seconds() const {
    return std::chrono::duration<double>(SteadyClock::duration(last - first)).count();
  }
};

void logPaced(Rig& rig, int count) {
  // Slower than the wire, so that no backlog is mistaken for growth.
  constexpr std::chrono::microseconds interval{2000};
  auto due = SteadyClock::now();
  for (int i = 0; i < count; ++i, due += interval) {
    std::this_thread::sleep_until(due);
    rig.sdk().logEvent("purchase", Dictionary{{"price", 100}});
  }
}

void await(const collector::Collector& server, std::size_t events) {
  if (!server.waitForRequests(eventKind, events, patience)) fail("events are missing");
}

double eventsPerSecond(Rig& rig, collector::Collector& server, Arrivals& arrivals) {
  server.clearRequests();
  arrivals.reset();
  for (int i = 0; i < burst; ++i) rig.sdk().logEvent("purchase", eventProperties());
  await(server, burst);
  rig.waitUntilIdle();
  return (burst - 1) / arrivals.seconds();
}

/// What the SDK sent last, made anew.
struct Post {
  std::string url;
  std::string host;
  Data body;
};

Post lastPost(const collector::Collector& server) {
  const auto requests = server.requestsOfKind(eventKind);
  if (requests.empty()) fail("no request was recorded");
  const Dictionary& request = requests.back();
  const Dictionary* parameters = request.dictionary("parameters");
  if (parameters == nullptr) fail("the request's body was not read");
  const TXSDKEvent event(*parameters, *request.string("url"), sdkVersion, eventOption::TXEventOptionInAppEvent);
  return {*request.string("url"), *request.string("host"), event.encryptWithData(event.data())};
}

double barePostsPerSecond(collector::Collector& server, Arrivals& arrivals, const Post& post) {
  server.clearRequests();
  arrivals.reset();
  CURL* handle = curl_easy_init();
  const std::string to = post.host + ":443:" + server.address();
  curl_slist* connectTo = curl_slist_append(nullptr, to.c_str());
  curl_slist* headers = curl_slist_append(nullptr, "Content-Type: application/octet-stream");
  headers = curl_slist_append(headers, "Expect:");
  curl_easy_setopt(handle, CURLOPT_URL, post.url.c_str());
  curl_easy_setopt(handle, CURLOPT_CONNECT_TO, connectTo);
  curl_easy_setopt(handle, CURLOPT_CAINFO, server.caFile().c_str());
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(handle, CURLOPT_POSTFIELDS, post.body.data());
  curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(post.body.size()));
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, discard);
  for (int i = 0; i < burst; ++i) {
    if (curl_easy_perform(handle) != CURLE_OK) fail("a bare request failed");
  }
  curl_easy_cleanup(handle);
  curl_slist_free_all(headers);
  curl_slist_free_all(connectTo);
  await(server, burst);
  return (burst - 1) / arrivals.seconds();
}

void show(const char* name, std::int64_t bytes) {
  std::printf("%s %lld\n", name, static_cast<long long>(bytes / 1024));
}

void measureMemory(Rig& rig, const collector::Collector& server) {
  const auto residentAfter = [&](int events) {
    await(server, static_cast<std::size_t>(events));
    rig.waitUntilIdle();
    return residentBytes();
  };
  show("resident_start_kib", residentBytes());
  logPaced(rig, memoryEvents / 10);
  show("resident_1000_kib", residentAfter(memoryEvents / 10));
  logPaced(rig, memoryEvents - memoryEvents / 10);
  show("resident_10000_kib", residentAfter(memoryEvents));
  // The rest as fast as the wire takes it.
  for (int sent = memoryEvents; sent < manyEvents; sent += step) {
    if (sent == manyEvents / 2) show("resident_50000_kib", residentAfter(sent));
    for (int i = 0; i < step; ++i) rig.sdk().logEvent("purchase", Dictionary{{"price", 100}});
    await(server, static_cast<std::size_t>(sent + step));
  }
  show("resident_100000_kib", residentAfter(manyEvents));
}

// In turn, so that what else the machine does falls on both.
void measureRate(Rig& rig, collector::Collector& server, Arrivals& arrivals) {
  Post post;
  for (int round = 0; round < rounds; ++round) {
    const double pipeline = eventsPerSecond(rig, server, arrivals);
    post = lastPost(server);
    const double bare = barePostsPerSecond(server, arrivals, post);
    std::printf("round %.0f beside %.0f\n", pipeline, bare);
  }
  std::printf("body_bytes %zu\n", post.body.size());
}

void run() {
  Arrivals arrivals;
  collector::Collector::Options options;
  options.devKey = devKey;
  options.onRequest = [&arrivals](const Dictionary& request) { arrivals.note(request); };
  options.keptRequests = 1;
  collector::Collector server(std::move(options));
  if (!server.start()) fail("the collector does not start");

  const TemporaryDirectory directory;
  Rig rig(directory.path(), server.address(), server.caFile());
  rig.configure();
  rig.sdk().start();
  if (!server.waitForRequests("*", 1, patience)) fail("no launch came in");
  rig.waitUntilIdle();
  measureMemory(rig, server);
  measureRate(rig, server, arrivals);
  rig.platform().shutDown();
}

}  // namespace
}  // namespace trovix::bench

int main() {
  trovix::bench::run();
  return 0;
}
