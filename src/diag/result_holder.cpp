#include "diag/result_holder.h"

#include <cwchar>

#include "platform/trace.h"

namespace kestrune {
namespace {

constexpr std::uint32_t enableFlag = 1;
constexpr std::uint32_t messageFlags =
    traceMessageSequence | traceMessageGuid | traceMessageTimestamp | traceMessageSystemInfo;
constexpr std::uint16_t failureMessageNumber = 10;
constexpr GUID messageGuid = {0xD69098CD, 0x3D8E, 0x3B6A, {0x0E, 0x79, 0x8E, 0x51, 0xE1, 0xE4, 0x5F, 0xC9}};

}  // namespace

void ResultHolder::TraceUntolerated() const {
  if (tolerated_.contains(code_)) return;
  const TraceProvider* provider = traceControl;
  if (provider == nullptr || (provider->enableFlags & enableFlag) == 0 ||
      provider->level < traceLevelInformation) {
    return;
  }
  const wchar_t* text = GetResultText(static_cast<std::uint32_t>(code_));
  if (text == nullptr) text = L"NULL";
  const TraceSink trace = provider->sink != nullptr ? provider->sink : SystemTraceSink;
  trace(provider->logger, messageFlags, messageGuid, failureMessageNumber, text,
        (std::wcslen(text) + 1) * sizeof(wchar_t));
}

}  // namespace kestrune
