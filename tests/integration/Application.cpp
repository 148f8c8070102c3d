#include "integration/Application.h"

#include "trovix/Json.h"

namespace trovix::test {
namespace {

constexpr const char* phone = R"json({
  "device": {"systemName": "iOS", "systemVersion": "17.2", "identifierForVendor": "7D9E1B2C-4F5A-4C6B-8D7E-9F0A1B2C3D4E"},
  "bundle": {"identifier": "com.example.shop", "info": {"CFBundleVersion": "42"}, "receipt": "RGVtbyByZWNlaXB0"},
  "frameworks": {"attStatus": 3, "advertisingIdentifier": "6E0F2A51-9C3D-4B7E-A1D2-3F4E5D6C7B8A", "adNetwork": true},
  "integrity": {"compromised": false, "debugger": false}
})json";

platform::LinuxPlatformOptions optionsOf(const World& world, const Device& device, Hearing& hearing) {
  platform::LinuxPlatformOptions options;
  options.dataDirectory = device.directory;
  options.deviceProfile = dictionaryFromJson(phone).value_or(Dictionary());
  options.deviceProfile.merge(device.profile);
  options.connectTo = world.collector.address();
  options.certificateAuthorityFile = world.collector.caFile();
  options.timeOffset = device.timeOffset;
  options.mainQueueMode = platform::MainQueueMode::ownThread;
  options.adNetworkObserver = [&hearing](std::optional<std::int64_t> value) {
    hearing.hear({value ? "conversionValue" : "adNetworkRegistered", {{"value", value.value_or(0)}}});
  };
  return options;
}

}  // namespace

void Hearing::hear(Told told) {
  const std::lock_guard lock(mutex_);
  told_.push_back(std::move(told));
}

std::vector<Told> Hearing::of(std::string_view what) {
  std::vector<Told> found;
  (void)eventually([&] {
    const std::lock_guard lock(mutex_);
    std::ranges::copy_if(told_, std::back_inserter(found), [&](const Told& told) { return told.what == what; });
    return !found.empty();
  });
  return found;
}

World::World(Dictionary scenario)
    : collector({.devKey = devKey, .scenario = std::move(scenario), .tlsDirectory = directory / "tls"}) {
  EXPECT_TRUE(collector.start());
}

std::vector<Dictionary> World::received(std::string_view kind, std::size_t count) const {
  EXPECT_TRUE(collector.waitForRequests(kind, count, std::chrono::seconds(20))) << count << " of " << kind;
  auto requests = collector.requestsOfKind(kind);
  // A test that has failed already may read on.
  if (requests.size() < count) requests.resize(count);
  return requests;
}

Application::Application(const World& world, const Device& device)
    : directory(device.directory),
      platform(optionsOf(world, device, hearing)),
      sdk(platform.services()),
      agent(sdk, platform.services()) {
  // The launch that carries search ads comes at a time of its own.
  sdk.setDisableCollectASA(true);
}

void Application::configure() {
  delegate = std::make_shared<TrovixLibDelegate>();
  delegate->onConversionDataSuccess = [this](const Dictionary& data) { hearing.hear({"conversionData", data}); };
  sdk.setTrovixDevKey(devKey);
  sdk.setAppleAppID(Value("1234567890"));
  sdk.setDelegate(delegate);
}

void Application::launch() {
  configure();
  sdk.startWithCompletionHandler([this](const auto&, const auto& error) { hearing.hear({"start", {}, error}); });
}

void Application::hearDeepLinks() {
  deepLinkDelegate = std::make_shared<TrovixDeepLinkDelegate>();
  deepLinkDelegate->didResolveDeepLink = [this](const TrovixDeepLinkResult& result) {
    Dictionary data = result.deepLink() ? result.deepLink()->clickEvent() : Dictionary();
    data.set("deferred", result.deepLink() && result.deepLink()->isDeferred());
    hearing.hear({"deepLink", data, result.error()});
  };
  sdk.setDeepLinkDelegate(deepLinkDelegate);
}

std::size_t Application::cached() const {
  std::error_code ignored;
  const std::filesystem::directory_iterator files(directory + "/app/Library/Caches/trovix-v1", ignored);
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

bool Application::comesToRest() const {
  return eventually([this] { return platform.isIdle(); });
}

std::string textAt(const Dictionary& record, std::string_view section, std::string_view key) {
  const Dictionary* dictionary = record.dictionary(section);
  const Value* value = dictionary != nullptr ? dictionary->find(key) : nullptr;
  return value != nullptr ? description(*value) : "(missing)";
}

void expectGenuine(const Dictionary& request) {
  EXPECT_EQ(textAt(request, "checks", "decrypted"), "1");
  EXPECT_EQ(textAt(request, "checks", "checksum"), "1");
}

}  // namespace trovix::test
