#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <initializer_list>

#include "platform/process.h"

namespace kestrune {

void PrepareProcess() {
  for (const int ignored : {SIGPIPE, SIGXFSZ, SIGTTOU}) std::signal(ignored, SIG_IGN);
  // The lowest free descriptor is the one that is closed. Whoever writes to it is to know.
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) == -1 && open("/dev/null", O_RDONLY) == -1) open("/", O_RDONLY);
  }
}

}  // namespace kestrune
