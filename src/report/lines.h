#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace kestrune::report {

/// A line of a text, whatever its line end, without bytes of value 0 (which a power cut leaves behind). Those
/// before its first character make an empty line of their own.
struct Line {
  std::string_view text;
  bool cleaned = false;  ///< were there bytes of value 0, or was it too long and is cut?
  bool ended = true;     ///< false for what stands behind the last line end
};
using LineSink = std::function<void(const Line& line)>;

/// A line longer than this is cut.
inline constexpr std::size_t longestLine = 16'384;

/// Gives `sink` every line of a text file; its bytes are put into `bytes`. False when it can't be opened.
bool ReadLines(const std::string& fileName, std::uint64_t& bytes, const LineSink& sink);
/// The same of a text.
void SplitLines(std::string_view text, const LineSink& sink);

}  // namespace kestrune::report
