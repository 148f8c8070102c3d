#include <functional>

#include "core/TrovixLibFixture.h"

namespace trovix::test {
namespace {

using testing::ElementsAre;

class EventPayloadTest : public TrovixLibFixture {
 protected:
  EventPayloadTest() { makeSdk(); }

  Dictionary parameters(bool isLaunch) { return sdk->parts().payload.getEventParameters(isLaunch).dict(); }
};

TEST_F(EventPayloadTest, CarriesEachConditionalKeyOnlyWhenItsConditionHolds) {
  const struct {
    const char* key;
    bool isLaunch;
    std::function<void()> arrange;
    Value expected;
  } cases[] = {
      {"prev_session_dur", false, [&] { storage().setDouble(12, "TrovixLastSessionDuration"); }, 12.0},
      {"name", false, [&] { sdk->setShouldCollectDeviceName(true); }, "Ada's iPhone"},
      {"backupInfo", false,
       [&] {
         storage().setDictionary({{"cnt", 2}}, "TrovixBackupInfo");
       },
       Dictionary{{"cnt", 2}}},
      {"istu", false, [&] { sdk->setIsStopped(false); }, true},
      {"sharing_filter", false, [&] { sdk->setSharingFilterForAllPartners(); }, Array{"all"}},
      {"gcd_timing", true, [&] { storage().setDouble(250, "TrovixGetConversionDataTiming"); }, 250.0},
      {"phone", true, [&] { sdk->setPhoneNumber(""); },
       "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"deviceTrackingDisabled", false, [&] { sdk->setAnonymizeUser(true); }, "true"},
      {"idfv_optout", false, [&] { sdk->setDisableIDFVCollection(true); }, true},
      {"currency", false, [&] { sdk->setCurrencyCode("EURO"); }, "EURO"},
      {"appUID", false, [&] { sdk->setCustomerUserID("42"); }, "42"},
      {"customData", false,
       [&] {
         sdk->setAdditionalData(Dictionary{{"a", "b"}});
       },
       R"({"a":"b"})"},
      {"tx_iad_data", false,
       [&] {
         storage().setDictionary({{"x", 1}}, "TrovixSearchAdsAttribution");
       },
       Dictionary{{"x", 1}}},
      {"veyra_id", false, [&] { sdk->setAppInviteVeyra("ab12"); }, "ab12"},
      {"veyra_ver", false, [&] { storage().setString("2", "veyraVersion"); }, "2"},
      {"wac", false, [&] { storage().setBool(true, "TrovixIsAppClip"); }, true},
  };
  for (const auto& testCase : cases) {
    EXPECT_FALSE(parameters(testCase.isLaunch).contains(testCase.key)) << testCase.key;
    testCase.arrange();
    if (testCase.isLaunch) {
      EXPECT_FALSE(parameters(false).contains(testCase.key)) << testCase.key;
    }
    const Dictionary payload = parameters(testCase.isLaunch);
    const Value* value = payload.find(testCase.key);
    ASSERT_NE(value, nullptr) << testCase.key;
    EXPECT_EQ(*value, testCase.expected) << testCase.key;
  }
  EXPECT_FALSE(parameters(false).contains("vendorId"));
}

TEST_F(EventPayloadTest, KeepsTheOrderOfKeysAndEmptyTextsForMissingFacts) {
  device->facts.modelName = std::nullopt;
  std::vector<std::string> keys;
  for (const auto& [key, value] : parameters(true)) keys.push_back(key);
  EXPECT_THAT(keys, ElementsAre("uid", "serverApiVersion", "systemname", "systemversion", "model", "localizedmodel",
                                "sc_o", "reinstallCounter", "originalTrovixId", "JBDevice", "tx_events_api", "cell",
                                "platform", "platformextension", "sessioncounter", "dev_key", "deviceData", "disk",
                                "timepassedsincelastlaunch", "open_referrer", "bundleIdentifier", "vendorId",
                                "bundleversion", "bundlename", "shortbundleversion", "date1", "date2", "date3",
                                "firstLaunchDate", "date1_2", "currentLanguage", "lang_code", "currentCountrycode",
                                "timestamp", "tx_timestamp", "wifi", "ivc"));
  EXPECT_EQ(*parameters(false).string("model"), "");
  EXPECT_EQ(*parameters(false).string("timestamp"), "1700000000.000000");
  EXPECT_EQ(*parameters(false).string("tx_timestamp"), "1700000000000");
  EXPECT_EQ(*parameters(false).string("sessioncounter"), "1");
}

TEST_F(EventPayloadTest, SendsOneShotValuesWithOneLaunchAndTimesLaunches) {
  sdk->parts().session.setSourceApplication("com.example.mail");
  EXPECT_FALSE(parameters(false).contains("open_referrer"));
  const Dictionary first = parameters(true);
  EXPECT_EQ(*first.string("open_referrer"), "com.example.mail");
  EXPECT_EQ(*first.string("timepassedsincelastlaunch"), "-1");
  device->advance(61.4);
  const Dictionary second = parameters(true);
  EXPECT_EQ(*second.string("open_referrer"), "");
  EXPECT_EQ(*second.string("timepassedsincelastlaunch"), "61");
}

TEST_F(EventPayloadTest, DigestsEmailsByTheirCryptType) {
  const struct {
    std::int32_t cryptType;
    const char* expected;
  } cases[] = {{0, R"({"plain_el_arr":["a@b.c"]})"},
               {2, R"({"md5_el_arr":["5d60d4e28066df254d5452f92c910092"]})"},
               {7, R"({"sha1_el_arr":["e2d6a40c8b4d3e6a2779ba1802ef29d13940a051"]})"},
               {3, R"({"sha256_el_arr":["d648b243a3e817eaa3309e00e183483f2867baadf522099f0c2121770536b25a"]})"}};
  LogCapture log(*device);
  for (const auto& [cryptType, expected] : cases) {
    sdk->setUserEmails(Array{"a@b.c", 5}, cryptType);
    EXPECT_EQ(*parameters(false).string("user_emails"), expected) << cryptType;
  }
  EXPECT_EQ(log.count("[WARN]  Trovix: Warning: email provided are not in the right format."), 4u);
  sdk->setUserEmails(Array{}, 0);
  EXPECT_FALSE(parameters(false).contains("user_emails"));
}

TEST_F(EventPayloadTest, WarnsOfCurrencyAndCustomDataItCannotUse) {
  LogCapture log(*device);
  sdk->setCurrencyCode("EURO");
  sdk->setAdditionalData(Dictionary{{"when", Date{0}}});
  EXPECT_FALSE(parameters(false).contains("customData"));
  EXPECT_TRUE(log.has("Trovix WARNING: currency code should be 3 characters!!! 'EURO' is not a legal value."));
  EXPECT_TRUE(log.has("[WARN]  Trovix: customData is not valid json data"));
}

TEST_F(EventPayloadTest, NullsWhatTheAdRevenueReportMisses) {
  device->facts.modelName = std::nullopt;
  std::optional<Dictionary> report;
  sdk->parts().payload.eventParametersInBackgroundQueueAndType(3, [&](Dictionary parameters) { report = parameters; });
  device->runUntilIdle();
  ASSERT_TRUE(report);
  EXPECT_TRUE(report->find("device")->isNull());
  EXPECT_TRUE(report->find("load_framework_result")->isNull());
  EXPECT_EQ(*report->string("idfa"), "7D3E5B21-90AC-4F6E-B1D8-0A4C9E6F2357");
  EXPECT_EQ(*report->find("tx_timestamp"), Value(1'700'000'000'000));
  EXPECT_EQ(*report->string("tx_key"), kDevKey);
}

}  // namespace
}  // namespace trovix::test
