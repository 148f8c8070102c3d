#include "core/TrovixLibFixture.h"
#include "trovix/Json.h"

namespace trovix::test {

constexpr const char* noLink = "UniversalLink/Deeplink is `nil` or not of NSURL class";

struct DeepLinkAttributionTest : TrovixLibFixture {
  DeepLinkAttributionTest() {
    makeSdk();
    delegate->onAppOpenAttribution = [this](const Dictionary& data) { attributions.push_back(data); };
    delegate->onAppOpenAttributionFailure = [this](const Error& error) { attributionFailures.push_back(error); };
  }

  std::shared_ptr<TrovixDeepLinkDelegate> makeDeepLinkDelegate() {
    auto made = std::make_shared<TrovixDeepLinkDelegate>();
    made->didResolveDeepLink = [this](const TrovixDeepLinkResult& result) { results.push_back(result); };
    return made;
  }
  /// From here on the application has a deep link delegate.
  void useDeepLinkDelegate() {
    device->network.answer("dlsdk", Answer{});
    deepLinkDelegate = makeDeepLinkDelegate();
    sdk->setDeepLinkDelegate(deepLinkDelegate);
    device->runUntilIdle();
    results.clear();
  }
  void open(const std::string& URL) {
    sdk->handleOpenURL(URL, "com.apple.mobilesafari");
    device->runUntilIdle();
  }
  /// What the last link was attributed to.
  Dictionary attributed(const std::string& URL) {
    attributions.clear();
    open(URL);
    return attributions.empty() ? Dictionary() : attributions.back();
  }

  std::vector<Dictionary> attributions;
  std::vector<Error> attributionFailures;
  std::vector<TrovixDeepLinkResult> results;
  std::shared_ptr<TrovixDeepLinkDelegate> deepLinkDelegate;
};

TEST_F(DeepLinkAttributionTest, TakesAccessTokensOut) {
  for (const auto& [link, stripped] : std::initializer_list<std::pair<const char*, const char*>>{
           {"fb123://authorize#access_token=SECRET&x=1", "fb123://authorize#x=1"},
           {"fb://authorize?a=1&access_token=SECRET", "fb://authorize?a=1"},
           {"fb1://authorize?access_token=A&access_token=B&x=1", "fb1://authorize?A&x=1"},
           {"fbx://authorize?access_token=A&x=1", "fbx://authorize?A&x=1"},
           {"https://h/?access_token=&b=2&access_token=&c", "https://h/?b=2&c"},
           {"https://h/?token=A", "https://h/?token=A"}}) {
    open(link);
    EXPECT_EQ(sdk->parts().deepLinks.deeplink(), stripped);
  }
  sdk->handleOpenURL(std::nullopt, std::nullopt);
  EXPECT_EQ(sdk->parts().deepLinks.deeplink(), std::nullopt);
}

TEST_F(DeepLinkAttributionTest, GivesTheDelegateTheLinkInItsParts) {
  const std::pair<const char*, Dictionary> cases[] = {
      {"shop://open/a/?x=1&x=2&y&z=", {{"x", "2"}, {"z", ""}, {"path", "/a"}, {"scheme", "shop"}, {"host", "open"}}},
      {"https://u:p@[2001:db8::1]:8443/", {{"path", "/"}, {"scheme", "https"}, {"host", "2001:db8::1"}}},
      {"shop:?a=%252541%25", {{"a", "%2541%"}, {"path", ""}, {"scheme", "shop"}}},
      {"s:?a=%0d%0aX:%00", {{"a", std::string("\r\nX:\0", 5)}, {"path", ""}, {"scheme", "s"}}},
      {"https://vy.trovix.example/one", {{"path", "/one"}, {"scheme", "https"}, {"host", "vy.trovix.example"}}}};
  for (const auto& [link, parts] : cases) {
    Dictionary expected{{"tx_deeplink", link}, {"link", link}};
    expected.merge(parts);
    EXPECT_EQ(attributed(link), expected);
  }
}

TEST_F(DeepLinkAttributionTest, ReportsWhatIsNotALink) {
  for (const char* text : {"", "no link", "/a/b", "https://h/\n", "https://h/\xff\xfe", "https://h/%zz", "http://[::1",
                           "https://h:port/", "fb1://authorize?\naccess_token=S"}) {
    attributionFailures.clear();
    open(text);
    ASSERT_THAT(attributionFailures, SizeIs(1)) << text;
    EXPECT_EQ(attributionFailures[0].domain(), "example.trovix.sdk.deeplink");
    EXPECT_EQ(attributionFailures[0].localizedDescription(), noLink);
  }
  sdk->performOnAppAttributionWithURL(std::nullopt);
  device->runUntilIdle();
  EXPECT_THAT(attributionFailures, SizeIs(2));

  useDeepLinkDelegate();
  open("no link");
  ASSERT_THAT(results, SizeIs(1));
  EXPECT_EQ(results[0].error()->localizedDescription(), noLink);
}

TEST_F(DeepLinkAttributionTest, SurvivesEnormousLinks) {
  sdk->appendParametersToDeepLinkingURLWithString("open", {{"pid", "mail"}});
  sdk->setResolveDeepLinkURLs({{"click.esp.test"}});
  std::string items, escapes = "%";
  for (int i = 0; i < 40'000; ++i) items += "key" + std::to_string(i) + "=" + std::to_string(i) + "&";
  for (int i = 0; i < 300'000; ++i) escapes += "25";
  EXPECT_EQ(attributed("shop://open?" + items).size(), 40'000u + 7);
  EXPECT_EQ(attributed("shop://open?a=" + escapes).string("a")->size(), escapes.size() - 2);
  std::string authorize = "fb1://authorize?";
  for (int i = 0; i < 40'000; ++i) authorize += "fb1://authorize?access_token=&";
  EXPECT_EQ(attributed(authorize).string("tx_deeplink")->find("access_token"), std::string::npos);
}

TEST_F(DeepLinkAttributionTest, AsksTheDeepLinkDelegateOfThatMomentFirst) {
  useDeepLinkDelegate();
  device->queues.setMainQueueServed(false);
  open("shop://open?c=summer&deep_link_value=shoes");
  const auto successor = makeDeepLinkDelegate();
  sdk->setDeepLinkDelegate(successor);
  device->runUntilIdle();
  deepLinkDelegate.reset();
  device->queues.setMainQueueServed(true);
  device->runUntilIdle();
  ASSERT_THAT(results, SizeIs(1));
  EXPECT_EQ(results[0].deepLink()->deeplinkValue(), "shoes");
  EXPECT_EQ(results[0].deepLink()->campaign(), "summer");
  EXPECT_FALSE(results[0].deepLink()->clickEvent().contains("link")) << "only for want of a deep link delegate";
  EXPECT_THAT(attributions, IsEmpty());

  successor->didResolveDeepLink = nullptr;
  EXPECT_EQ(attributed("shop://open"),
            (Dictionary{{"tx_deeplink", "shop://open"}, {"path", ""}, {"scheme", "shop"}, {"host", "open"}}));
}

TEST_F(DeepLinkAttributionTest, AddsTheMatchersParameters) {
  sdk->appendParametersToDeepLinkingURLWithString("match", {{"pid", "e mail&co"}, {"c", "x"}});
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"shop://match", "shop://match?pid=e%20mail%26co&c=x", "pid=e%20mail%26co&c=x"},
      {"shop://match?c=1#f", "shop://match?c=1&pid=e%20mail%26co&c=x#f", "&pid=e%20mail%26co&c=x"},
      {"shop://other?c=1", "shop://other?c=1", "(null)"}};
  for (const auto& [link, rewritten, appended] : cases) {
    const Dictionary data = attributed(link);
    EXPECT_EQ(*data.string("tx_deeplink"), rewritten);
    EXPECT_EQ(*data.string("link"), rewritten);
    EXPECT_EQ(description(data.find("appended_query_params")), appended);
  }
}

TEST_F(DeepLinkAttributionTest, FollowsProvidersToTheRealLink) {
  sdk->setResolveDeepLinkURLs({{"a.esp.test", "b.esp.test"}});
  device->network.answer("a.esp.test", Answer::redirect("https://b.esp.test/2"));
  device->network.answer("b.esp.test/2", Answer::redirect("https://a.esp.test/3"));
  device->network.answer("a.esp.test/3", Answer::redirect("shop://open?x=a%20b&tx_sub1=s"));
  EXPECT_EQ(attributed("https://a.esp.test/1"),
            *dictionaryFromJson(R"({"tx_deeplink": "https://a.esp.test/1", "tx_deeplink_r": {
                "latency": "0", "res": "shop://open?x=a%2520b&tx_sub1=s", "status": "302",
                "redirects": ["b.esp.test", "a.esp.test"]}, "link": "shop://open?x=a%2520b&tx_sub1=s",
                "x": "a%20b", "tx_sub1": "s", "path": "", "scheme": "shop", "host": "open"})"));
  ASSERT_THAT(device->network.requests, SizeIs(3));
  const platform::URLRequest& request = device->network.requests[0].request;
  EXPECT_EQ(request.timeoutInterval, 2.0);
  EXPECT_EQ(*request.headers.find("tx-esp"), "6.2.2");
  EXPECT_THAT(*request.headers.find("User-Agent"), HasSubstr("iPhone OS 12_1_1"));

  delegate->allHTTPHeaderFieldsForResolveDeepLinkURL = [](const std::string& URL) {
    return Dictionary{{"X-Link", URL}, {"TX-ESP", "no"}};
  };
  open("https://a.esp.test/1");
  const auto& headers = device->network.requests[3].request.headers;
  EXPECT_EQ(*headers.find("X-Link"), "https://a.esp.test/1");
  EXPECT_EQ(*headers.find("tx-esp"), "6.2.2") << "the redirect policy holds whatever the application adds";
  EXPECT_THAT(device->network.requests, SizeIs(6));
}

TEST_F(DeepLinkAttributionTest, KeepsTheIncomingLinkWhenAProviderLeadsNowhere) {
  const std::string link = "https://esp.test/1";
  const std::tuple<const char*, Answer, std::string, std::string, std::size_t, bool> cases[] = {
      {"no redirect", {}, link, "200", 0, false},
      {"unlisted host", Answer::redirect("https://esp.test.evil/x"), "https://esp.test.evil/x", "302", 0, false},
      {"subdomain", Answer::redirect("https://a.esp.test/x"), "https://a.esp.test/x", "302", 0, false},
      {"loopback", Answer::redirect("https://127.0.0.1/x"), "https://127.0.0.1/x", "302", 0, false},
      {"file", Answer::redirect("file:///etc/passwd"), "file:///etc/passwd", "302", 0, false},
      {"listed host, other scheme", Answer::redirect("file://esp.test/x"), link, "-1", 1, true},
      {"no link", Answer::redirect("no link"), link, "302", 0, false},
      {"circle", Answer::redirect(link), link, "-1", 16, true},
      {"unreachable", Answer::failure(platform::urlError::cannotFindHost), link, "-1", 0, true},
      {"slow", {.delay = 9}, link, "-1", 0, true}};
  sdk->setResolveDeepLinkURLs({{"other.test", "esp.test"}});
  for (const auto& [name, answer, resolved, status, redirects, isError] : cases) {
    device->network.answer("esp.test/1", answer);
    open(link);
    device->advance(2);
    ASSERT_TRUE(!attributions.empty() && attributions.back().contains("tx_deeplink_r")) << name;
    const Dictionary record = *attributions.back().dictionary("tx_deeplink_r");
    EXPECT_EQ(*record.string("res"), resolved) << name;
    EXPECT_EQ(*record.string("status"), status) << name;
    EXPECT_EQ(record.contains("error"), isError) << name;
    const Array* followed = record.array("redirects");
    EXPECT_EQ(followed != nullptr ? followed->size() : 0u, redirects) << name;
    EXPECT_EQ(*attributions.back().string("link"), resolved) << name;
  }
  EXPECT_EQ(*attributions.back().dictionary("tx_deeplink_r")->string("latency"), "2000");
}

TEST_F(DeepLinkAttributionTest, CountsTheRedirectsOfEachTaskApart) {
  sdk->setResolveDeepLinkURLs({{"a.esp.test", "b.esp.test"}});
  device->network.answer("/1", Answer::redirect("https://b.esp.test/end"));
  device->network.hold("b.esp.test/end");
  open("https://a.esp.test/1");
  sdk->performOnAppAttributionWithURL("https://b.esp.test/1");
  device->runUntilIdle();
  ASSERT_THAT(device->network.requestsTo("b.esp.test/end"), SizeIs(2)) << "a forced attribution does not queue";
  device->network.release("b.esp.test/end");
  device->runUntilIdle();
  ASSERT_THAT(attributions, SizeIs(2));
  for (const Dictionary& data : attributions) {
    EXPECT_EQ(*data.dictionary("tx_deeplink_r")->array("redirects"), Array{"b.esp.test"});
  }
  // Only a link that was opened goes into the next launch.
  start();
  EXPECT_EQ(lastSent("conversions").text("tx_deeplink"), "https://a.esp.test/1");
}

TEST_F(DeepLinkAttributionTest, ExpandsShortLinksIntoTheNextLaunch) {
  device->setNow(1614864612);
  sdk->setTrovixDevKey("kVx2pQ9sLmN4");
  sdk->setVeyraCustomDomains({{"go.brand.test"}});
  device->network.hold("/shortlink-sdk/");
  device->network.answer("/shortlink-sdk/", Answer{.body = R"({"c":"server","deep_link_value":"v"})"});
  open("https://go.brand.test/abc/xyz?c=link");
  const platform::URLRequest request = device->network.requests.at(0).request;
  EXPECT_EQ(request.url, "https://veyra.trovix.example/shortlink-sdk/v1/abc?id=xyz");
  EXPECT_EQ(*request.headers.find("tx-timestamp"), "1614864612");
  EXPECT_EQ(*request.headers.find("authorization"), "7b99937f4f9ef17786532f1bb8cf6821a6cbdd87");
  EXPECT_THAT(attributions, IsEmpty());

  device->network.release("/shortlink-sdk/");
  device->runUntilIdle();
  const Dictionary expected{{"tx_deeplink", "https://go.brand.test/abc/xyz?c=link"},
                            {"link", "https://go.brand.test/abc/xyz?c=link"},
                            {"isBrandedDomain", true},
                            {"c", "server"},
                            {"deep_link_value", "v"}};
  EXPECT_THAT(attributions, ElementsAre(expected));
  // Its operation ended before the server answered; what the server said counts all the same.
  sdk->setTrovixDevKey(developerKey);
  start();
  EXPECT_EQ(lastSent("conversions").text("deep_link_value"), "v");
  device->advance(10);
  start();
  EXPECT_EQ(lastSent("launches").text("deep_link_value"), "(missing)") << "used once";
}

TEST_F(DeepLinkAttributionTest, ReportsShortLinksThatFail) {
  const std::string link = "https://link.trovix.example/abc/xyz";
  const std::string asked = "https://veyra.trovix.example/shortlink-sdk/v1/abc?id=xyz";
  for (const Answer& answer :
       {Answer::failure(platform::urlError::cannotFindHost), Answer{.body = "<html>"},
        Answer{.body = "<html>", .mimeType = "text/html"}, Answer{.body = "[1]"}, Answer{.status = 500, .body = ""}}) {
    attributionFailures.clear();
    device->network.answer("/shortlink-sdk/", answer);
    open(link);
    ASSERT_THAT(attributionFailures, SizeIs(1)) << answer.body;
    EXPECT_EQ(attributionFailures[0].domain(), "example.trovix.sdk.deeplink");
    EXPECT_EQ(*attributionFailures[0].userInfo().string("TXSDKErrorFailingURLStringKey"), asked);
  }
  device->network.answer("/shortlink-sdk/", Answer{.status = 404, .body = R"({"a":"b"})"});
  EXPECT_EQ(*attributed(link).string("a"), "b") << "whatever the status, an answer is an answer";
  open("https://link.trovix.example/a%2F..%20/b%0d%0a");
  EXPECT_THAT(attributionFailures, SizeIs(2)) << "names that make no address";

  useDeepLinkDelegate();
  device->network.answer("/shortlink-sdk/", Answer::failure(platform::urlError::timedOut));
  open(link);
  ASSERT_THAT(results, SizeIs(1));
  EXPECT_EQ(results[0].error()->localizedDescription(), "Resolve DeepLink timeout");
}

TEST_F(DeepLinkAttributionTest, SkipsOneUniversalLinkOnly) {
  const Dictionary activity{{"activityType", platform::application::browsingWebActivityType},
                            {"webpageURL", "https://h/p"}};
  std::atomic<bool>& skip = sdk->parts().session.skipNextUniversalLinkAttribution;
  for (const std::size_t expected : {0u, 1u}) {
    skip = expected == 0;
    EXPECT_TRUE(sdk->continueUserActivity(activity, {}));
    device->runUntilIdle();
    EXPECT_THAT(attributions, SizeIs(expected));
    EXPECT_FALSE(skip.load());
  }
  skip = true;
  EXPECT_TRUE(sdk->continueUserActivity({{"activityType", "other"}}, {}));
  EXPECT_FALSE(skip.load()) << "spent on what needed no skipping";
}

TEST_F(DeepLinkAttributionTest, KeepsTheServersLinkConfiguration) {
  const std::tuple<const char*, bool, const char*, const char*, const char*> cases[] = {
      {R"({"send_background":1,"vy_domain":"d.test","vy_ver":"2","vy_scheme":"shop"})", true, "d.test", "2", "shop"},
      {R"({"send_background":"1","vy_domain":[],"vy_scheme":" \n"})", true, "d.test", "2", "shop"},
      {R"({"vy_ver":3,"vy_domain":""})", false, "d.test", "3", "shop"},
      {"[]", false, "d.test", "3", "shop"}};
  start();
  for (const auto& [answer, isBackgroundRequestEnabled, domain, version, scheme] : cases) {
    device->network.answer("inapps", Answer{.body = answer});
    log("event");
    EXPECT_EQ(sdk->isBackgroundRequestEnabled(), isBackgroundRequestEnabled) << answer;
    EXPECT_EQ(storage().stringForKey("veyraDomain"), domain) << answer;
    EXPECT_EQ(storage().stringForKey("veyraVersion"), version) << answer;
    EXPECT_EQ(storage().stringForKey("veyraScheme"), scheme) << answer;
  }
}

}  // namespace trovix::test
