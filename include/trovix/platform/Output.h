#pragma once

#include <string_view>

#include "trovix/Export.h"

namespace trovix::platform {

/// Raw lines on standard output. Any thread.
class TROVIX_API Console {
 public:
  virtual ~Console() = default;
  /// Writes the text as it stands and flushes it.
  virtual void print(std::string_view text) = 0;
};

/// The system's log. Any thread.
class TROVIX_API SystemLog {
 public:
  virtual ~SystemLog() = default;
  /// One line, without its line feed.
  virtual void write(std::string_view line) = 0;
};

}  // namespace trovix::platform
