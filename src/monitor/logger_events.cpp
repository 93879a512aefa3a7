// The Logger's half that turns the card's state and its changes into event documents and alerts.

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <string>

#include "diag/status.h"
#include "monitor/logger.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/process.h"

namespace kestrune {

void Logger::OnGenlockStatusChange(const GenlockStatus& status) { HandleGenlockStatus(status, false); }

void Logger::OnSt2059StatusChange(const St2059Status& status) { HandleSt2059Status(status, false); }

void Logger::OnSfpIpStatusChange(IZvSfpIp& sfp, const SfpIpStatus& status) {
  HandleSfpIpStatus(sfp.GetSfpNumber(), status, false);
}

void Logger::WriteInitialState() {
  ResultHolder result = WriteInitialGenlockStatus();
  if (result.Succeeded()) result = WriteInitialSt2059Status();
  if (result.Succeeded()) result = WriteInitialSfpIpStatus();
  if (result.Failed()) EndProcess(-1);
}

ResultHolder Logger::WriteInitialGenlockStatus() {
  auto status = MakeRecord<GenlockStatus>();
  const ResultHolder result = genlockConfiguration_->GetStatus(&status);
  if (result.Succeeded()) {
    HandleGenlockStatus(status, true);
  } else {
    PrintStatus("Could not get genlock status", result.Code());
  }
  return result;
}

ResultHolder Logger::WriteInitialSt2059Status() {
  auto status = MakeRecord<St2059Status>();
  const ResultHolder result = smpte2059_->GetStatus(&status);
  if (result.Succeeded()) {
    HandleSt2059Status(status, true);
  } else {
    PrintStatus("Could not get ST2059 status", result.Code());
  }
  return result;
}

ResultHolder Logger::WriteInitialSfpIpStatus() {
  ResultHolder result;
  for (std::uint32_t sfpNumber = 1; sfpNumber <= sfpCount && result.Succeeded(); ++sfpNumber) {
    auto status = MakeRecord<SfpIpStatus>();
    result = sfpIps_[sfpNumber - 1]->GetStatus(&status);
    if (result.Succeeded()) HandleSfpIpStatus(sfpNumber, status, true);
  }
  if (result.Failed()) PrintStatus("Could not get SFPs IP status", result.Code());
  return result;
}

void Logger::HandleGenlockStatus(const GenlockStatus& status, bool initial) {
  WriteEvent(BuildGenlockStatusDocument(status));
  HandleGenlockSettings(initial);
  if (!initial) PrintTimed(": Genlock status has changed");
}

void Logger::HandleGenlockSettings(bool initial) {
  auto settings = MakeRecord<GenlockSettings>();
  const ResultHolder result = genlockConfiguration_->GetSettings(&settings);
  if (result.Failed()) {
    PrintStatus("Could not get genlock settings", result.Code());
    return;
  }
  if (settings.source == genlockSource_ && settings.resolutionFrameRate == genlockFrameRate_) return;

  genlockSource_ = settings.source;
  genlockFrameRate_ = settings.resolutionFrameRate;
  WriteEvent(BuildGenlockSettingsDocument(settings));
  if (!initial) PrintTimed(": Genlock settings have changed");
}

void Logger::HandleSt2059Status(const St2059Status& status, bool initial) {
  auto settings = MakeRecord<St2059Settings>();
  const ResultHolder result = smpte2059_->GetSettings(&settings);
  if (result.Failed()) {
    // Names the SFP IP status although it is the settings that could not be read: users know the line so.
    PrintStatus("Could not get SFP IP status and/or settings", result.Code());
    return;
  }
  WriteEvent(BuildSt2059Document(status, settings));
  WriteSfpSt2059Statuses();
  if (!initial) PrintTimed(": ST 2059 status has changed");
}

void Logger::WriteSfpSt2059Statuses() {
  // A change reported while the run is still being set up comes before the SFPs' interfaces.
  if (!st2059SfpsReady_) return;

  std::array<St2059SfpStatus, sfpCount> statuses{};
  for (std::size_t i = 0; i < sfpCount; ++i) {
    statuses[i] = MakeRecord<St2059SfpStatus>();
    const ResultHolder result = st2059Sfps_[i]->GetStatus(&statuses[i]);
    if (result.Failed()) return;
  }
  for (std::uint32_t i = 0; i < sfpCount; ++i) WriteEvent(BuildSfpSt2059Document(i + 1, statuses[i]));
}

void Logger::HandleSfpIpStatus(std::uint32_t sfpNumber, const SfpIpStatus& status, bool initial) {
  WriteEvent(BuildSfpIpStatusDocument(sfpNumber, status));
  if (!initial) PrintTimed(": SFP IP status has changed");
}

void Logger::WriteEvent(const rapidjson::Document& document) {
  rapidjson::StringBuffer text;
  rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(text);
  writer.SetIndent(' ', 4);
  document.Accept(writer);
  text.Put('\n');

  const std::lock_guard lock(eventLogMutex_);
  eventLogFile_.Append({text.GetString(), text.GetSize()});
}

void Logger::PrintTimed(const char* text) {
  const std::lock_guard lock(consoleMutex_);
  PrintToConsole(LocalTimeText() + text + '\n');
}

}  // namespace kestrune
