#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "ptp/follower.h"

namespace kestrune::network {

/// A text file that takes a line for each sample, and one for the counters of each second.
class TraceFile {
 public:
  /// Truncates the file; null when it can't be written.
  static std::unique_ptr<TraceFile> Open(const std::string& path);

  void Write(const std::string& interface, const ptp::Sample& sample);
  void Write(const std::string& interface, const ptp::MessageCounters& counters);

 private:
  struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  using File = std::unique_ptr<std::FILE, Closer>;

  explicit TraceFile(File file) : file_(std::move(file)) {}

  File file_;
};

}  // namespace kestrune::network
