#include "report/changes.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <tuple>
#include <utility>

#include "report/logged_states.h"
#include "report/texts.h"

namespace kestrune::report {
namespace {

/// Seconds between a change in the records and its document, or the same change on the other SFP.
constexpr std::int64_t margin = 10;

std::string Number(std::int64_t value) { return GroupedText(value); }
std::string YesNo(std::int64_t value) { return value != 0 ? "yes" : "no"; }
std::string Interval(std::int64_t log2) { return "2^" + std::to_string(log2) + " s"; }
std::string UtcOffset(std::int64_t seconds) { return std::to_string(seconds) + "\u00a0s"; }
std::string LeapText(std::int64_t flags) {
  static constexpr const char* texts[] = {"none", "59 s", "61 s", "both"};
  return texts[flags & 3];
}
std::string TraceableText(std::int64_t flags) {
  static constexpr const char* texts[] = {"no", "time", "frequency", "time and frequency"};
  return texts[flags & 3];
}
std::int64_t Bits(std::uint32_t low, std::uint32_t high) { return (low != 0 ? 1 : 0) | (high != 0 ? 2 : 0); }

using Value = std::int64_t (*)(const Master&);

struct FieldRow {
  std::string_view name;
  Value value;
  std::string (*text)(std::int64_t);
  Severity severity;  ///< of a change that nobody logged
};

// By MasterField. Identities are compared as numbers and never calculated with.
constexpr FieldRow fieldRows[] = {
    {"grandmaster", [](const Master& m) { return static_cast<std::int64_t>(m.grandmaster); },
     [](std::int64_t v) { return IdentityText(static_cast<std::uint64_t>(v)); }, Severity::Warn},
    {"sender (MAC)", [](const Master& m) { return static_cast<std::int64_t>(m.sender); },
     [](std::int64_t v) { return IdentityText(static_cast<std::uint64_t>(v)); }, Severity::Warn},
    {"address", [](const Master& m) { return std::int64_t{m.address}; },
     [](std::int64_t v) { return AddressText(static_cast<std::uint32_t>(v)); }, Severity::Warn},
    {"domain", [](const Master& m) { return std::int64_t{m.domain}; }, Number, Severity::Warn},
    {"clock class", [](const Master& m) { return std::int64_t{m.clockClass}; }, Number, Severity::Warn},
    {"UTC offset", [](const Master& m) { return std::int64_t{m.utcOffset}; }, UtcOffset, Severity::Warn},
    {"steps removed", [](const Master& m) { return std::int64_t{m.stepsRemoved}; }, Number, Severity::Warn},
    {"time source", [](const Master& m) { return std::int64_t{m.timeSource}; },
     [](std::int64_t v) { return TimeSourceText(static_cast<std::uint32_t>(v)); }, Severity::Warn},
    {"clock accuracy", [](const Master& m) { return std::int64_t{m.accuracy}; }, Number, Severity::Info},
    {"variance", [](const Master& m) { return std::int64_t{m.variance}; }, Number, Severity::Info},
    {"priority 1", [](const Master& m) { return std::int64_t{m.priority1}; }, Number, Severity::Info},
    {"priority 2", [](const Master& m) { return std::int64_t{m.priority2}; }, Number, Severity::Info},
    {"UTC offset valid", [](const Master& m) { return Bits(m.utcOffsetValid, 0); }, YesNo, Severity::Warn},
    {"leap second announced", [](const Master& m) { return Bits(m.leap59, m.leap61); }, LeapText,
     Severity::Info},
    {"traceable", [](const Master& m) { return Bits(m.timeTraceable, m.frequencyTraceable); }, TraceableText,
     Severity::Warn},
    {"PTP time scale", [](const Master& m) { return Bits(m.ptpTimescale, 0); }, YesNo, Severity::Warn},
    {"two-step", [](const Master& m) { return Bits(m.twoStep, 0); }, YesNo, Severity::Info},
    {"Announce interval", [](const Master& m) { return std::int64_t{m.logAnnounceInterval}; }, Interval,
     Severity::Warn},
    {"Sync interval", [](const Master& m) { return std::int64_t{m.logSyncInterval}; }, Interval,
     Severity::Warn},
    {"Delay_Req interval", [](const Master& m) { return std::int64_t{m.logDelayReqInterval}; }, Interval,
     Severity::Warn},
};

const FieldRow& Row(MasterField field) { return fieldRows[static_cast<std::size_t>(field)]; }

/// Collects changes; the same of both SFPs, and the same again, is one.
class ChangeList {
 public:
  void Add(Change change) {
    Entry& entry = entries_[{change.what, change.from, change.to}];
    ++entry.counts[static_cast<std::size_t>(change.sfp)];
    if (entry.change.what.empty()) {
      change.until = change.time;
      entry.change = std::move(change);
    } else {
      if (entry.change.sfp != change.sfp) entry.change.sfp = -1;
      entry.change.time = std::min(entry.change.time, change.time);
      entry.change.until = std::max(entry.change.until, change.time);
    }
  }

  std::vector<Change> Take() const {
    std::vector<Change> changes;
    for (const auto& [key, entry] : entries_) {
      changes.push_back(entry.change);
      changes.back().count = std::max(entry.counts[0], entry.counts[1]);
    }
    std::ranges::stable_sort(changes, {}, &Change::time);
    return changes;
  }

 private:
  struct Entry {
    Change change;
    std::array<std::int64_t, sfpCount> counts{};
  };
  std::map<std::tuple<std::string, std::string, std::string>, Entry> entries_;
};

/// Is there a document of this SFP's ST 2059 state near this time?
class DocumentTimes {
 public:
  DocumentTimes(const EventLog& log, int sfp) {
    for (const Event& event : log.events) {
      if (event.type == EventLogType::SfpSt2059 && event.sfp == sfp) times_.push_back(event.time);
    }
    std::ranges::sort(times_);
  }
  bool Near(std::int64_t time) const {
    const auto found = std::ranges::lower_bound(times_, time - margin);
    return found != times_.end() && *found <= time + margin;
  }

 private:
  std::vector<std::int64_t> times_;
};

/// Documents tell the grandmaster and the sender; of the other fields nothing.
bool StandsInDocuments(MasterField field) {
  return field == MasterField::Grandmaster || field == MasterField::Sender;
}

void AddMasterChanges(const Recording& recording, int sfp, ChangeList& changes) {
  const DocumentTimes documents(recording.eventLog, sfp);
  ForEachMasterChange(recording, sfp, [&](std::int64_t time, std::int32_t before, std::int32_t after) {
    const Master& from = recording.masters[static_cast<std::size_t>(before)];
    const Master& to = recording.masters[static_cast<std::size_t>(after)];
    for (const MasterField field : DifferingFields(from, to)) {
      if (StandsInDocuments(field) && (!recording.eventLog.present || documents.Near(time))) continue;
      const std::string of =
          field == MasterField::Grandmaster ? "" : " of " + ShortIdentityText(to.grandmaster);
      changes.Add({time, time, 1, sfp, std::string(FieldName(field)) + of, FieldText(field, from),
                   FieldText(field, to), Row(field).severity});
    }
  });
}

/// Calls tell(from, to, left, right) for each stretch of [begin, end) in which neither of two runs changes.
template <typename Tell>
void ForEachCommonRun(const Runs& left, const Runs& right, std::int64_t begin, std::int64_t end, Tell tell) {
  std::vector<std::int64_t> edges = {begin, end};
  for (const Runs* runs : {&left, &right}) {
    for (const Run& run : runs->All()) {
      if (run.from > begin && run.from < end) edges.push_back(run.from);
    }
  }
  std::ranges::sort(edges);
  RunCursor leftAt(left);
  RunCursor rightAt(right);
  for (std::size_t i = 0; i + 1 < edges.size(); ++i) {
    if (edges[i] == edges[i + 1]) continue;
    tell(edges[i], edges[i + 1], leftAt.At(edges[i], 0), rightAt.At(edges[i], 0));
  }
}

/// An SFP's state by the documents against that of the records.
void AddStateContradictions(const Recording& recording, int sfp, ChangeList& changes) {
  const SfpRecording& records = recording.sfp[static_cast<std::size_t>(sfp)];
  const Runs& logged = recording.eventLog.sfpState[static_cast<std::size_t>(sfp)];
  ForEachCommonRun(logged, records.state, records.first, records.end,
                   [&](std::int64_t from, std::int64_t to, std::int32_t document, std::int32_t record) {
                     if (document <= 0 || record <= 0 || document == record || to - from <= margin) return;
                     changes.Add({from, from, 1, sfp, "state, document against records",
                                  PortStateText(document), PortStateText(record), Severity::Warn});
                   });
}

/// An SFP whose link is down by the documents and that is locked by its records.
void AddLinkContradictions(const Recording& recording, int sfp, ChangeList& changes) {
  constexpr std::int32_t lockedState = 10;
  const EventLog& log = recording.eventLog;
  const SfpRecording& records = recording.sfp[static_cast<std::size_t>(sfp)];
  const std::int32_t up = NumberOf(log, linkIsUp);
  ForEachCommonRun(log.link[static_cast<std::size_t>(sfp)], records.state, records.first, records.end,
                   [&](std::int64_t from, std::int64_t to, std::int32_t link, std::int32_t state) {
                     if (link <= 0 || link == up || state != lockedState || to - from <= margin) return;
                     changes.Add({from, from, 1, sfp, "link, document against records", log.texts[link],
                                  PortStateText(state), Severity::Warn});
                   });
}

bool WithinRange(std::int32_t value, std::int32_t least, std::int32_t greatest) {
  return value >= least && value <= greatest;
}

}  // namespace

std::string_view FieldName(MasterField field) { return Row(field).name; }

std::string FieldText(MasterField field, const Master& master) {
  return Row(field).text(Row(field).value(master));
}

std::vector<MasterField> DifferingFields(const Master& before, const Master& after) {
  std::vector<MasterField> fields;
  const bool sameGrandmaster = before.grandmaster == after.grandmaster;
  for (std::size_t i = 0; i < std::size(fieldRows); ++i) {
    const auto field = static_cast<MasterField>(i);
    const bool counts =
        sameGrandmaster || field == MasterField::Grandmaster || field == MasterField::UtcOffset;
    if (counts && fieldRows[i].value(before) != fieldRows[i].value(after)) fields.push_back(field);
  }
  return fields;
}

bool ChangesUtcOffsetUnannounced(const Master& before, const Master& after) {
  const std::int64_t by = std::int64_t{after.utcOffset} - before.utcOffset;
  if (by == 0) return false;
  const bool announced = (by == 1 && before.leap61 != 0) || (by == -1 && before.leap59 != 0);
  return !announced;
}

std::vector<std::string> OutsideProfile(const Master& master) {
  std::vector<std::string> outside;
  const auto check = [&](MasterField field, bool within) {
    if (!within) outside.push_back(std::string(FieldName(field)) + ' ' + FieldText(field, master));
  };
  check(MasterField::Domain, master.domain <= 127);
  check(MasterField::AnnounceInterval, WithinRange(master.logAnnounceInterval, -3, 1));
  check(MasterField::SyncInterval, WithinRange(master.logSyncInterval, -7, -1));
  check(MasterField::DelayReqInterval,
        WithinRange(master.logDelayReqInterval, master.logSyncInterval, master.logSyncInterval + 5));
  return outside;
}

void ForEachMasterChange(
    const Recording& recording, int sfp,
    const std::function<void(std::int64_t time, std::int32_t before, std::int32_t after)>& tell) {
  std::int32_t before = 0;
  for (const Run& run : recording.sfp[static_cast<std::size_t>(sfp)].master.All()) {
    if (run.value == 0 || recording.masters[static_cast<std::size_t>(run.value)].grandmaster == 0) continue;
    if (before != 0 && run.value != before) tell(run.from, before, run.value);
    before = run.value;
  }
}

std::vector<Change> FindChanges(const Recording& recording) {
  ChangeList changes;
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    AddMasterChanges(recording, sfp, changes);
    AddStateContradictions(recording, sfp, changes);
    AddLinkContradictions(recording, sfp, changes);
  }
  return changes.Take();
}

}  // namespace kestrune::report
