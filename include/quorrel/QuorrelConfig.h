#pragma once

#include <string>
#include <utility>

#include "quorrel/QuorrelTypes.h"
#include "trovix/Export.h"

namespace quorrel {

/// Configures one attribution source.
class TROVIX_API QuorrelConfig {
 public:
  virtual ~QuorrelConfig() = default;
  /// Whose source it is.
  [[nodiscard]] virtual SourceType sourceType() const = 0;
};

/// The Adjust source, by its application token.
class TROVIX_API QuorrelAdjustConfig final : public QuorrelConfig {
 public:
  explicit QuorrelAdjustConfig(std::string token) : token_(std::move(token)) {}
  [[nodiscard]] SourceType sourceType() const override { return SourceType::adjust; }
  [[nodiscard]] const std::string& token() const noexcept { return token_; }

 private:
  std::string token_;
};

/// The tracking SDK as a source, by its developer key and App Store identifier.
class TROVIX_API QuorrelTrovixConfig final : public QuorrelConfig {
 public:
  QuorrelTrovixConfig(std::string devKey, std::string appId) : devKey_(std::move(devKey)), appId_(std::move(appId)) {}
  [[nodiscard]] SourceType sourceType() const override { return SourceType::trovix; }
  [[nodiscard]] const std::string& devKey() const noexcept { return devKey_; }
  [[nodiscard]] const std::string& appId() const noexcept { return appId_; }

 private:
  std::string devKey_;
  std::string appId_;
};

}  // namespace quorrel
