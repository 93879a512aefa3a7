#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/append_file.h"

namespace kestrune {
namespace {

int Descriptor(std::intptr_t handle) { return static_cast<int>(handle); }

/// For reading too, unless extending is all that is allowed. A FIFO without a reader doesn't make it wait.
int OpenAtEnd(const char* name) {
  constexpr int flags = O_APPEND | O_CREAT | O_CLOEXEC;
  int descriptor = open(name, O_RDWR | O_NONBLOCK | flags, 0666);
  if (descriptor < 0 && errno == EACCES) descriptor = open(name, O_WRONLY | O_NONBLOCK | flags, 0666);
  // A file server's lease is given up for those who wait.
  if (descriptor < 0 && errno == EWOULDBLOCK) descriptor = open(name, O_RDWR | flags, 0666);
  return descriptor;
}

/// An extending process holds the lock as long as it lives.
bool TakeLock(int descriptor) { return flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK; }

}  // namespace

bool AppendFile::Open(const std::string& name) {
  Close();
  // Looked at first: a device might act when it is opened, and a FIFO's reader would notice.
  struct stat status;
  if (stat(name.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) return false;
  const int descriptor = OpenAtEnd(name.c_str());
  if (descriptor < 0) return false;
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || !TakeLock(descriptor)) {
    close(descriptor);
    return false;
  }
  handle_ = descriptor;
  return true;
}

void AppendFile::Close() {
  if (IsOpen()) close(Descriptor(handle_));
  handle_ = closed;
}

std::int64_t AppendFile::Size() const {
  struct stat status;
  return fstat(Descriptor(handle_), &status) == 0 ? std::int64_t{status.st_size} : -1;
}

bool AppendFile::EndsWith(char byte) const {
  const std::int64_t size = Size();
  char last = 0;
  return size == 0 || (pread(Descriptor(handle_), &last, 1, size - 1) == 1 && last == byte);
}

std::size_t AppendFile::Append(std::string_view bytes) {
  std::size_t taken = 0;
  while (taken < bytes.size()) {
    const ssize_t written = write(Descriptor(handle_), bytes.data() + taken, bytes.size() - taken);
    if (written > 0) {
      taken += static_cast<std::size_t>(written);
    } else if (written == 0 || errno != EINTR) {
      break;
    }
  }
  return taken;
}

bool AppendFile::TakeBack(std::size_t count) {
  const std::int64_t size = Size() - static_cast<std::int64_t>(count);
  return size >= 0 && ftruncate(Descriptor(handle_), size) == 0;
}

}  // namespace kestrune
