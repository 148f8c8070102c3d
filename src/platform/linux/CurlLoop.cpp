#include "platform/linux/CurlLoop.h"

#include <curl/curl.h>

#include <algorithm>
#include <mutex>
#include <utility>

#include "platform/linux/CurlErrors.h"

namespace trovix::platform {
namespace {

using Time = CurlExchange::Time;

constexpr std::size_t keptHandles = 8;
constexpr long keptConnections = 16;
constexpr std::chrono::milliseconds longestSleep = std::chrono::hours(24 * 20);
// Longer is no limit; the sum with a time must not overflow.
constexpr double longestInterval = 1e6;

void initialiseCurl() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

std::chrono::milliseconds idleLimit(const URLRequest& request, const CurlOptions& options) {
  const double seconds = request.timeoutInterval.value_or(0);
  if (!(seconds > 0)) return options.idleLimit;
  return std::chrono::milliseconds(
      std::max<std::int64_t>(1, saturatingInteger(std::min(seconds, longestInterval) * 1000)));
}

bool isToken(const std::string& method) {
  return !method.empty() && std::all_of(method.begin(), method.end(), [](char c) { return c >= 'A' && c <= 'z'; });
}

}  // namespace

/// What the I/O thread owns.
struct CurlLoop::Wire {
  struct Transfer {
    std::shared_ptr<CurlLoad> load;
    CURL* easy = nullptr;
    std::unique_ptr<CurlExchange> exchange;

    [[nodiscard]] Time deadline(const CurlOptions& limits) const {
      return std::min(exchange->lastActivity() + idleLimit(load->request(), limits), load->begun() + limits.totalLimit);
    }
  };

  explicit Wire(const CurlOptions& options);
  ~Wire();

  void start(std::shared_ptr<CurlLoad> load);
  void finish(CURL* easy, CURLcode code);
  void finishDone();
  void finishOverdue();
  void sleep();
  Transfer take(CURL* easy);

  const CurlOptions& options;
  CURLM* multi = nullptr;
  curl_slist* connectTo = nullptr;
  std::vector<Transfer> transfers;
  std::vector<CURL*> idleHandles;
};

CurlLoop::Wire::Wire(const CurlOptions& theOptions) : options(theOptions) {
  initialiseCurl();
  multi = curl_multi_init();
  if (multi != nullptr) curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, keptConnections);
  if (!options.connectTo.empty()) connectTo = curl_slist_append(nullptr, ("::" + options.connectTo).c_str());
}

CurlLoop::Wire::~Wire() {
  while (!transfers.empty()) curl_easy_cleanup(take(transfers.back().easy).easy);
  for (CURL* easy : idleHandles) curl_easy_cleanup(easy);
  curl_multi_cleanup(multi);
  curl_slist_free_all(connectTo);
}

void CurlLoop::Wire::start(std::shared_ptr<CurlLoad> load) {
  const auto& request = load->request();
  const auto refuse = [&](std::int64_t code) {
    URLResult result;
    result.error = urlLoadingError(code, request.url);
    load->ended(std::move(result), nullptr);
  };
  auto url = CurlURL::parse(request.url, options.allowPlainHttp);
  if (const auto* code = std::get_if<std::int64_t>(&url)) return refuse(*code);
  if (!isToken(request.method)) return refuse(urlError::badURL);
  CURL* easy = idleHandles.empty() ? makeCurlEasy(options) : idleHandles.back();
  if (!idleHandles.empty()) idleHandles.pop_back();
  if (easy == nullptr || multi == nullptr) return refuse(urlError::cannotConnectToHost);
  auto exchange = std::make_unique<CurlExchange>(request, std::get<CurlURL>(std::move(url)), options);
  exchange->bind(easy, connectTo);
  curl_multi_add_handle(multi, easy);
  transfers.push_back({std::move(load), easy, std::move(exchange)});
}

CurlLoop::Wire::Transfer CurlLoop::Wire::take(CURL* easy) {
  const auto place =
      std::find_if(transfers.begin(), transfers.end(), [&](const Transfer& transfer) { return transfer.easy == easy; });
  Transfer taken = std::move(*place);
  transfers.erase(place);
  curl_multi_remove_handle(multi, easy);
  return taken;
}

void CurlLoop::Wire::finish(CURL* easy, CURLcode code) {
  const auto transfer = take(easy);
  auto result = transfer.exchange->finish(code);
  if (idleHandles.size() < keptHandles) {
    idleHandles.push_back(easy);
  } else {
    curl_easy_cleanup(easy);
  }
  transfer.load->ended(std::move(result), &transfer.exchange->url());
}

void CurlLoop::Wire::finishDone() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi, &left)) {
    if (message->msg == CURLMSG_DONE) finish(message->easy_handle, message->data.result);
  }
}

void CurlLoop::Wire::finishOverdue() {
  if (transfers.empty()) return;
  const auto now = std::chrono::steady_clock::now();
  std::vector<CURL*> overdue;
  for (const auto& transfer : transfers) {
    if (transfer.deadline(options) <= now) overdue.push_back(transfer.easy);
  }
  for (CURL* easy : overdue) finish(easy, CURLE_OPERATION_TIMEDOUT);
}

void CurlLoop::Wire::sleep() {
  auto duration = longestSleep;
  const auto now = std::chrono::steady_clock::now();
  for (const auto& transfer : transfers) {
    duration = std::min(duration, std::chrono::ceil<std::chrono::milliseconds>(transfer.deadline(options) - now));
  }
  curl_multi_poll(multi, nullptr, 0, static_cast<int>(std::max<std::int64_t>(0, duration.count())), nullptr);
}

CurlLoop::CurlLoop(CurlOptions options) : options_(std::move(options)) {}

CurlLoop::~CurlLoop() = default;

void CurlLoop::begin(std::shared_ptr<CurlLoad> load) {
  const MutexLock lock(mutex_);
  if (isStopped_) return;
  inbox_.push_back(std::move(load));
  if (!isStarted_) {
    isStarted_ = thread_.start("trovix-url", [self = shared_from_this()] { self->run(); });
  } else if (sleeping_ != nullptr) {
    curl_multi_wakeup(std::exchange(sleeping_, nullptr)->multi);
  }
}

bool CurlLoop::takeLoads(Loads& loads) {
  const MutexLock lock(mutex_);
  sleeping_ = nullptr;
  loads.swap(inbox_);
  return !isStopped_;
}

void CurlLoop::run() {
  Wire wire(options_);
  Loads loads;
  while (takeLoads(loads)) {
    for (auto& load : loads) wire.start(std::move(load));
    loads.clear();
    int running = 0;
    curl_multi_perform(wire.multi, &running);
    wire.finishDone();
    wire.finishOverdue();
    {
      const MutexLock lock(mutex_);
      if (!inbox_.empty() || isStopped_) continue;
      sleeping_ = &wire;
    }
    wire.sleep();
  }
}

bool CurlLoop::stopUntil(std::chrono::steady_clock::time_point deadline) {
  WorkerThread* thread = nullptr;
  {
    const MutexLock lock(mutex_);
    isStopped_ = true;
    inbox_.clear();
    if (sleeping_ != nullptr) curl_multi_wakeup(std::exchange(sleeping_, nullptr)->multi);
    // Nothing starts it any more.
    thread = &thread_;
  }
  return thread->joinUntil(deadline);
}

}  // namespace trovix::platform
