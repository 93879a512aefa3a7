#include "diag/status.h"

#include <string>

#include "diag/result_codes.h"
#include "platform/clock.h"
#include "platform/console.h"

namespace kestrune {
namespace {

/// Keeps the low eight bits of each unit.
std::string Narrow(const wchar_t* wide) {
  std::string narrow;
  for (; *wide != L'\0'; ++wide) narrow += static_cast<char>(*wide & 0xFF);
  return narrow;
}

}  // namespace

void PrintStatus(const char* text, HRESULT code) {
  const std::string codeText = Narrow(GetResultText(static_cast<std::uint32_t>(code)));
  PrintToConsole(LocalTimeText() + ": " + text + " : " + codeText + '\n');
}

}  // namespace kestrune
