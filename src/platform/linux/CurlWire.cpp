#include "platform/linux/CurlWire.h"

#include <curl/curl.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "platform/linux/CurlErrors.h"

namespace trovix::platform {
namespace {

constexpr std::size_t keptHandles = 8;
constexpr long keptConnections = 16;
// What curl does may be due again at once; after so many times the others get the thread.
constexpr int turnsAtOnce = 4;
// Longer is no limit; the sum with a time must not overflow.
constexpr double longestInterval = 1e6;

void initialiseCurl() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

void setAuthorities(CURL* easy, const CurlOptions& options) {
  if (!options.certificateAuthorityFile.empty()) {
    curl_easy_setopt(easy, CURLOPT_CAINFO, options.certificateAuthorityFile.c_str());
    curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);
    return;
  }
  const char* file = std::getenv("CURL_CA_BUNDLE");
  if (file == nullptr) file = std::getenv("SSL_CERT_FILE");
  if (file != nullptr && *file != '\0') curl_easy_setopt(easy, CURLOPT_CAINFO, file);
  const char* directory = std::getenv("SSL_CERT_DIR");
  if (directory != nullptr && *directory != '\0') curl_easy_setopt(easy, CURLOPT_CAPATH, directory);
}

// An easy handle with everything that all requests share; a null pointer when there is no memory.
CURL* makeCurlEasy(const CurlOptions& options) {
  CURL* easy = curl_easy_init();
  if (easy == nullptr) return nullptr;
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  // Without this, giving up a request waits for its name look-up.
  curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(easy, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
  curl_easy_setopt(easy, CURLOPT_TCP_NODELAY, 1L);
  curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "");
  curl_easy_setopt(easy, CURLOPT_NOPROGRESS, 0L);
  setAuthorities(easy, options);
  return easy;
}

std::chrono::milliseconds idleLimit(const URLRequest& request, const CurlOptions& options) {
  const double seconds = request.timeoutInterval.value_or(0);
  if (!(seconds > 0)) return options.idleLimit;
  const auto milliseconds = saturatingInteger(std::min(seconds, longestInterval) * 1000);
  return std::chrono::milliseconds(std::max<std::int64_t>(1, milliseconds));
}

bool isToken(const std::string& method) {
  return !method.empty() && std::all_of(method.begin(), method.end(), [](char c) { return c >= 'A' && c <= 'z'; });
}

std::uint32_t epollEvents(int what) {
  std::uint32_t events = 0;
  if ((what & CURL_POLL_IN) != 0) events |= EPOLLIN;
  if ((what & CURL_POLL_OUT) != 0) events |= EPOLLOUT;
  return events;
}

int curlEvents(std::uint32_t events) {
  int mask = 0;
  if ((events & (EPOLLIN | EPOLLHUP)) != 0) mask |= CURL_CSELECT_IN;
  if ((events & EPOLLOUT) != 0) mask |= CURL_CSELECT_OUT;
  if ((events & EPOLLERR) != 0) mask |= CURL_CSELECT_ERR;
  return mask;
}

}  // namespace

CurlWire::CurlWire(const CurlOptions& options) : options_(options) {
  initialiseCurl();
  events_ = ::epoll_create1(EPOLL_CLOEXEC);
  timer_ = ::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = timer_;
  ::epoll_ctl(events_, EPOLL_CTL_ADD, timer_, &event);
  multi_ = curl_multi_init();
  if (multi_ != nullptr) {
    curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, keptConnections);
    curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, &CurlWire::onSocket);
    curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, &CurlWire::onTimer);
    curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
  }
  if (!options.connectTo.empty()) connectTo_ = curl_slist_append(nullptr, ("::" + options.connectTo).c_str());
}

CurlWire::~CurlWire() {
  while (!transfers_.empty()) curl_easy_cleanup(take(transfers_.back().easy).easy);
  for (auto* easy : idleHandles_) curl_easy_cleanup(easy);
  curl_multi_cleanup(multi_);
  curl_slist_free_all(connectTo_);
  if (timer_ >= 0) ::close(timer_);
  if (events_ >= 0) ::close(events_);
}

void CurlWire::start(std::shared_ptr<CurlLoad> load) {
  const auto& request = load->request();
  const auto refuse = [&](std::int64_t code) {
    URLResult result;
    result.error = urlLoadingError(code, request.url);
    load->ended(std::move(result), nullptr);
  };
  auto url = CurlURL::parse(request.url, options_.allowPlainHttp);
  if (const auto* code = std::get_if<std::int64_t>(&url)) return refuse(*code);
  if (!isToken(request.method)) return refuse(urlError::badURL);
  void* easy = nullptr;
  if (idleHandles_.empty()) {
    easy = makeCurlEasy(options_);
    if (easy == nullptr) return refuse(urlError::cannotConnectToHost);
  } else {
    easy = idleHandles_.back();
    idleHandles_.pop_back();
  }
  auto exchange = std::make_unique<CurlExchange>(request, std::get<CurlURL>(std::move(url)), options_);
  exchange->bind(easy, connectTo_);
  transfers_.push_back({std::move(load), easy, std::move(exchange)});
  if (curl_multi_add_handle(multi_, easy) != CURLM_OK) finish(easy, CURLE_COULDNT_CONNECT);
}

void CurlWire::drive() {
  moveReady();
  for (int turn = 0; turn < turnsAtOnce && curlTime_ && *curlTime_ <= std::chrono::steady_clock::now(); ++turn) {
    curlTime_.reset();
    int running = 0;
    curl_multi_socket_action(multi_, CURL_SOCKET_TIMEOUT, 0, &running);
  }
  finishDone();
  finishOverdue();
  armTimer();
}

void CurlWire::moveReady() {
  std::array<epoll_event, 32> ready;
  const int count = ::epoll_wait(events_, ready.data(), static_cast<int>(ready.size()), 0);
  for (int i = 0; i < count; ++i) {
    const auto& event = ready[static_cast<std::size_t>(i)];
    if (event.data.fd == timer_) {
      std::uint64_t expirations = 0;
      if (::read(timer_, &expirations, sizeof expirations) > 0) armedTime_.reset();
      continue;
    }
    int running = 0;
    curl_multi_socket_action(multi_, event.data.fd, curlEvents(event.events), &running);
  }
}

int CurlWire::onSocket(void*, int socket, int what, void* self, void* isWatched) {
  auto& wire = *static_cast<CurlWire*>(self);
  epoll_event event{};
  event.data.fd = socket;
  if (what == CURL_POLL_REMOVE) {
    ::epoll_ctl(wire.events_, EPOLL_CTL_DEL, socket, &event);
    curl_multi_assign(wire.multi_, socket, nullptr);
    return 0;
  }
  event.events = epollEvents(what);
  ::epoll_ctl(wire.events_, isWatched != nullptr ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, socket, &event);
  curl_multi_assign(wire.multi_, socket, self);
  return 0;
}

int CurlWire::onTimer(void*, long milliseconds, void* self) {
  auto& time = static_cast<CurlWire*>(self)->curlTime_;
  time.reset();
  if (milliseconds >= 0) time = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  return 0;
}

CurlWire::Transfer CurlWire::take(void* easy) {
  const auto place = std::find_if(transfers_.begin(), transfers_.end(),
                                  [&](const Transfer& transfer) { return transfer.easy == easy; });
  Transfer taken = std::move(*place);
  transfers_.erase(place);
  curl_multi_remove_handle(multi_, easy);
  return taken;
}

void CurlWire::finish(void* easy, int code) {
  const auto transfer = take(easy);
  auto result = transfer.exchange->finish(code);
  if (idleHandles_.size() < keptHandles) {
    idleHandles_.push_back(easy);
  } else {
    curl_easy_cleanup(easy);
  }
  transfer.load->ended(std::move(result), &transfer.exchange->url());
}

void CurlWire::finishDone() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg == CURLMSG_DONE) finish(message->easy_handle, message->data.result);
  }
}

void CurlWire::finishOverdue() {
  if (transfers_.empty()) return;
  const auto now = std::chrono::steady_clock::now();
  std::vector<void*> overdue;
  for (const auto& transfer : transfers_) {
    if (deadline(transfer) <= now) overdue.push_back(transfer.easy);
  }
  for (auto* easy : overdue) finish(easy, CURLE_OPERATION_TIMEDOUT);
}

CurlWire::Time CurlWire::deadline(const Transfer& transfer) const {
  return std::min(transfer.exchange->lastActivity() + idleLimit(transfer.load->request(), options_),
                  transfer.load->begun() + options_.totalLimit);
}

void CurlWire::armTimer() {
  auto wanted = curlTime_;
  for (const auto& transfer : transfers_) wanted = std::min(wanted.value_or(Time::max()), deadline(transfer));
  // Limits that only moved away are looked at when the old time comes; at rest the timer is off.
  const bool isEarlyEnough = wanted && armedTime_ && *armedTime_ <= *wanted;
  if (isEarlyEnough || (!wanted && !armedTime_)) return;
  armedTime_ = wanted;
  itimerspec setting{};
  if (wanted) {
    const auto time = std::max(wanted->time_since_epoch(), Time::duration(1));
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    setting.it_value.tv_sec = seconds.count();
    setting.it_value.tv_nsec = (time - seconds).count();
  }
  ::timerfd_settime(timer_, TFD_TIMER_ABSTIME, &setting, nullptr);
}

}  // namespace trovix::platform
