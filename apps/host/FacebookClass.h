#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "trovix/Error.h"
#include "trovix/Value.h"
#include "trovix/platform/ClassRegistry.h"
#include "trovix/platform/Queues.h"

namespace trovix::host {

/// A companion SDK's class with a fixed answer: {"link", "error", "delay": seconds}.
class FacebookClass final : public platform::AppLinkUtility {
 public:
  FacebookClass(Dictionary answer, platform::Queue& queue) : answer_(std::move(answer)), queue_(queue) {}

  [[nodiscard]] bool respondsToFetchDeferredAppLink() const override { return true; }

  void fetchDeferredAppLink(std::function<void(Result<std::optional<std::string>>)> completion) override {
    const Value* delay = answer_.find("delay");
    const std::chrono::nanoseconds wait(saturatingInteger((delay != nullptr ? delay->doubleValue() : 0) * 1e9));
    queue_.postAfter(wait, [answer = answer_, completion = std::move(completion)] {
      if (const std::string* message = answer.string("error")) {
        completion(Error("FBSDKErrorDomain", 0, {{Error::localizedDescriptionKey, *message}}));
      } else if (const std::string* link = answer.string("link")) {
        completion(std::optional(*link));
      } else {
        completion(std::optional<std::string>());
      }
    });
  }

 private:
  const Dictionary answer_;
  platform::Queue& queue_;
};

}  // namespace trovix::host
