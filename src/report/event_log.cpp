#include "report/event_log.h"

#include <rapidjson/document.h>

#include <array>
#include <cstdlib>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "files/code_texts.h"
#include "report/lines.h"

namespace kestrune::report {
namespace {

constexpr std::size_t longestDocument = 16'384;
constexpr std::int64_t earliestTime = 946'684'800;  // 2000-01-01
constexpr std::int64_t latestTime = 4'102'444'800;  // 2100-01-01

/// One parsed document.
class EventDocument {
 public:
  /// False for anything but a document with its three leading members.
  bool Parse(const std::string& text) {
    json_.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
    if (json_.HasParseError() || !json_.IsObject()) return false;
    if (!json_.HasMember(event_members::epochTime)) return false;
    const rapidjson::Value& epoch = json_[event_members::epochTime];
    if (!epoch.IsInt64()) return false;
    time_ = epoch.GetInt64();
    const auto type = CodeOf(eventLogTypes, Text(event_members::eventLogType));
    if (!type || time_ < earliestTime || time_ >= latestTime) return false;
    type_ = static_cast<EventLogType>(*type);
    return true;
  }

  std::int64_t Time() const { return time_; }
  EventLogType Type() const { return type_; }

  std::string_view Text(const char* member) const {
    if (!json_.HasMember(member)) return {};
    const rapidjson::Value& value = json_[member];
    if (!value.IsString()) return {};
    return {value.GetString(), value.GetStringLength()};
  }

  /// SFP index; -1 for a document of no SFP.
  int Sfp() const {
    const auto code = CodeOf(sfpLabels, Text(event_members::sfp));
    return code ? static_cast<int>(*code) : -1;
  }

 private:
  rapidjson::Document json_;
  std::int64_t time_ = 0;
  EventLogType type_ = EventLogType::StartOfMonitoring;
};

std::string LinkText(const EventDocument& document) {
  if (document.Text(event_members::modulePresent) != "true") return "no module";
  if (document.Text(event_members::signalPresent) != "true") return "no signal";
  return document.Text(event_members::transmitError) == "true" ? "transmit error" : std::string(linkUpText);
}

std::int32_t StateCode(std::string_view text) {
  const auto code = CodeOf(st2059States, text);
  return code ? static_cast<std::int32_t>(*code) : -1;
}

/// Finds the documents of a log by its lines: one begins where a line begins with "{" and ends where one
/// begins with
/// "}". Another beginning within it means that it broke off.
class EventLogReader {
 public:
  EventLogReader(EventLog& log, TimeZone& zone) : log_(log), zone_(zone) {}

  void Take(const Line& line) {
    if (line.text.empty() && !line.cleaned) return;
    if (line.text.starts_with('{')) {
      if (open_) ++log_.damaged;
      Open();
    } else if (!open_) {
      if (!stray_) ++log_.damaged;  // once for all lines in a row
      stray_ = true;
      return;
    }
    cleaned_ |= line.cleaned;
    if (text_.size() < longestDocument) text_.append(line.text).append("\n");
    const bool oneLine = line.text.starts_with('{') && line.text.ends_with('}');
    if (line.text.starts_with('}') || oneLine) Close();
  }

  void End() {
    if (open_) log_.unended = true;
    if (HoldsEarlier()) LeaveOut();
    Release();
  }

 private:
  using Name = std::pair<EventLogType, int>;

  static constexpr std::int64_t far = 3600;  ///< seconds
  static constexpr std::size_t company = 5;  ///< so many documents of another time are believed

  void Open() {
    open_ = true;
    stray_ = false;
    cleaned_ = false;
    text_.clear();
  }

  void Close() {
    open_ = false;
    EventDocument document;
    if (cleaned_ || !document.Parse(text_)) {
      ++log_.damaged;
      return;
    }
    ++log_.documents;
    Offer(std::move(document));
  }

  static bool IsFar(std::int64_t left, std::int64_t right) { return std::llabs(left - right) > far; }

  /// Do the held ones lie far before the last one that was taken?
  bool HoldsEarlier() const { return !held_.empty() && anyTaken_ && held_.back().Time() < lastTime_ - far; }

  /// Is this time back where the log was before the held ones?
  bool IsBack(std::int64_t time) const {
    if (HoldsEarlier()) return time >= lastTime_ - far;
    return time < held_.back().Time() && (anyTaken_ ? time >= lastTime_ - far : held_.size() == 1);
  }

  /// A document far from the one before waits for those behind it: when their time is back where it was, it
  /// has a wild one.
  void Offer(EventDocument document) {
    const std::int64_t time = document.Time();
    if (!held_.empty() && IsFar(time, held_.back().Time())) {
      if (IsBack(time)) {
        LeaveOut();
      } else if (!HoldsEarlier()) {
        Release();
      }
    }
    held_.push_back(std::move(document));
    if (held_.size() >= company || (anyTaken_ && !IsFar(time, lastTime_))) Release();
  }

  void LeaveOut() {
    log_.wild += held_.size();
    held_.clear();
  }

  void Release() {
    for (const EventDocument& document : held_) {
      if (anyTaken_ && document.Time() < lastTime_) ++log_.backward;
      anyTaken_ = true;
      lastTime_ = document.Time();
      zone_.Add(document.Time(), document.Text(event_members::time));
      Understand(document);
    }
    held_.clear();
  }

  void Understand(const EventDocument& document) {
    const std::int64_t time = document.Time();
    switch (document.Type()) {
      case EventLogType::StartOfMonitoring:
        log_.starts.push_back(time);
        return Add(document, "Monitoring starts");
      case EventLogType::EndOfMonitoring:
        log_.ends.push_back(time);
        return Add(document, "Monitoring ends");
      case EventLogType::GenlockStatus:
        return Tell(document, log_.genlock, "Genlock ", document.Text(event_members::genlockState));
      case EventLogType::GenlockSettings:
        return Tell(document, log_.genlockSource, "Genlock source ",
                    std::string(document.Text(event_members::genlockSource)) + ", " +
                        std::string(document.Text(event_members::genlockFrameRate)));
      case EventLogType::St2059:
        return UnderstandCard(document);
      case EventLogType::SfpIpStatus:
        if (document.Sfp() >= 0) {
          Tell(document, log_.link[Sfp(document)], SfpLabelText(Number(document)) + " ", LinkText(document));
        }
        return;
      case EventLogType::SfpSt2059:
        if (document.Sfp() >= 0) UnderstandSfp(document);
        return;
    }
  }

  void UnderstandCard(const EventDocument& document) {
    const std::int64_t time = document.Time();
    log_.bestSfp.Set(time, log_.texts.IndexOf(document.Text(event_members::bestMasterSfp)));
    log_.cardGrandmaster.Set(time, log_.texts.IndexOf(document.Text(event_members::grandMasterClockId)));
    log_.card.Set(time, log_.texts.IndexOf(document.Text(event_members::state)));
    Add(document, "Card " + std::string(document.Text(event_members::state)) + " through " +
                      std::string(document.Text(event_members::bestMasterSfp)));
  }

  void UnderstandSfp(const EventDocument& document) {
    const std::int64_t time = document.Time();
    const std::string_view state = document.Text(event_members::state);
    const std::string_view grandmaster = document.Text(event_members::grandMasterClockId);
    log_.sfpState[Sfp(document)].Set(time, StateCode(state));
    log_.sfpGrandmaster[Sfp(document)].Set(time, log_.texts.IndexOf(grandmaster));
    Add(document, SfpLabelText(Number(document)) + " " + std::string(state) + ", grandmaster " +
                      std::string(grandmaster));
  }

  void Tell(const EventDocument& document, Runs& runs, std::string_view what, std::string_view value) {
    runs.Set(document.Time(), log_.texts.IndexOf(value));
    Add(document, std::string(what) + std::string(value));
  }

  void Add(const EventDocument& document, const std::string& text) {
    const std::int32_t index = log_.texts.IndexOf(text);
    const Name name{document.Type(), document.Sfp()};
    const bool isState = document.Type() != EventLogType::StartOfMonitoring &&
                         document.Type() != EventLogType::EndOfMonitoring;
    if (const auto last = last_.find(name); isState && last != last_.end() && last->second == index) {
      ++log_.repeated;
    } else if (log_.events.size() == EventLog::limit) {
      ++log_.dropped;
    } else {
      log_.events.push_back(
          {document.Time(), document.Type(), static_cast<std::int8_t>(document.Sfp()), index});
    }
    last_[name] = index;
  }

  static std::size_t Sfp(const EventDocument& document) { return static_cast<std::size_t>(document.Sfp()); }
  static std::uint32_t Number(const EventDocument& document) {
    return static_cast<std::uint32_t>(document.Sfp());
  }

  EventLog& log_;
  TimeZone& zone_;
  std::string text_;
  bool open_ = false;
  bool stray_ = false;
  bool cleaned_ = false;
  bool anyTaken_ = false;
  std::int64_t lastTime_ = 0;        ///< of the last document that was taken
  std::vector<EventDocument> held_;  ///< behind it, of another time
  std::map<Name, std::int32_t> last_;
};

}  // namespace

std::int32_t Texts::IndexOf(std::string_view text) {
  const std::string key(text.substr(0, longest));
  if (const auto known = index_.find(key); known != index_.end()) return known->second;
  if (texts_.size() == most) return 0;
  const auto index = static_cast<std::int32_t>(texts_.size());
  texts_.push_back(key);
  index_.emplace(key, index);
  return index;
}

std::uint64_t EventLog::DroppedChanges() const {
  std::uint64_t changes = 0;
  for (const Runs* runs : {&genlock, &genlockSource, &card, &bestSfp, &cardGrandmaster, &link[0], &link[1],
                           &sfpState[0], &sfpState[1], &sfpGrandmaster[0], &sfpGrandmaster[1]})
    changes += runs->Dropped();
  return changes;
}

EventLog ReadEventLog(const std::string& fileName, TimeZone& zone) {
  EventLog log;
  EventLogReader reader(log, zone);
  log.present = ReadLines(fileName, log.bytes, [&](const Line& line) { reader.Take(line); });
  reader.End();
  return log;
}

EventLog ParseEventLog(std::string_view text, TimeZone& zone) {
  EventLog log;
  EventLogReader reader(log, zone);
  log.present = true;
  log.bytes = text.size();
  SplitLines(text, [&](const Line& line) { reader.Take(line); });
  reader.End();
  return log;
}

void ContinueEventLog(std::string_view text, EventLog& log) {
  TimeZone zone;
  EventLogReader reader(log, zone);
  log.present = true;
  SplitLines(text, [&](const Line& line) { reader.Take(line); });
  reader.End();
}

}  // namespace kestrune::report
