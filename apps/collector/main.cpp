#include <pthread.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <string>

#include "collector/Collector.h"
#include "collector/CollectorError.h"
#include "platform/Json.h"

namespace {

using trovix::Dictionary;
using trovix::collector::Collector;

constexpr int exitUsage = 2;

std::optional<Dictionary> readScenario(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  auto value = trovix::platform::parseJson(std::string_view(text));
  if (value && value->dictionary() != nullptr) return std::move(*value->dictionary());
  const std::string why = value ? "not a JSON object" : value.error().localizedDescription();
  std::fprintf(stderr, "trovix-collector: %s: %s\n", path.c_str(), why.c_str());
  return std::nullopt;
}

void printLine(Dictionary line) {
  // Parameters of the greatest depth stand one level down.
  auto text = trovix::platform::writeJson(line, 2 * trovix::platform::maximumJsonDepth);
  if (!text) {
    line.remove("parameters");
    text = trovix::platform::writeJson(line);
  }
  text->push_back('\n');
  std::fwrite(text->data(), 1, text->size(), stdout);
  std::fflush(stdout);
}

// Blocked in every thread, so that the main one can wait for them.
sigset_t blockEndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

int serve(Collector::Options options) {
  const sigset_t signals = blockEndSignals();
  // The first line comes first, however early a request does.
  std::mutex output;
  options.keptRequests = 0;
  options.onRequest = [&output](const Dictionary& request) {
    const std::lock_guard<std::mutex> lock(output);
    printLine(request);
  };
  Collector collector(std::move(options));
  {
    const std::lock_guard<std::mutex> lock(output);
    if (auto started = collector.start(); !started) {
      std::fprintf(stderr, "trovix-collector: %s\n", started.error().localizedDescription().c_str());
      return started.error().code() == trovix::collector::collectorScenarioCode ? exitUsage : EXIT_FAILURE;
    }
    Dictionary line{{"name", "listening"}, {"address", collector.address()}};
    if (const std::string ca = collector.caFile(); !ca.empty()) line.set("ca", ca);
    printLine(line);
  }
  int received = 0;
  sigwait(&signals, &received);
  collector.stop();
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  Collector::Options options;
  std::string scenario;
  CLI::App app("The loopback stand-in of the tracking servers. Prints a JSON line for every request.");
  app.add_option("--listen", options.listen, "address and port; port 0 takes a free one")->capture_default_str();
  app.add_option("--dev-key", options.devKey, "opens event bodies and checks signatures");
  app.add_option("--scenario", scenario, "JSON file: what each kind of request gets")->check(CLI::ExistingFile);
  app.add_option("--tls-dir", options.tlsDirectory, "keeps the certificate authority; default: a fresh directory");
  app.add_flag("--plain", options.plain, "HTTP without TLS");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? EXIT_SUCCESS : exitUsage;
  }
  if (!scenario.empty()) {
    auto read = readScenario(scenario);
    if (!read) return exitUsage;
    options.scenario = std::move(*read);
  }
  return serve(std::move(options));
}
