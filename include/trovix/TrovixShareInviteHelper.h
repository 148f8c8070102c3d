#pragma once

#include <functional>
#include <optional>
#include <string>

#include "trovix/Export.h"
#include "trovix/TrovixLinkGenerator.h"

namespace trovix {

/// Invitation links, which credit the inviting user. Any thread, once the SDK is made.
class TROVIX_API TrovixShareInviteHelper {
 public:
  /// Is given a prepared generator and returns the one to use.
  using Preparation = std::function<TrovixLinkGenerator(TrovixLinkGenerator generator)>;

  /// Prepares a generator for invitations, lets the block change it, and makes a short link; the completion as
  /// `TrovixLinkGenerator` has it. The block runs on the calling thread.
  static void generateInviteUrlWithLinkGenerator(const Preparation& generatorBlock,
                                                 TrovixLinkGenerator::Completion completionHandler);
  /// A generator prepared for a media source.
  [[nodiscard]] static TrovixLinkGenerator createLink(const std::optional<std::string>& mediaSource);
  /// Records the invitation as an event.
  static void logInvite(const std::optional<std::string>& channel, const std::optional<Dictionary>& parameters);
};

}  // namespace trovix
