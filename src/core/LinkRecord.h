#pragma once

#include <string_view>

#include "platform/Mutex.h"
#include "trovix/Value.h"

namespace trovix {

/// The attribution parameters of one link. Server fields may still arrive after the link's operation has finished, and
/// whoever takes the parameters later sees them. Any thread.
class LinkRecord {
 public:
  void set(std::string_view key, Value value) {
    const platform::MutexLock lock(mutex_);
    parameters_.set(key, std::move(value));
  }
  void merge(const Dictionary& fields) {
    const platform::MutexLock lock(mutex_);
    parameters_.merge(fields);
  }
  [[nodiscard]] Dictionary parameters() const {
    const platform::MutexLock lock(mutex_);
    return parameters_;
  }

 private:
  mutable platform::Mutex mutex_;
  Dictionary parameters_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix
