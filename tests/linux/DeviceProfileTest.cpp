#include "platform/linux/DeviceProfile.h"

#include "linux/TemporaryDirectory.h"
#include "platform/linux/LinuxClassRegistry.h"
#include "platform/linux/LinuxFrameworks.h"
#include "platform/linux/LinuxIntegrity.h"
#include "platform/linux/LinuxLocale.h"
#include "platform/linux/LinuxNetworkInterfaces.h"
#include "platform/linux/ProfileFacts.h"

namespace trovix::platform {

TEST(DeviceProfileTest, MergesSectionBySection) {
  DeviceProfile profile({{"device", Dictionary{{"model", "M"}, {"name", "N"}}},
                         {"bundle", Dictionary{{"info", Dictionary{{"A", 1}, {"B", 2}}}}},
                         {"frameworks", Dictionary{{"attributionToken", Dictionary{{"code", 1}, {"reason", "r"}}}}}});
  profile.merge({{"device", Dictionary{{"name", nullptr}, {"systemName", "S"}}},
                 {"bundle", Dictionary{{"info", Dictionary{{"B", 3}}}}},
                 {"frameworks", Dictionary{{"attributionToken", Dictionary{{"code", 2}}}}},
                 {"timeZone", "UTC"}});
  EXPECT_EQ(*profile.snapshot(), (Dictionary{{"device", Dictionary{{"model", "M"}, {"systemName", "S"}}},
                                             {"bundle", Dictionary{{"info", Dictionary{{"A", 1}, {"B", 3}}}}},
                                             {"frameworks", Dictionary{{"attributionToken", Dictionary{{"code", 2}}}}},
                                             {"timeZone", "UTC"}}));
}

TEST(DeviceProfileTest, FactsOfTheWrongTypeAreAbsent) {
  // Every name of the profile holds each of these in turn.
  const Dictionary nested{{"x", Array{1, nullptr, Dictionary{}}}};
  for (const Value& wrong : {Value(nullptr), Value(Array{nullptr, 7, Array{}, Dictionary{{"name", 1}}}), Value(nested),
                             Value(std::numeric_limits<double>::quiet_NaN())}) {
    Dictionary facts;
    for (const char* part : {"device", "system", "screen", "locale", "bundle", "network", "frameworks", "integrity"}) {
      Dictionary entries;
      for (const char* name : {"model", "hw.memsize", "6.15", "width", "height", "languages", "language", "identifier",
                               "interfaces", "scopedProxies", "free", "advertisingIdentifier", "attStatus", "searchAds",
                               "attributionToken", "compromised", "debugger"}) {
        entries.set(name, wrong);
      }
      facts.set(part, entries);
    }
    facts.set("classes", wrong);
    facts.set("timeZone", wrong);
    const DeviceProfile profile(facts);
    EXPECT_EQ(ProfileDevice(profile).model(), std::nullopt);
    EXPECT_FALSE(ProfileScreen(profile).nativeBounds());
    const ProfileSystemControl system(profile);
    EXPECT_EQ(system.text("hw.memsize"), std::nullopt);
    EXPECT_EQ(system.integer("hw.memsize"), std::nullopt);
    EXPECT_EQ(system.integer(6, 15), std::nullopt);
    const LinuxLocale locale(profile);
    EXPECT_EQ(locale.preferredLanguage(), std::nullopt);
    EXPECT_EQ(locale.languageCode(), std::nullopt);
    EXPECT_LE(std::abs(locale.secondsFromGMT(std::numeric_limits<double>::infinity())), 86400);
    EXPECT_FALSE(LinuxIntegrity(profile).isDeviceCompromised(false));
    EXPECT_FALSE(LinuxClassRegistry(profile).hasClass("x"));
    EXPECT_TRUE(LinuxNetworkInterfaces(profile).scopedProxies().value_or(std::vector<std::string>()).empty());
    LinuxFrameworks frameworks(profile, nullptr);
    if (auto* manager = frameworks.trackingManager()) {
      EXPECT_EQ(manager->trackingAuthorizationStatus(), std::nullopt);
    }
    if (auto* client = frameworks.adClient()) {
      client->requestAttributionDetails([](const Result<Dictionary>& answer) { EXPECT_FALSE(answer); });
    }
    auto* attribution = frameworks.attribution();
    EXPECT_TRUE(attribution == nullptr || !attribution->attributionToken());
  }
}

TEST(DeviceProfileTest, ReadsFiles) {
  TemporaryDirectory directory;
  overwrite(directory / "good", R"({"screen": {"width": 1179, "height": 2556.0}, "system": {"6.15": 2400000000}})");
  overwrite(directory / "bad", "{");
  overwrite(directory / "list", "[]");
  const DeviceProfile profile(DeviceProfile::readFile(directory / "good").value());
  EXPECT_EQ(ProfileScreen(profile).nativeBounds()->height, 2556.0F);
  EXPECT_EQ(ProfileSystemControl(profile).integer(6, 15), 2400000000);
  for (const char* name : {"bad", "list", "missing"}) EXPECT_FALSE(DeviceProfile::readFile(directory / name)) << name;
}

TEST(LinuxFrameworksTest, AFrameworkWithoutFactsDoesNotLoad) {
  DeviceProfile profile;
  LinuxFrameworks frameworks(profile, nullptr);
  const char* adSupport = "/System/Library/Frameworks/AdSupport.framework/AdSupport";
  EXPECT_FALSE(frameworks.open(adSupport));
  EXPECT_EQ(frameworks.identifierManager(), nullptr);
  profile.merge({{"frameworks", Dictionary{{"advertisingTrackingEnabled", true}, {"adNetwork", false}}}});
  EXPECT_TRUE(frameworks.open(adSupport));
  EXPECT_FALSE(frameworks.open("/System/Library/Frameworks/StoreKit.framework/StoreKit"));
  EXPECT_FALSE(frameworks.open("AdSupport"));
  EXPECT_TRUE(frameworks.identifierManager()->isAdvertisingTrackingEnabled());
  EXPECT_EQ(frameworks.identifierManager()->advertisingIdentifier(), std::nullopt);
}

TEST(LinuxFrameworksTest, SearchAdsAnswerAttemptByAttempt) {
  const Array answers{Dictionary{{"error", 3}}, Dictionary{{"details", Dictionary{{"k", "v"}}}}};
  DeviceProfile profile({{"frameworks", Dictionary{{"searchAds", answers}}}});
  LinuxFrameworks frameworks(profile, nullptr);
  std::vector<std::string> seen;
  const auto ask = [&] {
    frameworks.adClient()->requestAttributionDetails([&](const Result<Dictionary>& answer) {
      seen.push_back(answer ? *answer->string("k") : std::to_string(answer.error().code()));
    });
  };
  for (int i = 0; i < 3; ++i) ask();
  profile.merge({{"frameworks", Dictionary{{"searchAds", Array{Dictionary{{"error", 1}}}}}}});
  ask();
  EXPECT_THAT(seen, ElementsAre("3", "v", "v", "1"));
}

}  // namespace trovix::platform
