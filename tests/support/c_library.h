#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace kestrune::test {

/// While it lives, the functions of the C library by which file streams work ask here what to do with the
/// files of one folder, and the time of day stands still. One at a time, on one thread.
class CLibrary {
 public:
  explicit CLibrary(std::string folder);
  ~CLibrary();
  CLibrary(const CLibrary&) = delete;
  CLibrary& operator=(const CLibrary&) = delete;

  /// Whether the folder's `call`-th opening of a file, counted from 1, succeeds.
  std::function<bool(std::size_t call)> onOpen;

  /// How many of the `size` bytes the `call`-th write of the file `name`, counted from 1, takes; negative:
  /// it fails with this error number.
  std::function<ssize_t(const std::string& name, std::size_t call, std::size_t size)> onWrite;

  /// The sizes of the writes asked for so far, by file name.
  std::map<std::string, std::vector<std::size_t>> writes;

  // For the functions themselves.
  bool Open(const std::string& path);
  ssize_t Write(const std::string& name, std::size_t size);
  const std::string folder;
  std::map<int, std::string> names;  ///< of the folder's open files, by descriptor

 private:
  std::size_t opens_ = 0;
};

}  // namespace kestrune::test
