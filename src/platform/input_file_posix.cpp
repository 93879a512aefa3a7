#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/input_file.h"

namespace kestrune {
namespace {

int Descriptor(std::intptr_t handle) { return static_cast<int>(handle); }

}  // namespace

bool InputFile::Open(const std::string& name) {
  Close();
  const int descriptor =
      open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);  // a FIFO doesn't make it wait
  if (descriptor < 0) return false;
  struct stat status;
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    close(descriptor);
    return false;
  }
  posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
  handle_ = descriptor;
  return true;
}

void InputFile::Close() {
  if (IsOpen()) close(Descriptor(handle_));
  handle_ = closed;
}

std::int64_t InputFile::Size() const {
  struct stat status;
  return fstat(Descriptor(handle_), &status) == 0 ? std::int64_t{status.st_size} : -1;
}

std::size_t InputFile::ReadAt(std::uint64_t place, std::span<std::byte> bytes) const {
  std::size_t read = 0;
  while (read < bytes.size()) {
    const ssize_t got = pread(Descriptor(handle_), bytes.data() + read, bytes.size() - read,
                              static_cast<off_t>(place + read));
    if (got > 0) {
      read += static_cast<std::size_t>(got);
    } else if (got == 0 || errno != EINTR) {
      break;
    }
  }
  return read;
}

}  // namespace kestrune
