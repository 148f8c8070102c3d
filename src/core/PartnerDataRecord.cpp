#include "core/PartnerDataRecord.h"

#include "common/Encoding.h"
#include "common/Log.h"
#include "platform/Text.h"

namespace trovix {

void PartnerDataRecord::setPartnerDataWithPartnerId(const std::optional<std::string>& partnerId,
                                                    const std::optional<Dictionary>& partnerInfo) {
  if (!txsdk_exists(partnerId)) {
    TX_LOG(debug, "`partnerId` is empty or `nil`");
    return;
  }
  const bool isThere = txsdk_exists(partnerInfo);
  const std::string text = isThere ? txsdk_stringify(*partnerInfo) : std::string();
  const std::size_t length = platform::utf16Length(text);
  {
    const platform::MutexLock lock(mutex_);
    if (!partnerInfo_) partnerInfo_.emplace();
    partnerInfo_->partnerData.remove(*partnerId);
    partnerInfo_->error.remove(*partnerId);
    if (isThere && length <= maximumLength) {
      partnerInfo_->partnerData.set(*partnerId, *partnerInfo);
    } else if (isThere) {
      partnerInfo_->error.set(*partnerId, Dictionary{{"error", "limit_exceeded: " + std::to_string(length)}});
    }
  }
  if (!isThere) {
    TX_LOG(debug, "Partner info is missing or `nil`");
  } else if (length > maximumLength) {
    TX_LOG(debug, "Partner info should not contain more than 1000 characters");
  }
}

std::optional<Dictionary> PartnerDataRecord::partnerData() const {
  const platform::MutexLock lock(mutex_);
  return partnerInfo_ ? std::optional(partnerInfo_->partnerData) : std::nullopt;
}

std::optional<Dictionary> PartnerDataRecord::error() const {
  const platform::MutexLock lock(mutex_);
  return partnerInfo_ ? std::optional(partnerInfo_->error) : std::nullopt;
}

}  // namespace trovix
