#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "trovix/Export.h"
#include "trovix/Value.h"

namespace trovix {

/// Collects the attributes of a link and renders it: long, on the spot, or short, by asking the link service. Filled
/// and used on one thread. A setter ignores what is missing.
class TROVIX_API TrovixLinkGenerator {
 public:
  /// Gets the link. On the HTTP client's queue, or on the caller's thread when no short link can be asked for.
  using Completion = std::function<void(const std::string& URL)>;

  /// A generator whose links carry that media source under "pid".
  explicit TrovixLinkGenerator(const std::optional<std::string>& mediaSource) {
    *this = initWithMeidaSource(mediaSource);
  }
  [[nodiscard]] static TrovixLinkGenerator initWithMeidaSource(const std::optional<std::string>& mediaSource);

  /// The branded host: of short links, and of long ones too when the SDK has a link template to put below it.
  void setBrandDomain(const std::optional<std::string>& brandDomain);
  /// The channel, "tx_channel".
  void setChannel(const std::optional<std::string>& channel);
  /// The campaign, "c".
  void setCampaign(const std::optional<std::string>& campaign);
  /// The SDK's identifier of the inviting user's installation, "tx_referrer_uid".
  void setReferrerUID(const std::optional<std::string>& referrerUID);
  /// The host's own identifier of the inviting user, "tx_referrer_customer_id".
  void setReferrerCustomerId(const std::optional<std::string>& referrerCustomerId);
  /// The inviting user's name, "tx_referrer_name".
  void setReferrerName(const std::optional<std::string>& referrerName);
  /// Where the inviting user's picture is, "tx_referrer_image_url".
  void setReferrerImageURL(const std::optional<std::string>& referrerImageURL);
  /// What a long link starts with unless it is branded; the SDK's own address when this is empty.
  void setBaseURL(const std::optional<std::string>& baseURL);
  /// The store identifier of the linked application: "/idID" after the base address, "id" of a short link.
  void setAppleAppID(const std::optional<std::string>& appleAppID);
  /// What follows the base deep link; left out without one.
  void setDeeplinkPath(const std::optional<std::string>& deeplinkPath);
  /// The address that the linked application opens; with the path it is "tx_dp".
  void setBaseDeeplink(const std::optional<std::string>& baseDeeplink);
  /// Parameters override the keys that the attributes above would have.
  void addParameterValue(const Value& value, const std::string& key);
  /// Many parameters at once.
  void addParameters(const Dictionary& parameters);
  /// The site, "tx_siteid".
  void addSiteId(const std::optional<std::string>& siteId);

  [[nodiscard]] std::optional<std::string> getMediaSource() const { return mediaSource_; }
  [[nodiscard]] const Dictionary& parameters() const noexcept { return parameters_; }
  /// Escaped for a URL's host.
  [[nodiscard]] static std::string encodeValue(const std::string& value);
  /// "https://DOMAIN/ID".
  [[nodiscard]] static std::string buildVeyraWithID(const std::string& ID, const std::string& domain);

  /// The long link, made on the spot.
  [[nodiscard]] std::string generateLink() const;
  /// A short link with the service's default lifetime; the long link when there is no short one to be had.
  void generateVeyraWithCompletionHandler(Completion completionHandler) const;
  /// A short link that lives `ttl` (-1: the service's default); the long link when there is no short one to be had.
  void generateVeyraWithTTL(std::int64_t ttl, Completion completionHandler) const;

 private:
  TrovixLinkGenerator() = default;
  void setLogged(std::optional<std::string>& field, const std::optional<std::string>& value, const char* label);
  /// The attributes by their query keys, in their order, and the parameters over them.
  [[nodiscard]] Dictionary longLinkFields() const;
  /// What the link service gets: the same, and the store identifier.
  [[nodiscard]] Dictionary shortLinkFields() const;
  [[nodiscard]] std::string base() const;

  std::optional<std::string> brandDomain_, mediaSource_, channel_, campaign_, referrerUID_, referrerCustomerId_,
      referrerName_, referrerImageURL_, baseURL_, appleAppID_, deeplinkPath_, baseDeeplink_;
  Dictionary parameters_;
};

}  // namespace trovix
