#pragma once

#include <memory>
#include <utility>

namespace trovix {

/// What a closure that waits holds in place of a bare `this`: it runs only while the owner is alive, and keeps the
/// owner alive while it runs. Copies share the owner. Without an owner bound, guarded closures do nothing.
class Lifetime {
 public:
  Lifetime() : owner_(std::make_shared<std::weak_ptr<const void>>()) {}

  /// Before the first guarded closure can run.
  void bind(const std::shared_ptr<const void>& owner) { *owner_ = owner; }
  /// The owner, held; null when it is gone.
  [[nodiscard]] std::shared_ptr<const void> hold() const { return owner_->lock(); }

  template <typename F>
  [[nodiscard]] auto guard(F closure) const {
    return [owner = owner_, closure = std::move(closure)](auto&&... arguments) mutable {
      if (const auto held = owner->lock()) closure(std::forward<decltype(arguments)>(arguments)...);
    };
  }

 private:
  std::shared_ptr<std::weak_ptr<const void>> owner_;
};

}  // namespace trovix
