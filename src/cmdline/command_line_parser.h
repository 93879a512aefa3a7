#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kestrune {

/// The program's arguments, split into options (first character '-' or '/') and words (everything else).
/// Nothing is merged or rejected; the order of the command line is kept.
class CZvCommandLineParser {
 public:
  /// `argv[0]` is the program's name and is skipped.
  CZvCommandLineParser(int argc, const char* const* argv);
  virtual ~CZvCommandLineParser() = default;

  /// Is this word present? Letter case (ASCII) doesn't matter.
  bool HasWord(std::string_view word) const;

  /// Is there an option of this name, with or without a value? An option's name ends at its first '='. Letter
  /// case (ASCII) doesn't matter.
  bool HasOption(std::string_view key) const;

  /// What stands behind the first '=' of the first option that begins with `key`, letter case included, and
  /// holds a '='; empty without such an option. So "-snx=1" answers for "sn", and "-SN=1" doesn't.
  std::string GetValue(std::string_view key) const;

  /// The low eight bits of the number in option "hw", read as by atoi; 0 when the option is absent or empty.
  std::uint8_t GetHardwareIndex() const;

 private:
  std::uint32_t wordCount_ = 0;
  std::uint32_t optionCount_ = 0;
  std::string commandLine_;  ///< every argument, a blank behind each
  std::vector<std::string> options_;
  std::vector<std::string> words_;
};

}  // namespace kestrune
