#pragma once

#include <string>

namespace kestrune {

/// `folder` ready to be followed by a file name: with a backslash behind it unless it is empty (the current
/// working directory) or ends in one. Only the backslash counts as a separator, on every platform.
std::string WithSeparator(std::string folder);

/// A name as the operating system opens it: where that knows only the slash, every backslash becomes one.
std::string NativePath(std::string name);

}  // namespace kestrune
