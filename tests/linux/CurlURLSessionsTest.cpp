#include "platform/linux/CurlURLSessions.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <thread>

#include "linux/LoopbackServer.h"
#include "platform/linux/LinuxQueues.h"

namespace trovix::platform {
namespace {

using test::answer;
using test::LoopbackServer;
using test::Reply;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

URLRequest to(const std::string& url, const std::string& method = "GET", const std::string& body = "") {
  URLRequest request;
  request.url = url;
  request.method = method;
  if (!body.empty()) request.body = Data(body.begin(), body.end());
  return request;
}

URLResult load(URLSession& session, URLRequest request) {
  std::promise<URLResult> promise;
  session.startTask(std::move(request), [&](URLResult result) { promise.set_value(std::move(result)); });
  return promise.get_future().get();
}

std::int64_t codeOf(const URLResult& result) {
  if (result.error) return result.error->domain() == urlErrorDomain ? result.error->code() : 0;
  return result.response->statusCode;
}

std::string bodyOf(const URLResult& result) { return {result.data.begin(), result.data.end()}; }

struct Loader {
  explicit Loader(CurlOptions options = {}) : sessions(std::move(options), queues) {}
  URLResult operator()(URLRequest request) { return load(sessions.shared(), std::move(request)); }

  LinuxQueues queues{MainQueueMode::hostLoop, nullptr};
  CurlURLSessions sessions;
};

TEST(CurlURLSessions, EveryEndOfATaskHasItsCode) {
  LoopbackServer server([](const std::string& request) -> Reply {
    const std::string path = request.substr(0, request.find(' ', 5));
    if (path == "GET /loop") return answer("302 Found", "Location: /loop\r\n");
    if (path == "GET /to-file") return answer("302 Found", "Location: file:///etc/passwd\r\n");
    if (path == "GET /to-plain") return answer("302 Found", "Location: http://example.test/\r\n");
    if (path == "GET /large") return answer("200 OK", "", std::string(3000, 'x'));
    if (path == "GET /half") return {"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf", Reply::Then::close};
    if (path == "GET /reset") return {"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n", Reply::Then::reset};
    if (path == "GET /nothing") return {"", Reply::Then::close};
    if (path == "GET /garbage") return {"garbage\r\n\r\n", Reply::Then::close};
    if (path == "GET /silence") return {};
    if (path == "GET /stall") return {"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf"};
    return answer("404 Not Found");
  });
  CurlOptions options;
  options.maximumAnswer = 2999;
  Loader loader(options);
  const struct {
    std::string url;
    std::int64_t code;
  } cases[] = {
      {server.url("/missing"), 404},
      {server.url("/loop"), urlError::httpTooManyRedirects},
      {server.url("/to-file"), urlError::unsupportedURL},
      {server.url("/to-plain"), urlError::appTransportSecurityRequiresSecureConnection},
      {server.url("/large"), urlError::dataLengthExceedsMaximum},
      {server.url("/half"), urlError::networkConnectionLost},
      {server.url("/reset"), urlError::networkConnectionLost},
      {server.url("/nothing"), urlError::networkConnectionLost},
      {server.url("/garbage"), urlError::badServerResponse},
      {server.url("/silence"), urlError::timedOut},
      {server.url("/stall"), urlError::timedOut},
      {"http://127.0.0.1:1/", urlError::cannotConnectToHost},
      {"http://example.test/", urlError::appTransportSecurityRequiresSecureConnection},
      {"http://127.0.0.1.example.test/", urlError::appTransportSecurityRequiresSecureConnection},
      {"file:///etc/passwd", urlError::unsupportedURL},
      {"ftp://127.0.0.1/", urlError::unsupportedURL},
      {"", urlError::badURL},
      {"not an address", urlError::badURL},
      {"https://", urlError::badURL},
      {std::string("http://127.0.0.1\0.example.test/", 31), urlError::badURL},
  };
  for (const auto& test : cases) {
    auto request = to(test.url);
    request.timeoutInterval = 0.3;
    const auto result = loader(request);
    EXPECT_EQ(codeOf(result), test.code) << test.url;
    EXPECT_NE(result.response.has_value(), result.error.has_value());
  }
  const auto requests = server.requests();
  EXPECT_EQ(std::count_if(requests.begin(), requests.end(),
                          [](const std::string& request) { return request.starts_with("GET /loop "); }),
            17);
}

TEST(CurlURLSessions, TheWholeTaskIsBoundedWhileDataTrickles) {
  LoopbackServer server([](const std::string&) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return answer("302 Found", "Location: /again\r\n");
  });
  CurlOptions options;
  options.totalLimit = std::chrono::milliseconds(100);
  EXPECT_EQ(codeOf(Loader(options)(to(server.url("/")))), urlError::timedOut);
}

TEST(CurlURLSessions, RedirectsAreFollowedAsTheirStatusSays) {
  const struct {
    std::string status, method, expectedLine, expectedBody;
  } cases[] = {
      {"301 Moved", "POST", "GET /next HTTP/1.1", ""},
      {"302 Found", "POST", "GET /next HTTP/1.1", ""},
      {"303 See Other", "PUT", "GET /next HTTP/1.1", ""},
      {"302 Found", "PUT", "PUT /next HTTP/1.1", "body"},
      {"307 Temporary", "POST", "POST /next HTTP/1.1", "body"},
      {"308 Permanent", "POST", "POST /next HTTP/1.1", "body"},
  };
  for (const auto& test : cases) {
    LoopbackServer server([&](const std::string& request) {
      if (request.find(" /next ") != std::string::npos)
        return answer("200 OK", "Content-Type: Text/HTML; a=b\r\n", "end");
      return answer(test.status, "Location: /next#fragment\r\n");
    });
    Loader loader;
    auto request = to(server.url("/first"), test.method, "body");
    request.headers.set("Authorization", "secret");
    request.headers.set("X-Own", "kept");
    const auto result = loader(request);
    ASSERT_EQ(codeOf(result), 200) << test.status;
    EXPECT_EQ(result.response->url, server.url("/next"));
    EXPECT_EQ(result.response->mimeType, "text/html");
    EXPECT_EQ(bodyOf(result), "end");
    const auto last = server.requests().back();
    EXPECT_THAT(last, StartsWith(test.expectedLine + "\r\n")) << test.status;
    EXPECT_THAT(last, HasSubstr("Authorization: secret\r\n"));
    EXPECT_EQ(last.substr(last.find("\r\n\r\n") + 4), test.expectedBody) << test.status;
  }
}

TEST(CurlURLSessions, CredentialsStayWithTheirOrigin) {
  LoopbackServer other([](const std::string&) { return answer("200 OK"); });
  LoopbackServer server(
      [&](const std::string&) { return answer("302 Found", "Location: " + other.url("/") + "\r\n"); });
  Loader loader;
  auto request = to(server.url("/"));
  request.headers.set("authorization", "secret");
  request.headers.set("X-Own", "kept");
  EXPECT_EQ(codeOf(loader(request)), 200);
  EXPECT_THAT(other.requests().back(), Not(HasSubstr("secret")));
  EXPECT_THAT(other.requests().back(), HasSubstr("X-Own: kept\r\n"));
}

TEST(CurlURLSessions, TheRedirectHandlerDecides) {
  LoopbackServer server([](const std::string& request) {
    if (request.starts_with("GET /changed")) return answer("200 OK", "", "changed");
    return answer("302 Found", "Location: /next\r\n", "here");
  });
  Loader loader;
  const auto session =
      loader.sessions.makeSession([&](std::uint64_t, const URLRequest& current, const URLResponse& response,
                                      URLRequest proposed) -> std::optional<URLRequest> {
        EXPECT_EQ(response.url, current.url);
        EXPECT_EQ(proposed.url, server.url("/next"));
        if (current.url == server.url("/stay")) return std::nullopt;
        return to(server.url("/changed"));
      });
  const auto stayed = load(*session, to(server.url("/stay")));
  EXPECT_EQ(codeOf(stayed), 302);
  EXPECT_EQ(bodyOf(stayed), "here");
  EXPECT_EQ(bodyOf(load(*session, to(server.url("/go")))), "changed");
}

TEST(CurlURLSessions, RequestsShareAConnectionAndCarryWhatTheCallerSet) {
  LoopbackServer server([](const std::string&) { return answer("200 OK"); });
  Loader loader;
  auto request = to(server.url("/"), "POST", std::string(4000, 'b'));
  request.headers.set("Content-Type", "application/octet-stream");
  request.headers.set("Content-Length", "1");
  request.headers.set("X-Injected", "a\r\nX-Evil: b");
  request.headers.set("X-Empty", "");
  EXPECT_EQ(codeOf(loader(request)), 200);
  EXPECT_EQ(codeOf(loader(to(server.url("/head"), "HEAD"))), 200);
  EXPECT_EQ(codeOf(loader(to(server.url("/"), "POST"))), 200);
  EXPECT_EQ(server.connections(), 1);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 3);
  EXPECT_THAT(requests[0], HasSubstr("User-Agent: trovix\r\n"));
  EXPECT_THAT(requests[0], HasSubstr("Content-Type: application/octet-stream\r\n"));
  EXPECT_THAT(requests[0], HasSubstr("Content-Length: 4000\r\n"));
  EXPECT_THAT(requests[0], HasSubstr("X-Empty:"));
  for (const char* absent : {"X-Evil", "Expect", "Cookie"}) EXPECT_THAT(requests[0], Not(HasSubstr(absent)));
  EXPECT_THAT(requests[1], StartsWith("HEAD /head "));
  EXPECT_THAT(requests[2], HasSubstr("Content-Length: 0\r\n"));
}

TEST(CurlURLSessions, CompletionsComeOneAtATimeAndASlowOneHoldsUpNoTransfer) {
  std::atomic<int> answered{0};
  LoopbackServer server([&](const std::string&) {
    ++answered;
    return answer("200 OK");
  });
  Loader loader;
  std::atomic<int> inside{0};
  std::atomic<int> done{0};
  std::atomic<std::uint64_t> identifiers{0};
  {
    const auto session = loader.sessions.makeSession(nullptr);
    for (int i = 0; i < 4; ++i) {
      identifiers += session
                         ->startTask(to(server.url("/")),
                                     [&](URLResult result) {
                                       EXPECT_EQ(++inside, 1);
                                       EXPECT_EQ(codeOf(result), 200);
                                       while (answered < 4) std::this_thread::yield();
                                       --inside;
                                       ++done;
                                     })
                         ->taskIdentifier();
    }
    session->finishTasksAndInvalidate();
    EXPECT_EQ(codeOf(load(*session, to(server.url("/")))), urlError::cancelled);
  }
  while (done < 4) std::this_thread::yield();
  EXPECT_EQ(identifiers, 1 + 2 + 3 + 4);
  EXPECT_EQ(answered, 4);
}

TEST(CurlURLSessions, CertificatesAreVerifiedAgainstTheAddress) {
  LoopbackServer server([](const std::string&) { return answer("200 OK"); }, "events.example.test");
  CurlOptions options;
  options.connectTo = server.address();
  EXPECT_EQ(codeOf(Loader(options)(to("https://events.example.test/"))), urlError::serverCertificateUntrusted);
  options.certificateAuthorityFile = server.certificateFile();
  Loader loader(options);
  EXPECT_EQ(codeOf(loader(to("https://events.example.test/"))), 200);
  EXPECT_EQ(codeOf(loader(to("https://other.example.test/"))), urlError::serverCertificateUntrusted);
  EXPECT_EQ(codeOf(loader(to("https://" + server.address() + "/"))), urlError::serverCertificateUntrusted);
  EXPECT_EQ(server.requests().size(), 1);
}

}  // namespace
}  // namespace trovix::platform
