#include "device/TrovixUtils.h"

#include "support/LogCapture.h"
#include "trovix/Json.h"

namespace trovix {

struct TrovixUtilsTest : testing::Test {
  test::SimulatedDevice device;
  TrovixUtils utils{device};
};

TEST_F(TrovixUtilsTest, AReceiptIsADictionaryAndAFailureAText) {
  EXPECT_EQ(utils.getStoreReceipt(), (Dictionary{{"data", "-1"}, {"message", "appStoreReceiptURL does not exists."}}));
  device.fileSystem.place(*device.bundle.receipt, std::string(100, '\xff'));
  const Dictionary encoded{{"receipt-data", std::string(133, '/') + "w=="}};
  EXPECT_EQ(utils.getStoreReceipt(), (Dictionary{{"data", encoded}}));
  device.fileSystem.failReads = {5, ""};
  EXPECT_EQ(*utils.getStoreReceipt().string("data"), "-1");
  EXPECT_THAT(*utils.getStoreReceipt().string("message"), HasSubstr(posixErrorDomain));
}

TEST_F(TrovixUtilsTest, DigestsCoverWhatTheServersCover) {
  using std::string_literals::operator""s;
  const std::pair<std::string, std::string> sha1[] = {{"café", "445303e8e06aff19e5b37a3640371b46571626e5"},
                                                      {"☕☕", "aeaa635f172a78b93bc6bff7ca914bffa52101fb"},
                                                      {"😀a", "3c36378a0f616124f6e99636ea1ccb3b5a26ecee"}};
  for (const auto& [text, digest] : sha1) EXPECT_EQ(TrovixUtils::sha1(text), digest) << text;
  EXPECT_EQ(TrovixUtils::sha256("é"), "4a99557e4033c3539de2eb65472017cad5f9557f7a0625a09f1c3f6e2ba69c4c");
  EXPECT_EQ(TrovixUtils::md5("abc\0def"s), "900150983cd24fb0d6963f7d28e17f72");

  Data bytes{0x00, 0x0f, 0xa5, 0xff};
  EXPECT_EQ(TrovixUtils::toHexString(bytes.data(), 3), "000fa5");
  EXPECT_EQ(bytes, (Data{0, 0, 0, 0xff}));
}

TEST_F(TrovixUtilsTest, OnlyShortAndBrandedLinksHaveAPath) {
  const std::string failed = "Could not create `shortlink`";
  const std::string path = "/shortlink-sdk/v1/abc?id=xyz";
  const std::tuple<std::optional<std::string>, bool, std::string> cases[] = {
      {"https://vy.trovix.example/abc/xyz", false, path},
      {"https://brand.example/abc/xyz?u=link.trovix.example", false, path},
      {"https://brand.example/abc/xyz", true, path},
      {"https://brand.example/abc/xyz", false, "Deeplink doesn't not match template or not found custom domain"},
      {"vy.trovix.example/abc/xyz", false, failed},
      {"shop:abc/xyz/vy.trovix.example", false, failed},
      {std::nullopt, true, failed}};
  for (const auto& [link, isBranded, message] : cases) {
    std::string said;
    const auto answer = TrovixUtils::getVeyraPathWithURL(link, isBranded, said);
    EXPECT_EQ(said, message) << link.value_or("none");
    EXPECT_EQ(answer, message == path ? std::optional(path) : std::nullopt) << link.value_or("none");
  }
}

TEST_F(TrovixUtilsTest, TellsLinksFromOtherText) {
  for (const char* text : {"", " \t\n", "\u00A0\u2003 "}) EXPECT_FALSE(TrovixUtils::isValidDeeplink(text)) << text;
  EXPECT_TRUE(TrovixUtils::isValidDeeplink(" \u00A0\u00E9"));
  EXPECT_TRUE(TrovixUtils::isValidURLFromString("shop://open"));
  for (const char* text : {"a/b", "mailto:a@b.c", "file:///e"}) EXPECT_FALSE(TrovixUtils::isValidURLFromString(text));
}

TEST_F(TrovixUtilsTest, ReadsTheNetworkInterfacesAndTheDisk) {
  device.networkInterfaces.all = {{"en0", false, false}, {"en1", true, false}, {"en0", true, true}};
  EXPECT_FALSE(utils.isWifiAvailable());
  device.networkInterfaces.all.push_back({"en0", true, false});
  EXPECT_TRUE(utils.isWifiAvailable());
  device.networkInterfaces.proxies = {"en0", "utun3"};
  EXPECT_TRUE(utils.isVPNConnected());
  device.fileSystem.availableSpace = platform::FileSystemSpace{(5u << 20) - 1, ~std::uint64_t{0}};
  EXPECT_EQ(utils.freeDiskspace(), "4/17592186044415");
  device.fileSystem.availableSpace.reset();
  EXPECT_THAT(utils.freeDiskspace(), testing::MatchesRegex("NSPOSIXErrorDomain, [0-9]+"));
}

TEST_F(TrovixUtilsTest, RemovesNullsAtEveryDepth) {
  const Dictionary given{{"a", nullptr}, {"b", Array{nullptr, 1, Array{nullptr}, Dictionary{{"c", nullptr}}}}};
  EXPECT_EQ(TrovixUtils::recursivelyRemoveNulls(given), (Dictionary{{"b", Array{1, Array{}, Dictionary{}}}}));
}

TEST_F(TrovixUtilsTest, AsksTheCompanionOnlyWhenItIsLinked) {
  const std::string path = "/data/Library/com-facebook-sdk-PersistedAnonymousID.json";
  device.fileSystem.place(path, R"({"anon_id":"XZ1"})");
  EXPECT_EQ(utils.retrievePersistedAnonymousID(), std::nullopt);
  device.classRegistry.classes["FBSDKAppEventsUtility"] = nullptr;
  EXPECT_EQ(utils.retrievePersistedAnonymousID(), "XZ1");

  std::vector<std::string> answers;
  const auto fetch = [&] {
    TrovixUtils(device).fetchFacebookDeferredAppLink(
        [&](const Dictionary& answer) { answers.push_back(jsonText(answer).value_or("")); });
  };
  fetch();
  device.classRegistry.classes["FBSDKAppLinkUtility"] = nullptr;
  fetch();
  const auto utility = std::make_shared<test::SimulatedAppLinkUtility>();
  device.classRegistry.classes["FBSDKAppLinkUtility"] = utility;
  fetch();
  device.setNow(device.now() - 100);
  device.advance(1.25);
  utility->answer(std::optional<std::string>("shop://a"));
  utility->responds = false;
  fetch();
  EXPECT_THAT(answers,
              ElementsAre(R"({"error":"`FBSDKAppLinkUtility` class not found"})", R"({"error":"Unknown error"})",
                          R"({"ttr":"1.25","link":"shop://a"})", R"({"error":"Unknown error"})"));
}

}  // namespace trovix
