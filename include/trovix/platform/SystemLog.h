#pragma once

#include <string_view>

#include "trovix/Export.h"

namespace trovix::platform {

/// The system's log. Any thread.
class TROVIX_API SystemLog {
 public:
  virtual ~SystemLog() = default;
  /// One line, without its line feed.
  virtual void write(std::string_view line) = 0;
};

}  // namespace trovix::platform
