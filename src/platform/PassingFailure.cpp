#include <cerrno>

#include "trovix/platform/FileSystem.h"

namespace trovix::platform {

bool isPassingFailure(const Error& error) noexcept {
  if (error.domain() != posixErrorDomain) return false;
  switch (error.code()) {
    case EMFILE:
    case ENFILE:
    case ENOMEM:
    case EINTR:
    case EAGAIN:
    case EBUSY:
    case ETIMEDOUT:
    case ESTALE:
      return true;
    default:
      return false;
  }
}

}  // namespace trovix::platform
