#include "collector/Collector.h"

#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <map>

#include "collector/Authority.h"
#include "collector/CollectorError.h"
#include "collector/HealthyAnswers.h"
#include "collector/HttpServer.h"
#include "collector/Inspector.h"
#include "collector/Scenario.h"
#include "platform/Mutex.h"

namespace trovix::collector {
namespace {

// A directory of its own, gone at the end.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::error_code error;
    std::string path = (std::filesystem::temp_directory_path(error) / "trovix-collector-XXXXXX").string();
    if (!error && ::mkdtemp(path.data()) != nullptr) path_ = path;
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  [[nodiscard]] const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
};

}  // namespace

class Collector::State {
 public:
  explicit State(Options options)
      : options_(std::move(options)), inspector_(options_.devKey), listen_(options_.listen) {}

  Status start();
  void stop();
  std::string address() const;
  std::uint16_t port() const;
  std::string caFile() const;
  std::vector<Dictionary> requests(std::string_view kind) const;
  void clearRequests();
  bool waitForRequests(std::string_view kind, std::size_t count, std::chrono::milliseconds timeout) const;
  Status setScenario(std::string_view key, const Array& answers);

 private:
  Status prepare() TX_REQUIRES(lifeMutex_);
  Reply reply(const Request& request);
  bool present(SSL* connection, std::string_view host);
  void keep(std::string_view kind, Dictionary record);
  std::size_t count(std::string_view kind) const TX_REQUIRES(mutex_);

  const Options options_;

  // The serving thread's.
  Inspector inspector_;
  HealthyAnswers healthyAnswers_;

  // Held over the whole of a start and a stop; the serving thread never takes it.
  mutable platform::Mutex lifeMutex_;
  std::optional<TemporaryDirectory> ownDirectory_ TX_GUARDED_BY(lifeMutex_);
  std::unique_ptr<Authority> authority_;  // made before the first server, then the serving thread's
  std::string listen_ TX_GUARDED_BY(lifeMutex_);
  bool scenarioRead_ TX_GUARDED_BY(lifeMutex_) = false;
  std::string address_ TX_GUARDED_BY(lifeMutex_);
  std::uint16_t port_ TX_GUARDED_BY(lifeMutex_) = 0;

  mutable platform::Mutex mutex_;
  mutable std::condition_variable_any arrived_;
  Scenario scenario_ TX_GUARDED_BY(mutex_);
  std::deque<Dictionary> requests_ TX_GUARDED_BY(mutex_);
  std::map<std::string, std::size_t, std::less<>> counts_ TX_GUARDED_BY(mutex_);

  // Last, so that its thread has ended before anything that it uses goes.
  std::unique_ptr<HttpServer> server_ TX_GUARDED_BY(lifeMutex_);
};

Status Collector::State::prepare() {
  if (!scenarioRead_) {
    for (const auto& [key, answers] : options_.scenario) {
      if (answers.array() == nullptr)
        return collectorError("scenario: every key holds a list of answers", collectorScenarioCode);
      if (auto set = setScenario(key, *answers.array()); !set) return set;
    }
    scenarioRead_ = true;
  }
  if (options_.plain || authority_ != nullptr) return success();
  std::string directory = options_.tlsDirectory;
  if (directory.empty()) directory = ownDirectory_.emplace().path();
  if (directory.empty()) return collectorError("cannot make a temporary directory");
  auto authority = Authority::open(directory);
  if (!authority) return authority.error();
  authority_ = std::move(authority).value();
  return success();
}

Status Collector::State::start() {
  const platform::MutexLock lock(lifeMutex_);
  if (server_ != nullptr) return success();
  if (auto prepared = prepare(); !prepared) return prepared;
  HttpServer::Callbacks callbacks{.reply = [this](const Request& request) { return reply(request); },
                                  .certificate = {}};
  if (!options_.plain)
    callbacks.certificate = [this](SSL* connection, std::string_view host) { return present(connection, host); };
  auto server = HttpServer::start(listen_, std::move(callbacks));
  if (!server) return server.error();
  server_ = std::move(server).value();
  listen_ = address_ = server_->address();
  port_ = server_->port();
  return success();
}

void Collector::State::stop() {
  const platform::MutexLock lock(lifeMutex_);
  server_.reset();
}

Reply Collector::State::reply(const Request& request) {
  const Address address = addressOf(request);
  const Destination destination = destinationOf(request.method, address.host, address.path);
  Dictionary record = inspector_.inspect(request, address, destination);
  Reply healthy = healthyAnswers_.answer(destination, address, record.find("parameters"));
  std::optional<Answer> answer;
  {
    const platform::MutexLock lock(mutex_);
    answer = scenario_.next(address.host, destination.kind);
  }
  if (options_.onRequest) options_.onRequest(record);
  keep(destination.kind, std::move(record));
  return answer ? replyOf(std::move(*answer), std::move(healthy)) : healthy;
}

bool Collector::State::present(SSL* connection, std::string_view host) {
  CertificateFault fault = CertificateFault::none;
  {
    const platform::MutexLock lock(mutex_);
    fault = scenario_.nextCertificate(host);
  }
  return authority_->present(connection, host, fault);
}

void Collector::State::keep(std::string_view kind, Dictionary record) {
  {
    const platform::MutexLock lock(mutex_);
    if (requests_.size() >= options_.keptRequests && !requests_.empty()) requests_.pop_front();
    if (options_.keptRequests > 0) requests_.push_back(std::move(record));
    ++counts_[std::string(kind)];
    ++counts_["*"];
  }
  arrived_.notify_all();
}

std::string Collector::State::address() const {
  const platform::MutexLock lock(lifeMutex_);
  return address_;
}

std::uint16_t Collector::State::port() const {
  const platform::MutexLock lock(lifeMutex_);
  return port_;
}

std::string Collector::State::caFile() const {
  const platform::MutexLock lock(lifeMutex_);
  return authority_ != nullptr ? authority_->caFile() : std::string();
}

std::vector<Dictionary> Collector::State::requests(std::string_view kind) const {
  const platform::MutexLock lock(mutex_);
  std::vector<Dictionary> found;
  for (const Dictionary& request : requests_)
    if (kind == "*" || *request.string("kind") == kind) found.push_back(request);
  return found;
}

void Collector::State::clearRequests() {
  const platform::MutexLock lock(mutex_);
  requests_.clear();
  counts_.clear();
}

std::size_t Collector::State::count(std::string_view kind) const {
  const auto found = counts_.find(kind);
  return found != counts_.end() ? found->second : 0;
}

bool Collector::State::waitForRequests(std::string_view kind, std::size_t wanted,
                                       std::chrono::milliseconds timeout) const {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  const platform::MutexLock lock(mutex_);
  while (count(kind) < wanted)
    if (arrived_.wait_until(mutex_, deadline) == std::cv_status::timeout) return count(kind) >= wanted;
  return true;
}

Status Collector::State::setScenario(std::string_view key, const Array& answers) {
  const platform::MutexLock lock(mutex_);
  return scenario_.set(key, answers);
}

Collector::Collector(Options options) : state_(std::make_unique<State>(std::move(options))) {}
Collector::~Collector() { stop(); }

Status Collector::start() { return state_->start(); }
void Collector::stop() { state_->stop(); }
std::string Collector::address() const { return state_->address(); }
std::uint16_t Collector::port() const { return state_->port(); }
std::string Collector::caFile() const { return state_->caFile(); }
std::vector<Dictionary> Collector::requests() const { return state_->requests("*"); }
std::vector<Dictionary> Collector::requestsOfKind(std::string_view kind) const { return state_->requests(kind); }
void Collector::clearRequests() { state_->clearRequests(); }

bool Collector::waitForRequests(std::string_view kind, std::size_t count, std::chrono::milliseconds timeout) const {
  return state_->waitForRequests(kind, count, timeout);
}

Status Collector::setScenario(std::string_view key, const Array& answers) { return state_->setScenario(key, answers); }

}  // namespace trovix::collector
