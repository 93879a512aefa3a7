#pragma once

#include "platform/com.h"

namespace kestrune {

/// Prints the console's status line: local time, ": ", `text`, " : " and the code's text. From any thread;
/// what becomes of it on a failing console is the console's business.
void PrintStatus(const char* text, HRESULT code);

}  // namespace kestrune
