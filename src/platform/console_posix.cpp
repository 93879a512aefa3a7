#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "platform/console.h"

namespace kestrune {

std::size_t WriteStandardOutput(std::string_view text) {
  std::size_t taken = 0;
  while (taken < text.size()) {
    const ssize_t written = write(STDOUT_FILENO, text.data() + taken, text.size() - taken);
    if (written > 0) {
      taken += static_cast<std::size_t>(written);
    } else if (written == 0) {
      break;
    } else if (errno == EAGAIN) {  // somebody else has made the shared console one that doesn't wait
      pollfd console{STDOUT_FILENO, POLLOUT, 0};
      poll(&console, 1, -1);
    } else if (errno != EINTR) {
      break;
    }
  }
  return taken;
}

}  // namespace kestrune
