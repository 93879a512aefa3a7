#include "support/c_library.h"

#include <dlfcn.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

namespace kestrune::test {
namespace {

CLibrary* current = nullptr;

/// The function that a definition below has taken the place of.
template <class Function>
Function* Next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// The name of the file behind a descriptor; null for files that nobody asked about.
const std::string* WatchedName(int descriptor) {
  if (current == nullptr) return nullptr;
  const auto name = current->names.find(descriptor);
  return name != current->names.end() ? &name->second : nullptr;
}

}  // namespace

CLibrary::CLibrary(std::string watchedFolder) : folder(std::move(watchedFolder) + '/') { current = this; }

CLibrary::~CLibrary() { current = nullptr; }

bool CLibrary::Open(const std::string& path) {
  if (!path.starts_with(folder)) return true;
  ++opens_;
  return !onOpen || onOpen(opens_);
}

ssize_t CLibrary::Write(const std::string& name, std::size_t size) {
  writes[name].push_back(size);
  return onWrite ? onWrite(name, writes[name].size(), size) : static_cast<ssize_t>(size);
}

}  // namespace kestrune::test

using kestrune::test::current;
using kestrune::test::Next;
using kestrune::test::WatchedName;

extern "C" FILE* fopen64(const char* path, const char* mode) {
  static const auto next = Next(fopen64, "fopen64");
  if (current != nullptr && !current->Open(path)) {
    errno = ENOSPC;
    return nullptr;
  }
  FILE* const file = next(path, mode);
  if (current != nullptr && file != nullptr && std::string(path).starts_with(current->folder)) {
    current->names[fileno(file)] = path + current->folder.size();
  }
  return file;
}

extern "C" int fclose(FILE* file) {
  static const auto next = Next(fclose, "fclose");
  if (current != nullptr) current->names.erase(fileno(file));
  return next(file);
}

extern "C" ssize_t write(int descriptor, const void* bytes, size_t size) {
  static const auto next = Next(write, "write");
  if (const std::string* name = WatchedName(descriptor)) {
    const ssize_t taken = current->Write(*name, size);
    if (taken < 0) {
      errno = static_cast<int>(-taken);
      return -1;
    }
    size = static_cast<size_t>(taken);
  }
  return next(descriptor, bytes, size);
}

extern "C" ssize_t writev(int descriptor, const iovec* pieces, int count) {
  static const auto next = Next(writev, "writev");
  if (WatchedName(descriptor) == nullptr) return next(descriptor, pieces, count);
  std::string bytes;
  for (int i = 0; i < count; ++i) {
    bytes.append(static_cast<const char*>(pieces[i].iov_base), pieces[i].iov_len);
  }
  return write(descriptor, bytes.data(), bytes.size());
}

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  static const auto next = Next(clock_gettime, "clock_gettime");
  const int result = next(clock, time);
  if (current != nullptr && clock == CLOCK_REALTIME) *time = {1'772'436'321, 0};
  return result;
}
