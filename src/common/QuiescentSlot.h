#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <utility>

#include "platform/Mutex.h"

namespace trovix {

/// A replaceable collaborator: readers use it without a lock, and whoever replaces it knows on return that no reader
/// is inside the earlier one. Two places take turns, so that a slow reader never sees one being written.
template <typename T>
class QuiescentSlot {
 public:
  /// Returns once no thread uses the earlier one. Not to be called from inside `use`.
  void install(T value) TX_EXCLUDES(installing_) {
    const platform::MutexLock lock(installing_);
    Place* const earlier = current_.load();
    Place* const next = earlier == &places_[0] ? &places_[1] : &places_[0];
    next->value = std::move(value);
    current_.store(next);
    if (earlier != nullptr) waitUntilLeft(*earlier);
  }

  /// Runs `visit` with the installed value, if there is one.
  template <typename Visitor>
  void use(Visitor visit) {
    Place* const place = enter();
    if (place == nullptr) return;
    const Visit visiting{*this, *place};
    visit(std::as_const(place->value));
  }

 private:
  struct Place {
    T value{};
    std::atomic<std::uint32_t> inside{0};
  };

  /// A reader's time inside, however it ends.
  struct Visit {
    QuiescentSlot& slot;
    Place& place;
    ~Visit() { slot.leave(place); }
  };

  // A reader that counted itself into a place which is no longer the current one has not read it yet, and tries again.
  Place* enter() {
    for (;;) {
      Place* const place = current_.load();
      if (place == nullptr) return nullptr;
      place->inside.fetch_add(1);
      if (current_.load() == place) return place;
      leave(*place);
    }
  }

  void leave(Place& place) {
    if (place.inside.fetch_sub(1) == 1) place.inside.notify_all();
  }

  void waitUntilLeft(Place& place) {
    for (std::uint32_t count = place.inside.load(); count != 0; count = place.inside.load()) place.inside.wait(count);
  }

  platform::Mutex installing_;
  std::array<Place, 2> places_;
  std::atomic<Place*> current_{nullptr};
};

}  // namespace trovix
