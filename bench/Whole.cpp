// What an application sees of the library over its life: how soon a launch is delivered, what a start costs with a full
// cache, and what it does while nothing happens.
#include <curl/curl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "Rig.h"
#include "collector/Collector.h"
#include "common/Version.h"
#include "core/EventValue.h"
#include "network/TXSDKEvent.h"

namespace trovix::bench {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr int rounds = 9;
constexpr int fullCache = 46;
constexpr std::chrono::minutes patience{3};

double microsecondsSince(SteadyClock::time_point begin) {
  return std::chrono::duration<double, std::micro>(SteadyClock::now() - begin).count();
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void show(const char* name, double value) { std::printf("%s %.1f\n", name, value); }

/// From nothing to a first launch that the server has: platform, SDK, key derivation, TLS connection.
double launchToDelivered(collector::Collector& server) {
  const std::string& directory = keptDirectory();
  server.clearRequests();
  const auto begin = SteadyClock::now();
  Rig rig(directory, server.address(), server.caFile());
  rig.configure();
  rig.sdk().start();
  if (!server.waitForRequests("*", 1, patience)) fail("no launch came in");
  const double elapsed = microsecondsSince(begin);
  rig.waitUntilIdle();
  rig.platform().shutDown();
  return elapsed;
}

/// One request over a connection of its own, by libcurl alone.
double barePost(const collector::Collector& server) {
  const std::string to = "bench.test:443:" + server.address();
  curl_slist* connectTo = curl_slist_append(nullptr, to.c_str());
  const auto begin = SteadyClock::now();
  CURL* handle = curl_easy_init();
  curl_easy_setopt(handle, CURLOPT_URL, "https://bench.test/");
  curl_easy_setopt(handle, CURLOPT_CONNECT_TO, connectTo);
  curl_easy_setopt(handle, CURLOPT_CAINFO, server.caFile().c_str());
  curl_easy_setopt(handle, CURLOPT_POSTFIELDS, "bare");
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, discard);
  if (curl_easy_perform(handle) != CURLE_OK) fail("a bare request failed");
  const double elapsed = microsecondsSince(begin);
  curl_easy_cleanup(handle);
  curl_slist_free_all(connectTo);
  return elapsed;
}

/// Leaves as many events in the cache as it holds, as an application that is never on line does.
void fillCache(const std::string& directory) {
  Rig rig(directory);
  rig.configure();
  rig.waitForSerialQueue();
  while (rig.parts().cache.cachedEvents().size() < fullCache) {
    TrovixDictionary parameters = rig.parts().payload.getEventParameters(false);
    parameters.dict().set("eventvalue", encodedEventValue(eventProperties(), true));
    TXSDKEvent event(std::move(parameters.dict()), "https://inapps.example.test/api/v6.2/iosevent?app_id=1", sdkVersion,
                     eventOption::TXEventOptionInAppEvent);
    rig.parts().cache.cacheEvent(event);
  }
  rig.platform().shutDown();
}

/// From nothing to the end of the start-up job over a directory that has all this in it.
double coldStart(const std::string& directory) {
  const auto begin = SteadyClock::now();
  Rig rig(directory);
  rig.waitForSerialQueue();
  const double elapsed = microsecondsSince(begin);
  rig.platform().shutDown();
  return elapsed;
}

/// How often each thread of this process but the calling one went to sleep, which is how often it was awake.
std::map<std::string, std::int64_t> sleepsOfOthers() {
  const std::string own = std::to_string(gettid());
  std::map<std::string, std::int64_t> sleeps;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    const std::string thread = task.path().filename();
    if (thread == own) continue;
    std::ifstream status(task.path() / "status");
    for (std::string name; status >> name;) {
      if (name == "voluntary_ctxt_switches:") status >> sleeps[thread];
    }
  }
  return sleeps;
}

/// A thread that comes or goes in between was awake as well.
std::int64_t wakeUpsSince(const std::map<std::string, std::int64_t>& before) {
  const auto after = sleepsOfOthers();
  std::int64_t sum = 0;
  for (const auto& [thread, sleeps] : after) {
    const auto known = before.find(thread);
    sum += known != before.end() ? sleeps - known->second : sleeps + 1;
  }
  for (const auto& [thread, sleeps] : before) sum += after.contains(thread) ? 0 : 1;
  return sum;
}

double processorMicroseconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto microseconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
  };
  return microseconds(usage.ru_utime) + microseconds(usage.ru_stime);
}

/// A minute after a launch and an event were delivered. The stand-in server sleeps in the same process.
void measureIdleness(collector::Collector& server, std::chrono::seconds duration) {
  const TemporaryDirectory directory;
  server.clearRequests();
  Rig rig(directory.path(), server.address(), server.caFile());
  rig.configure();
  rig.sdk().start();
  rig.sdk().logEvent("purchase", eventProperties());
  if (!server.waitForRequests("*", 2, patience)) fail("the event did not come in");
  rig.waitUntilIdle();
  // Threads that wait for more work, and a connection that is kept, may end first.
  std::this_thread::sleep_for(std::chrono::seconds(2));

  const auto sleeps = sleepsOfOthers();
  const double processor = processorMicroseconds();
  std::this_thread::sleep_for(duration);
  show("idle_cpu_us", processorMicroseconds() - processor);
  show("idle_wakeups", static_cast<double>(wakeUpsSince(sleeps)));
  rig.platform().shutDown();
}

void run(std::chrono::seconds idleTime) {
  collector::Collector::Options options;
  options.devKey = devKey;
  options.keptRequests = 1;
  collector::Collector server(std::move(options));
  if (!server.start()) fail("the collector does not start");

  std::vector<double> launches;
  std::vector<double> posts;
  for (int round = 0; round < rounds; ++round) {
    launches.push_back(launchToDelivered(server));
    posts.push_back(barePost(server));
  }
  show("launch_delivered_us", median(launches));
  show("bare_post_us", median(posts));

  std::vector<double> starts;
  for (int round = 0; round < rounds; ++round) {
    const std::string& directory = keptDirectory();
    fillCache(directory);
    starts.push_back(coldStart(directory));
  }
  show("cold_start_full_us", median(starts));
  measureIdleness(server, idleTime);
}

}  // namespace
}  // namespace trovix::bench

int main(int argc, char** argv) {
  // The seconds of idleness that are measured.
  trovix::bench::run(std::chrono::seconds(argc > 1 ? std::atoi(argv[1]) : 60));
  return 0;
}
