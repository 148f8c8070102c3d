// Links are hostile: whatever the text, the rules about links hold, the application hears of each exactly once, and the
// launch that carries it can be written.
#include "core/LinkText.h"
#include "device/TrovixUtils.h"
#include "fuzz/Launch.h"
#include "platform/Url.h"
#include "trovix/platform/NotificationCenter.h"

namespace {

using namespace trovix;
using fuzz::require;
using platform::Url;

void checkTokens(const std::string& text) {
  const std::string stripped = linkWithoutAccessTokens(text);
  require(stripped.size() <= text.size());
  if (text.find("access_token=") == std::string::npos) require(stripped == text);
}

void checkMatcher(const std::string& marker, const Url& url) {
  const Dictionary added{{"pid", "a b&c"}, {marker, "\xff"}};
  const Url rewritten = TrovixUtils::urlValidatedWithString(marker, url, added);
  const bool isRewritten = !marker.empty() && url.absoluteString().find(marker) != std::string::npos;
  require(isRewritten || rewritten.absoluteString() == url.absoluteString());
  const auto again = Url::parse(rewritten.absoluteString());
  require(again.has_value());
  require(again->scheme() == url.scheme() && again->host() == url.host() && again->path() == url.path());
  if (!isRewritten) return;
  require(again->queryItems().size() == url.queryItems().size() + added.size());
  const Dictionary parameters = TrovixUtils::queryParametersFromURL(*again);
  require(*parameters.string(marker) == "\xff");
}

void checkShortLink(const std::string& link, const Url* url) {
  std::string message;
  const auto path = TrovixUtils::getVeyraPathWithURL(link, true, message);
  require(!message.empty());
  const auto components = url != nullptr ? url->pathComponents() : std::vector<std::string>();
  require(path.has_value() == (components.size() == 3 && components.front() == "/"));
  if (path) require(*path == message && path->starts_with("/shortlink-sdk/v1/"));
}

using Entry = void (*)(fuzz::Application&, const std::string& link);

void launchWith(fuzz::Application& application, const std::string& link) {
  application.device.notificationCenter.post(platform::application::didFinishLaunching,
                                             Dictionary{{platform::application::launchURLKey, link}});
}
void continueActivity(fuzz::Application& application, const std::string& link) {
  require(application.sdk.continueUserActivity(
      {{"activityType", platform::application::browsingWebActivityType}, {"webpageURL", link}}, {}));
}
void openUrl(fuzz::Application& application, const std::string& link) { application.sdk.handleOpenUrl(link, {}); }
void attribute(fuzz::Application& application, const std::string& link) {
  application.sdk.performOnAppAttributionWithURL(link);
}

/// Who hears of links.
class Listeners {
 public:
  explicit Listeners(fuzz::Application& application) : application_(application) {
    delegate_->onAppOpenAttribution = [this](const Dictionary& data) {
      // What a link escapes need not be text, so it may not read back.
      require(data.contains("tx_deeplink") && platform::writeJson(data));
      ++attributed_;
    };
    delegate_->onAppOpenAttributionFailure = [this](const Error&) { ++attributed_; };
    deepLinkDelegate_->didResolveDeepLink = [this](const TrovixDeepLinkResult& result) {
      require((result.deepLink() == nullptr) == result.error().has_value());
      require(!result.deepLink() || platform::parseJson(result.deepLink()->toString()));
      ++resolved_;
    };
    application_.sdk.setDelegate(delegate_);
  }

  void setDeepLinkDelegate() {
    application_.sdk.setDeepLinkDelegate(deepLinkDelegate_);
    application_.device.advance(fuzz::longEnough);
    // A link opened the application, so it is not told of a deferred one.
    require(resolved_ == 0);
  }
  /// One of the two hears, once.
  void open(Entry entry, const std::string& link) {
    attributed_ = resolved_ = 0;
    entry(application_, link);
    application_.device.advance(fuzz::longEnough);
    const bool isResolved = application_.sdk.deepLinkDelegate() != nullptr;
    require(attributed_ == (isResolved ? 0 : 1) && resolved_ == (isResolved ? 1 : 0));
  }

 private:
  fuzz::Application& application_;
  const std::shared_ptr<TrovixLibDelegate> delegate_ = std::make_shared<TrovixLibDelegate>();
  const std::shared_ptr<TrovixDeepLinkDelegate> deepLinkDelegate_ = std::make_shared<TrovixDeepLinkDelegate>();
  int attributed_ = 0;
  int resolved_ = 0;
};

/// The link comes in by every entry, as one without and with what the host configures for it.
void checkApplication(const std::string& marker, const std::string& link) {
  fuzz::Application application;
  Listeners listeners(application);
  listeners.open(launchWith, link);
  application.sdk.appendParametersToDeepLinkingURLWithString(marker, {{"pid", "a b&c"}, {marker, "\xff"}});
  listeners.open(continueActivity, link);
  application.sdk.setVeyraCustomDomains(std::vector{marker});
  listeners.open(openUrl, link);
  application.sdk.setResolveDeepLinkURLs(std::vector{marker});
  application.device.network.defaultAnswer = test::Answer::redirect(link);
  listeners.open(attribute, link);
  listeners.setDeepLinkDelegate();
  listeners.open(openUrl, link);

  const Dictionary launch = fuzz::deliverLaunch(application);
  // Without its secrets it may be a link no longer.
  require(launch.contains("tx_deeplink") == Url::parse(linkWithoutAccessTokens(link)).has_value());
}

}  // namespace

/// The first line marks the links that the matcher rewrites and names a domain; the rest is the link. With a plus sign
/// before it the link goes through the SDK as well, which takes a hundred times as long as the rules alone.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  std::string marker = input.line();
  const bool isOpened = marker.starts_with('+');
  if (isOpened) marker.erase(0, 1);
  const std::string link(input.rest());

  checkTokens(link);
  const std::vector<std::string> domains{"", marker};
  const std::string* domain = matchingDomain(link, domains);
  require((domain != nullptr) == (!marker.empty() && link.find("://" + marker) != std::string::npos));

  const auto url = Url::parse(link);
  checkShortLink(link, url ? &*url : nullptr);
  if (!url) return 0;
  require(url->absoluteString() == link && !url->scheme().empty());
  const Dictionary parameters = TrovixUtils::queryParametersFromURL(*url);
  require(parameters.size() <= url->queryItems().size());
  const auto deepLink = TrovixDeepLink::withVeyra(parameters);
  require(!deepLink->clickEvent().contains("pid"));
  checkMatcher(marker, *url);
  if (isOpened) checkApplication(marker, link);
  return 0;
}
