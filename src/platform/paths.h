#pragma once

#include <string>
#include <string_view>

namespace kestrune {

/// `folder` ready to be followed by a file name: with a backslash behind it unless it is empty (the current
/// working directory) or ends in one. Only the backslash counts as a separator, on every platform.
std::string WithSeparator(std::string folder);

/// A name as the operating system opens it: where that knows only the slash, every backslash becomes one.
std::string NativePath(std::string name);

/// A text whose lines end in line feeds, with the line ends of the operating system's text files.
std::string NativeLines(std::string_view text);

/// Does this name, as the operating system opens it, lead to a folder?
bool IsFolder(const std::string& name);

/// Do two names, as the operating system opens them, lead to one existing file, by whatever spellings and
/// links? False when either leads nowhere.
bool IsSameFile(const std::string& left, const std::string& right);

}  // namespace kestrune
