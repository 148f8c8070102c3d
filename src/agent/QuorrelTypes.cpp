#include "quorrel/QuorrelTypes.h"

namespace quorrel {

const char* AttributionRetrieveSourceExt::sourceNameForSouce(SourceType source) noexcept {
  return source == SourceType::trovix ? "trovix" : "adjust";
}

}  // namespace quorrel
