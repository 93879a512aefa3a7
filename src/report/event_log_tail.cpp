#include "report/event_log_tail.h"

#include <algorithm>
#include <iterator>
#include <span>

#include "platform/input_file.h"

namespace kestrune::report {
namespace {

/// More than lies between a second and the documents that it is judged by.
constexpr std::int64_t margin = 60;

void Restore(const std::vector<LoggedRun>& from, EventLog& log, Runs& runs) {
  for (const LoggedRun& run : from) runs.Set(run.from, log.texts.IndexOf(run.text));
}

void Keep(const Runs& runs, const EventLog& log, std::vector<LoggedRun>& into) {
  into.clear();
  for (const Run& run : runs.All()) into.push_back({run.from, log.texts[run.value]});
}

void ForgetRuns(std::int64_t time, std::vector<LoggedRun>& runs) {
  while (runs.size() > 1 && runs[1].from <= time) runs.erase(runs.begin());
}

std::string ReadFrom(const std::string& fileName, std::uint64_t place) {
  std::string text;
  InputFile file;
  if (!file.Open(fileName) || file.Size() < static_cast<std::int64_t>(place)) return text;
  text.resize(static_cast<std::size_t>(file.Size()) - place);
  text.resize(file.ReadAt(place, std::as_writable_bytes(std::span(text))));
  return text;
}

/// The length of what stands before the line behind the last document's end.
std::size_t WholeDocuments(std::string_view text) {
  const std::size_t end = text.rfind("\n}");
  const std::size_t lineEnd = end == std::string_view::npos ? end : text.find('\n', end + 1);
  return lineEnd == std::string_view::npos ? 0 : lineEnd + 1;
}

}  // namespace

EventLog ReadEventLogOn(const std::string& fileName, EventLogMemory& memory) {
  EventLog log;
  log.starts = memory.starts;
  Restore(memory.card, log, log.card);
  Restore(memory.followed, log, log.bestSfp);
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) Restore(memory.link[sfp], log, log.link[sfp]);
  std::string text = ReadFrom(fileName, memory.place);
  text.resize(WholeDocuments(text));
  ContinueEventLog(text, log);
  memory.place += text.size();
  memory.starts = log.starts;
  Keep(log.card, log, memory.card);
  Keep(log.bestSfp, log, memory.followed);
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) Keep(log.link[sfp], log, memory.link[sfp]);
  return log;
}

void ForgetBefore(std::int64_t time, EventLogMemory& memory) {
  // The last of the old ones stays: to a log that knows of starts, a pause without one is no new run.
  const auto later =
      std::ranges::find_if(memory.starts, [&](std::int64_t start) { return start >= time - margin; });
  if (later != memory.starts.begin()) memory.starts.erase(memory.starts.begin(), std::prev(later));
  ForgetRuns(time - margin, memory.card);
  ForgetRuns(time - margin, memory.followed);
  for (auto& link : memory.link) ForgetRuns(time - margin, link);
}

}  // namespace kestrune::report
