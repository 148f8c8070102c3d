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

}  // namespace trovix::platform
