#include "monitor/card_events.h"

#include <array>
#include <string>

#include "diag/status.h"
#include "monitor/event_documents.h"
#include "platform/clock.h"
#include "platform/console.h"

namespace kestrune {

ResultHolder CardEvents::WriteInitialState() {
  ResultHolder result = WriteInitialGenlockStatus();
  if (result.Succeeded()) result = WriteInitialSt2059Status();
  if (result.Succeeded()) result = WriteInitialSfpIpStatus();
  return result;
}

ResultHolder CardEvents::WriteInitialGenlockStatus() {
  auto status = MakeRecord<GenlockStatus>();
  const ResultHolder result = card_.Genlock().GetStatus(&status);
  if (result.Succeeded()) {
    HandleGenlockStatus(status, true);
  } else {
    PrintStatus("Could not get genlock status", result.Code());
  }
  return result;
}

ResultHolder CardEvents::WriteInitialSt2059Status() {
  auto status = MakeRecord<St2059Status>();
  const ResultHolder result = card_.Smpte2059().GetStatus(&status);
  if (result.Succeeded()) {
    HandleSt2059Status(status, true);
  } else {
    PrintStatus("Could not get ST2059 status", result.Code());
  }
  return result;
}

ResultHolder CardEvents::WriteInitialSfpIpStatus() {
  ResultHolder result;
  for (std::uint32_t sfpNumber = 1; sfpNumber <= CardConnection::sfpCount && result.Succeeded();
       ++sfpNumber) {
    auto status = MakeRecord<SfpIpStatus>();
    result = card_.SfpIp(sfpNumber - 1).GetStatus(&status);
    if (result.Succeeded()) HandleSfpIpStatus(sfpNumber, status, true);
  }
  if (result.Failed()) PrintStatus("Could not get SFPs IP status", result.Code());
  return result;
}

void CardEvents::HandleGenlockStatus(const GenlockStatus& status, bool initial) {
  log_.WriteEvent(BuildGenlockStatusDocument(status));
  HandleGenlockSettings(initial);
  if (!initial) PrintTimed(": Genlock status has changed");
}

void CardEvents::HandleGenlockSettings(bool initial) {
  auto settings = MakeRecord<GenlockSettings>();
  const ResultHolder result = card_.Genlock().GetSettings(&settings);
  if (result.Failed()) {
    PrintStatus("Could not get genlock settings", result.Code());
    return;
  }
  if (settings.source == genlockSource_ && settings.resolutionFrameRate == genlockFrameRate_) return;

  genlockSource_ = settings.source;
  genlockFrameRate_ = settings.resolutionFrameRate;
  log_.WriteEvent(BuildGenlockSettingsDocument(settings));
  if (!initial) PrintTimed(": Genlock settings have changed");
}

void CardEvents::HandleSt2059Status(const St2059Status& status, bool initial) {
  auto settings = MakeRecord<St2059Settings>();
  const ResultHolder result = card_.Smpte2059().GetSettings(&settings);
  if (result.Failed()) {
    // Names the SFP IP status although it is the settings that could not be read: users know the line so.
    PrintStatus("Could not get SFP IP status and/or settings", result.Code());
    return;
  }
  log_.WriteEvent(BuildSt2059Document(status, settings));
  WriteSfpSt2059Statuses();
  if (!initial) PrintTimed(": ST 2059 status has changed");
}

void CardEvents::WriteSfpSt2059Statuses() {
  if (!card_.HasSt2059Sfps()) return;

  std::array<St2059SfpStatus, CardConnection::sfpCount> statuses{};
  for (std::size_t i = 0; i < statuses.size(); ++i) {
    statuses[i] = MakeRecord<St2059SfpStatus>();
    const ResultHolder result = card_.St2059Sfp(i).GetStatus(&statuses[i]);
    if (result.Failed()) return;
  }
  for (std::uint32_t i = 0; i < statuses.size(); ++i)
    log_.WriteEvent(BuildSfpSt2059Document(i + 1, statuses[i]));
}

void CardEvents::HandleSfpIpStatus(std::uint32_t sfpNumber, const SfpIpStatus& status, bool initial) {
  log_.WriteEvent(BuildSfpIpStatusDocument(sfpNumber, status));
  if (!initial) PrintTimed(": SFP IP status has changed");
}

void CardEvents::PrintTimed(const char* text) {
  const MutexLock lock(consoleMutex_);
  PrintToConsole(LocalTimeText() + text + '\n');
}

}  // namespace kestrune
