#include "platform/linux/CurlURLSessions.h"

#include "linux/Loader.h"
#include "linux/LoopbackServer.h"

namespace trovix::platform {
namespace {

using namespace std::chrono_literals;
using test::LoopbackServer;
using test::Reply;
using test::Request;

/// What the request says under that name; "(missing)" when it says nothing.
std::string header(const Request& request, const char* name) {
  const std::string* value = collector::findHeader(request.headers, name);
  return value != nullptr ? *value : "(missing)";
}

Reply redirect(const std::string& location, int status = 302) {
  return {.status = status, .headers = {{"Location", location}}};
}

TEST(CurlURLSessions, EveryEndOfATaskHasItsCode) {
  const std::pair<Reply, std::int64_t> replies[] = {
      {redirect("/0"), urlError::httpTooManyRedirects},
      {redirect("file:///etc/passwd"), urlError::unsupportedURL},
      {redirect("http://example.test/"), urlError::appTransportSecurityRequiresSecureConnection},
      {{.status = 404}, 404},
      {{.filler = 3000}, urlError::dataLengthExceedsMaximum},
      {{.filler = 2000, .cutAfter = 1000}, urlError::networkConnectionLost},
      {{.filler = 2000, .cutAfter = 1000, .reset = true}, urlError::networkConnectionLost},
      {{.cutAfter = 0}, urlError::networkConnectionLost},
      {{.body = "garbage\r\n\r\n", .raw = true}, urlError::badServerResponse},
      {{.delay = 1h}, urlError::timedOut},
      {{.headers = {{"Content-Length", "9"}}, .body = "half"}, urlError::timedOut}};
  LoopbackServer server([&](const Request& request) { return replies[std::stoul(request.target.substr(1))].first; });
  std::vector<std::pair<std::string, std::int64_t>> cases = {
      {"http://127.0.0.1:1/", urlError::cannotConnectToHost},
      {"http://example.test/", urlError::appTransportSecurityRequiresSecureConnection},
      {"http://127.0.0.1.example.test/", urlError::appTransportSecurityRequiresSecureConnection},
      {"file:///etc/passwd", urlError::unsupportedURL},
      {"ftp://127.0.0.1/", urlError::unsupportedURL},
      {"", urlError::badURL},
      {"not an address", urlError::badURL},
      {"https://", urlError::badURL},
      {std::string("http://127.0.0.1\0.example.test/", 31), urlError::badURL}};
  for (std::size_t i = 0; i < std::size(replies); ++i) {
    cases.emplace_back(server.url("/" + std::to_string(i)), replies[i].second);
  }
  CurlOptions options;
  options.maximumAnswer = 2999;
  Loader loader(options);
  for (const auto& [url, code] : cases) {
    auto request = to(url);
    request.timeoutInterval = 0.3;
    const auto result = loader(request);
    EXPECT_EQ(codeOf(result), code) << url;
    EXPECT_NE(result.response.has_value(), result.error.has_value());
  }
  const auto requests = server.requests();
  EXPECT_EQ(std::count_if(requests.begin(), requests.end(), [](const auto& each) { return each.target == "/0"; }), 17);
}

TEST(CurlURLSessions, TheWholeTaskIsBoundedWhileDataTrickles) {
  LoopbackServer server([](const Request&) {
    Reply reply = redirect("/again");
    reply.delay = 20ms;
    return reply;
  });
  CurlOptions options;
  options.totalLimit = 100ms;
  EXPECT_EQ(codeOf(Loader(options)(to(server.url("/")))), urlError::timedOut);
}

TEST(CurlURLSessions, RedirectsAreFollowedAsTheirStatusSays) {
  const std::tuple<int, std::string, std::string> cases[] = {{301, "POST", "GET"},  {302, "POST", "GET"},
                                                             {303, "PUT", "GET"},   {302, "PUT", "PUT"},
                                                             {307, "POST", "POST"}, {308, "POST", "POST"}};
  for (const auto& [status, method, expected] : cases) {
    LoopbackServer server([answer = redirect("/next#fragment", status)](const Request& request) {
      if (request.target != "/next") return answer;
      return Reply{.headers = {{"Content-Type", "Text/HTML; a=b"}}, .body = "end"};
    });
    Loader loader;
    auto request = to(server.url("/first"), method, "body");
    request.headers.set("Authorization", "secret");
    const auto result = loader(request);
    ASSERT_EQ(codeOf(result), 200) << status;
    EXPECT_EQ(result.response->url, server.url("/next"));
    EXPECT_EQ(result.response->mimeType, "text/html");
    EXPECT_EQ(bodyOf(result), "end");
    const Request last = server.requests().back();
    EXPECT_EQ(last.method, expected) << status;
    EXPECT_EQ(last.body, expected == "GET" ? "" : "body") << status;
    EXPECT_EQ(header(last, "Authorization"), "secret");
  }
}

TEST(CurlURLSessions, CredentialsStayWithTheirOrigin) {
  LoopbackServer other([](const Request&) { return Reply(); });
  LoopbackServer server([&](const Request&) { return redirect(other.url("/")); });
  Loader loader;
  auto request = to(server.url("/"));
  request.headers.set("authorization", "secret");
  request.headers.set("X-Own", "kept");
  EXPECT_EQ(codeOf(loader(request)), 200);
  EXPECT_EQ(header(other.requests().back(), "authorization"), "(missing)");
  EXPECT_EQ(header(other.requests().back(), "X-Own"), "kept");
}

TEST(CurlURLSessions, TheRedirectHandlerDecides) {
  LoopbackServer server([](const Request& request) {
    Reply reply = request.target == "/changed" ? Reply() : redirect("/next");
    reply.body = request.target;
    return reply;
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
  EXPECT_EQ(bodyOf(stayed), "/stay");
  EXPECT_EQ(bodyOf(load(*session, to(server.url("/go")))), "/changed");
}

TEST(CurlURLSessions, RequestsCarryWhatTheCallerSet) {
  LoopbackServer server([](const Request&) { return Reply(); });
  Loader loader;
  auto request = to(server.url("/"), "POST", std::string(4000, 'b'));
  request.headers.set("Content-Type", "application/octet-stream");
  request.headers.set("Content-Length", "1");
  request.headers.set("X-Injected", "a\r\nX-Evil: b");
  request.headers.set("X-Empty", "");
  EXPECT_EQ(codeOf(loader(request)), 200);
  EXPECT_EQ(codeOf(loader(to(server.url("/head"), "HEAD"))), 200);
  EXPECT_EQ(codeOf(loader(to(server.url("/"), "POST"))), 200);
  const auto requests = server.requests();
  ASSERT_THAT(requests, SizeIs(3));
  const std::pair<const char*, const char*> expected[] = {
      {"User-Agent", "trovix"},   {"Content-Type", "application/octet-stream"},
      {"Content-Length", "4000"}, {"X-Empty", ""},
      {"X-Evil", "(missing)"},    {"Expect", "(missing)"},
      {"Cookie", "(missing)"}};
  for (const auto& [name, value] : expected) EXPECT_EQ(header(requests[0], name), value) << name;
  EXPECT_EQ(requests[1].method, "HEAD");
  EXPECT_EQ(header(requests[2], "Content-Length"), "0");
}

TEST(CurlURLSessions, CompletionsComeOneAtATimeAndASlowOneHoldsUpNoTransfer) {
  std::atomic<int> answered{0}, inside{0};
  LoopbackServer server([&](const Request&) {
    ++answered;
    return Reply();
  });
  Loader loader;
  std::promise<void> done[4];
  {
    const auto session = loader.sessions.makeSession(nullptr);
    for (auto& each : done) {
      const auto complete = [&](const URLResult& result) {
        EXPECT_EQ(++inside, 1);
        EXPECT_EQ(codeOf(result), 200);
        EXPECT_TRUE(eventually([&] { return answered == 4; }));
        --inside;
        each.set_value();
      };
      session->startTask(to(server.url("/")), complete);
    }
    session->finishTasksAndInvalidate();
    EXPECT_EQ(codeOf(load(*session, to(server.url("/")))), urlError::cancelled);
  }
  for (auto& each : done) each.get_future().wait();
  EXPECT_EQ(answered, 4);
}

TEST(CurlURLSessions, CertificatesAreVerifiedAndConnectionsKept) {
  collector::Collector server({});
  ASSERT_TRUE(server.start());
  const auto url = to("https://events.example.test/");
  CurlOptions options;
  options.connectTo = server.address();
  EXPECT_EQ(codeOf(Loader(options)(url)), urlError::serverCertificateUntrusted);
  Loader loader(server);
  EXPECT_EQ(codeOf(loader(url)), 200);
  ASSERT_TRUE(server.setScenario("*", Array{Dictionary{{"tls", "wrongHost"}, {"forever", true}}}));
  EXPECT_EQ(codeOf(loader(url)), 200) << "on the connection that was there";
  EXPECT_EQ(codeOf(loader(to("https://other.example.test/"))), urlError::serverCertificateUntrusted);
  EXPECT_EQ(codeOf(loader(to("https://" + server.address() + "/"))), urlError::serverCertificateUntrusted);
  EXPECT_THAT(server.requests(), SizeIs(2));
}

}  // namespace
}  // namespace trovix::platform
