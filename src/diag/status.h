#pragma once

#include "platform/com.h"

namespace kestrune {

/// Prints the console's status line: local time, ": ", `text`, " : " and the code's text. From any thread; a
/// failing standard output is ignored.
void PrintStatus(const char* text, HRESULT code);

}  // namespace kestrune
