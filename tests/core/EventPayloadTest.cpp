#include "core/TrovixLibFixture.h"

namespace trovix::test {

struct EventPayloadTest : TrovixLibFixture {
  EventPayloadTest() { makeSdk(); }

  Dictionary parameters(bool isLaunch) { return sdk->parts().payload.getEventParameters(isLaunch).dict(); }
};

TEST_F(EventPayloadTest, CarriesEachConditionalKeyOnlyWhenItsConditionHolds) {
  const Dictionary one{{"a", "b"}};
  const std::tuple<const char*, bool, std::function<void()>, Value> cases[] = {
      {"prev_session_dur", false, [&] { storage().setDouble(12, "TrovixLastSessionDuration"); }, 12.0},
      {"name", false, [&] { sdk->setShouldCollectDeviceName(true); }, "Ada's iPhone"},
      {"backupInfo", false, [&] { storage().setDictionary(one, "TrovixBackupInfo"); }, one},
      {"istu", false, [&] { sdk->setIsStopped(false); }, true},
      {"sharing_filter", false, [&] { sdk->setSharingFilterForAllPartners(); }, Array{"all"}},
      {"gcd_timing", true, [&] { storage().setDouble(250, "TrovixGetConversionDataTiming"); }, 250.0},
      {"phone", true, [&] { sdk->setPhoneNumber(""); },
       "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"deviceTrackingDisabled", false, [&] { sdk->setAnonymizeUser(true); }, "true"},
      {"idfv_optout", false, [&] { sdk->setDisableIDFVCollection(true); }, true},
      {"currency", false, [&] { sdk->setCurrencyCode("EURO"); }, "EURO"},
      {"appUID", false, [&] { sdk->setCustomerUserID("42"); }, "42"},
      {"customData", false, [&] { sdk->setAdditionalData(one); }, R"({"a":"b"})"},
      {"tx_iad_data", false, [&] { storage().setDictionary(one, "TrovixSearchAdsAttribution"); }, one},
      {"veyra_id", false, [&] { sdk->setAppInviteVeyra("ab12"); }, "ab12"},
      {"veyra_ver", false, [&] { storage().setString("2", "veyraVersion"); }, "2"},
      {"wac", false, [&] { storage().setBool(true, "TrovixIsAppClip"); }, true}};
  for (const auto& [key, isLaunch, arrange, expected] : cases) {
    EXPECT_FALSE(parameters(isLaunch).contains(key)) << key;
    arrange();
    if (isLaunch) {
      EXPECT_FALSE(parameters(false).contains(key)) << key;
    }
    const Dictionary payload = parameters(isLaunch);
    const Value* value = payload.find(key);
    ASSERT_NE(value, nullptr) << key;
    EXPECT_EQ(*value, expected) << key;
  }
  EXPECT_FALSE(parameters(false).contains("vendorId"));
  sdk->setAdditionalData(Dictionary{{"when", Date{0}}});
  EXPECT_FALSE(parameters(false).contains("customData")) << "not valid as JSON";
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

TEST_F(EventPayloadTest, SendsOneShotValuesWithOneLaunch) {
  sdk->parts().session.setSourceApplication("com.example.mail");
  EXPECT_FALSE(parameters(false).contains("open_referrer"));
  EXPECT_EQ(*parameters(true).string("open_referrer"), "com.example.mail");
  EXPECT_EQ(*parameters(true).string("open_referrer"), "");
}

TEST_F(EventPayloadTest, DigestsEmailsByTheirCryptType) {
  const std::pair<std::int32_t, const char*> cases[] = {
      {0, R"({"plain_el_arr":["a@b.c"]})"},
      {2, R"({"md5_el_arr":["5d60d4e28066df254d5452f92c910092"]})"},
      {7, R"({"sha1_el_arr":["e2d6a40c8b4d3e6a2779ba1802ef29d13940a051"]})"},
      {3, R"({"sha256_el_arr":["d648b243a3e817eaa3309e00e183483f2867baadf522099f0c2121770536b25a"]})"}};
  for (const auto& [cryptType, expected] : cases) {
    sdk->setUserEmails(Array{"a@b.c", 5}, cryptType);
    EXPECT_EQ(*parameters(false).string("user_emails"), expected) << cryptType;
  }
  sdk->setUserEmails(Array{}, 0);
  EXPECT_FALSE(parameters(false).contains("user_emails"));
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
  EXPECT_EQ(*report->string("tx_key"), developerKey);
}

}  // namespace trovix::test
