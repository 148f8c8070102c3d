// The facade's operations on links, push notifications and revenue.
#include <utility>

#include "core/TrovixLibParts.h"
#include "trovix/TrovixLib.h"

namespace trovix {

// --- Links -----------------------------------------------------------------------------------------------------------

void TrovixLib::handleOpenURL(const std::optional<std::string>& URL,
                              const std::optional<std::string>& sourceApplication,
                              const std::optional<Value>& /*annotation*/) {
  parts_->deepLinks.handleOpenURL(URL, sourceApplication);
}

void TrovixLib::handleOpenUrl(const std::optional<std::string>& URL, const Dictionary& options) {
  parts_->deepLinks.handleOpenUrl(URL, options);
}

bool TrovixLib::continueUserActivity(const Dictionary& userActivity, const RestorationHandler& /*restorationHandler*/) {
  return parts_->deepLinks.continueUserActivityUnlessSkipped(userActivity);
}

void TrovixLib::performOnAppAttributionWithURL(const std::optional<std::string>& URL) {
  parts_->deepLinks.performOnAppAttributionWithURL(URL);
}

void TrovixLib::appendParametersToDeepLinkingURLWithString(std::string containsString, Dictionary parameters) {
  parts_->deepLinks.appendParametersToDeepLinkingURLWithString(std::move(containsString), std::move(parameters));
}

std::shared_ptr<TrovixDeepLinkDelegate> TrovixLib::deepLinkDelegate() const {
  return parts_->deepLinkDelivery.deepLinkDelegate();
}

void TrovixLib::setDeepLinkDelegate(std::weak_ptr<TrovixDeepLinkDelegate> delegate) {
  parts_->deferredDeepLink.setDeepLinkDelegate(std::move(delegate));
}

// --- Push notifications ----------------------------------------------------------------------------------------------

void TrovixLib::handlePushNotification(const Dictionary& payload) { parts_->push.handlePushNotification(payload); }

void TrovixLib::addPushNotificationDeepLinkPath(const std::optional<std::vector<std::string>>& path) {
  parts_->pushPaths.addPushNotificationDeepLinkPath(path);
}

void TrovixLib::registerUninstall(const Data& deviceToken) { parts_->uninstallToken.registerUninstall(deviceToken); }

// --- Revenue ---------------------------------------------------------------------------------------------------------

void TrovixLib::validateAndLogInAppPurchase(std::optional<std::string> productIdentifier,
                                            std::optional<std::string> price, std::optional<std::string> currency,
                                            std::optional<std::string> transactionId,
                                            std::optional<Dictionary> additionalParameters, PurchaseSuccess success,
                                            PurchaseFailure failure) {
  parts_->purchases.validateAndLogInAppPurchase({.productIdentifier = std::move(productIdentifier),
                                                 .price = std::move(price),
                                                 .currency = std::move(currency),
                                                 .transactionId = std::move(transactionId),
                                                 .additionalParameters = std::move(additionalParameters)},
                                                std::move(success), std::move(failure));
}

void TrovixLib::sendAdRevenueWithParameters(Dictionary parameters) {
  parts_->adRevenue.sendAdRevenueWithParameters(std::move(parameters));
}

void TrovixLib::setPartnerDataWithPartnerId(const std::optional<std::string>& partnerId,
                                            const std::optional<Dictionary>& partnerInfo) {
  parts_->partners.setPartnerDataWithPartnerId(partnerId, partnerInfo);
}

void TrovixLib::logLocation(double longitude, double latitude) {
  logEvent("tx_location_coordinates", Dictionary{{"tx_long", longitude}, {"tx_lat", latitude}});
}

}  // namespace trovix
