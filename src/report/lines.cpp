#include "report/lines.h"

#include <algorithm>
#include <span>
#include <vector>

#include "platform/input_file.h"

namespace kestrune::report {
namespace {

/// Cuts pieces of a text into lines.
class LineSplitter {
 public:
  explicit LineSplitter(const LineSink& sink) : sink_(sink) {}

  void Feed(std::string_view piece) {
    while (!piece.empty()) {
      const std::size_t end = piece.find('\n');
      Append(piece.substr(0, end));
      if (end == std::string_view::npos) return;
      Emit(true);
      piece.remove_prefix(end + 1);
    }
  }

  void End() {
    if (!line_.empty()) return Emit(false);
    if (zeros_) sink_({{}, true, true});
    zeros_ = false;
  }

 private:
  void Append(std::string_view part) {
    for (const char byte : part) {
      if (byte == '\0' && line_.empty()) {
        zeros_ = true;
      } else if (byte == '\0' || line_.size() == longestLine) {
        cleaned_ = true;
      } else {
        if (zeros_) sink_({{}, true, true});
        zeros_ = false;
        line_ += byte;
      }
    }
  }

  void Emit(bool ended) {
    if (line_.ends_with('\r')) line_.pop_back();
    sink_({line_, cleaned_ || zeros_, ended});
    line_.clear();
    cleaned_ = zeros_ = false;
  }

  const LineSink& sink_;
  std::string line_;
  bool zeros_ = false;    ///< at the line's begin, where they do no harm to what follows
  bool cleaned_ = false;  ///< within it
};

}  // namespace

bool ReadLines(const std::string& fileName, std::uint64_t& bytes, const LineSink& sink) {
  InputFile file;
  if (!file.Open(fileName)) return false;
  bytes = static_cast<std::uint64_t>(std::max<std::int64_t>(file.Size(), 0));
  std::vector<char> piece(64 * 1024);
  LineSplitter splitter(sink);
  for (std::uint64_t place = 0; place < bytes;) {
    const auto room =
        std::as_writable_bytes(std::span(piece))
            .first(static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), bytes - place)));
    const std::size_t got = file.ReadAt(place, room);
    if (got == 0) break;
    splitter.Feed({piece.data(), got});
    place += got;
  }
  splitter.End();
  return true;
}

void SplitLines(std::string_view text, const LineSink& sink) {
  LineSplitter splitter(sink);
  splitter.Feed(text);
  splitter.End();
}

}  // namespace kestrune::report
