#pragma once

#include <string_view>

namespace kestrune {

/// Is standard error a terminal?
bool IsErrorTerminal();

/// Writes to standard error; a failure is ignored.
void WriteStandardError(std::string_view text);

}  // namespace kestrune
