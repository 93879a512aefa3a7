#include "report/changes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <map>
#include <tuple>
#include <utility>

#include "files/code_texts.h"
#include "report/excursions.h"
#include "report/logged_states.h"
#include "report/record.h"
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

/// Collects changes; the same of both SFPs, and the same again, is one. So are those of many kinds behind the
/// first thousands.
class ChangeList {
 public:
  void Add(Change change) {
    Key key{change.what, change.from, change.to};
    if (entries_.size() >= mostKinds && !entries_.contains(key)) {
      change.what = "further changes, not told apart";
      change.from.clear();
      change.to.clear();
      key = {change.what, "", ""};
    }
    Entry& entry = entries_[key];
    ++entry.counts[static_cast<std::size_t>(change.sfp)];
    if (entry.change.what.empty()) {
      entry.change = std::move(change);
    } else {
      if (entry.change.sfp != change.sfp) entry.change.sfp = -1;
      entry.change.time = std::min(entry.change.time, change.time);
      entry.change.until = std::max(entry.change.until, change.until);
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
  using Key = std::tuple<std::string, std::string, std::string>;
  static constexpr std::size_t mostKinds = 4000;

  std::map<Key, Entry> entries_;
};

/// Is there a document of this SFP's ST 2059 state in this time, or near it?
class DocumentTimes {
 public:
  DocumentTimes(const EventLog& log, int sfp) {
    for (const Event& event : log.events) {
      if (event.type == EventLogType::SfpSt2059 && event.sfp == sfp) times_.push_back(event.time);
    }
    std::ranges::sort(times_);
  }
  bool HasOne(std::int64_t from, std::int64_t to) const {
    const auto found = std::ranges::lower_bound(times_, from - margin);
    return found != times_.end() && *found <= to + margin;
  }

 private:
  std::vector<std::int64_t> times_;
};

/// From when on there is no record of an SFP, up to this time; the time itself where there is no gap.
std::int64_t SilentSince(const Runs& state, std::int64_t time) {
  const std::vector<Run>& all = state.All();
  const auto run = std::ranges::partition_point(all, [&](const Run& other) { return other.from < time; });
  return run != all.begin() && (run - 1)->value == 0 ? (run - 1)->from : time;
}

/// Documents tell the grandmaster and the sender; of the other fields nothing.
bool StandsInDocuments(MasterField field) {
  return field == MasterField::Grandmaster || field == MasterField::Sender;
}

void AddMasterChanges(const Recording& recording, int sfp, ChangeList& changes) {
  const DocumentTimes documents(recording.eventLog, sfp);
  ForEachMasterChange(recording, sfp, [&](std::int64_t time, std::int32_t before, std::int32_t after) {
    const Master& from = recording.masters[static_cast<std::size_t>(before)];
    const Master& to = recording.masters[static_cast<std::size_t>(after)];
    const std::int64_t since = SilentSince(recording.sfp[static_cast<std::size_t>(sfp)].state, time);
    for (const MasterField field : DifferingFields(from, to)) {
      if (StandsInDocuments(field) && (!recording.eventLog.present || documents.HasOne(since, time)))
        continue;
      const std::string of =
          field == MasterField::Grandmaster ? "" : " of " + ShortIdentityText(to.grandmaster);
      changes.Add({time, time, 1, sfp, std::string(FieldName(field)) + of, FieldText(field, from),
                   FieldText(field, to), Row(field).severity});
    }
  });
}

/// Stretches in which a document says something else than the records.
class Contradictions {
 public:
  Contradictions(ChangeList& changes, int sfp, std::string_view what)
      : changes_(changes), sfp_(sfp), what_(std::string(what) + ", document against records") {}

  /// Stretches in the order of time; one that goes on with the same is the same.
  void Add(std::int64_t from, std::int64_t to, std::string document, std::string record) {
    if (open_.until == from && open_.from == document && open_.to == record) {
      open_.until = to;
      return;
    }
    Finish();
    open_ = {from, to, 1, sfp_, what_, std::move(document), std::move(record), Severity::Warn};
  }

  /// Behind the last stretch.
  void Finish() {
    if (open_.until - open_.time > margin) changes_.Add(std::move(open_));
    open_ = {};
  }

 private:
  ChangeList& changes_;
  int sfp_;
  std::string what_;
  Change open_;
};

/// An SFP's state by the documents against that of the records.
void AddStateContradictions(const Recording& recording, int sfp, ChangeList& changes) {
  const SfpRecording& records = recording.sfp[static_cast<std::size_t>(sfp)];
  const Runs& logged = recording.eventLog.sfpState[static_cast<std::size_t>(sfp)];
  Contradictions found(changes, sfp, "state");
  ForEachCommonRun<2>({&logged, &records.state}, records.first, records.end,
                      [&](std::int64_t from, std::int64_t to, const auto& values) {
                        const auto [document, record] = values;
                        if (document <= 0 || record <= 0 || document == record) return;
                        found.Add(from, to, PortStateText(document), PortStateText(record));
                      });
  found.Finish();
}

/// An SFP whose link is down by the documents and that is locked by its records.
void AddLinkContradictions(const Recording& recording, int sfp, ChangeList& changes) {
  constexpr std::int32_t lockedState = 10;
  const EventLog& log = recording.eventLog;
  const SfpRecording& records = recording.sfp[static_cast<std::size_t>(sfp)];
  const std::int32_t up = NumberOf(log, linkIsUp);
  Contradictions found(changes, sfp, "link");
  ForEachCommonRun<2>({&log.link[static_cast<std::size_t>(sfp)], &records.state}, records.first, records.end,
                      [&](std::int64_t from, std::int64_t to, const auto& values) {
                        const auto [link, state] = values;
                        if (link <= 0 || link == up || state != lockedState) return;
                        found.Add(from, to, log.texts[link], PortStateText(state));
                      });
  found.Finish();
}

/// A clock identity as a document has it, "0x80011fffe210001"; 0 for none.
std::uint64_t IdentityOf(std::string_view text) {
  std::uint64_t identity = 0;
  if (text.starts_with("0x")) text.remove_prefix(2);
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), identity, 16);
  return error == std::errc{} && end == text.data() + text.size() ? identity : 0;
}

/// Another grandmaster in a document of an SFP, or of the locked card that follows it, than in its records.
void AddGrandmasterContradictions(const Recording& recording, int sfp, ChangeList& changes) {
  const EventLog& log = recording.eventLog;
  const SfpRecording& records = recording.sfp[static_cast<std::size_t>(sfp)];
  const std::int32_t label = NumberOf(log, sfpLabels[sfp].text);
  const std::int32_t locked = NumberOf(log, lockedCard);
  Contradictions ofSfp(changes, sfp, "grandmaster");
  Contradictions ofCard(changes, sfp, "the card's grandmaster");
  const auto compare = [&](std::int64_t from, std::int64_t to, std::int32_t text, std::int32_t master,
                           Contradictions& found) {
    const std::uint64_t logged = IdentityOf(log.texts[text]);
    const std::uint64_t recorded = recording.masters[static_cast<std::size_t>(master)].grandmaster;
    if (logged == 0 || recorded == 0 || logged == recorded) return;
    found.Add(from, to, IdentityText(logged), IdentityText(recorded));
  };
  ForEachCommonRun<3>({&log.sfpGrandmaster[static_cast<std::size_t>(sfp)], &records.master, &records.state},
                      records.first, records.end,
                      [&](std::int64_t from, std::int64_t to, const auto& values) {
                        const auto [text, master, state] = values;
                        if (HasMaster(state)) compare(from, to, text, master, ofSfp);
                      });
  ForEachCommonRun<5>({&log.cardGrandmaster, &records.master, &records.state, &log.bestSfp, &log.card},
                      records.first, records.end,
                      [&](std::int64_t from, std::int64_t to, const auto& values) {
                        const auto [text, master, state, followed, card] = values;
                        if (HasMaster(state) && followed == label && card == locked)
                          compare(from, to, text, master, ofCard);
                      });
  ofSfp.Finish();
  ofCard.Finish();
}

/// Did one of the SFP's masters announce a leap second up to a time, or just before?
bool IsLeapAnnounced(const Recording& recording, int sfp, std::int64_t time, std::uint32_t Master::*leap) {
  // The flags may be cleared two Announce intervals, of 2 s at most, before the leap, in a record of its own.
  constexpr std::int64_t leapMargin = 5;
  const std::vector<Run>& runs = recording.sfp[static_cast<std::size_t>(sfp)].master.All();
  auto run = std::ranges::lower_bound(runs, time, {}, &Run::from);
  for (std::int64_t end = time; run != runs.begin() && end >= time - leapMargin; end = run->from) {
    --run;
    if (recording.masters[static_cast<std::size_t>(run->value)].*leap != 0) return true;
  }
  return false;
}

bool WithinRange(std::int64_t value, std::int64_t least, std::int64_t greatest) {
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

bool ChangesUtcOffsetUnannounced(const Recording& recording, int sfp, std::int64_t time, const Master& before,
                                 const Master& after) {
  const std::int64_t by = std::int64_t{after.utcOffset} - before.utcOffset;
  if (by == 0) return false;
  if (by != 1 && by != -1) return true;
  const auto leap = by == 1 ? &Master::leap61 : &Master::leap59;
  return before.*leap == 0 && !IsLeapAnnounced(recording, sfp, time, leap);
}

std::vector<std::string> OutsideProfile(const Master& master) {
  std::vector<std::string> outside;
  const auto check = [&](MasterField field, bool within) {
    if (!within) outside.push_back(std::string(FieldName(field)) + ' ' + FieldText(field, master));
  };
  check(MasterField::Domain, master.domain <= 127);
  check(MasterField::AnnounceInterval, WithinRange(master.logAnnounceInterval, -3, 1));
  check(MasterField::SyncInterval, WithinRange(master.logSyncInterval, -7, -1));
  check(MasterField::DelayReqInterval, WithinRange(master.logDelayReqInterval, master.logSyncInterval,
                                                   std::int64_t{master.logSyncInterval} + 5));
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

void ForEachFollowedMaster(
    const Recording& recording, int sfp,
    const std::function<void(std::int64_t from, std::int64_t to, std::int32_t master)>& tell) {
  const SfpRecording& records = recording.sfp[static_cast<std::size_t>(sfp)];
  Stretch open;
  std::int32_t followed = 0;
  const auto close = [&] {
    if (followed != 0) tell(open.from, open.to, followed);
  };
  ForEachCommonRun<2>({&records.master, &records.state}, records.first, records.end,
                      [&](std::int64_t from, std::int64_t to, const auto& values) {
                        const bool named =
                            recording.masters[static_cast<std::size_t>(values[0])].grandmaster != 0;
                        const std::int32_t master = named && HasMaster(values[1]) ? values[0] : 0;
                        if (master != followed) {
                          close();
                          followed = master;
                          open.from = from;
                        }
                        open.to = to;
                      });
  close();
}

std::vector<Change> FindChanges(const Recording& recording) {
  ChangeList changes;
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    AddMasterChanges(recording, sfp, changes);
    AddStateContradictions(recording, sfp, changes);
    AddLinkContradictions(recording, sfp, changes);
    AddGrandmasterContradictions(recording, sfp, changes);
  }
  return changes.Take();
}

}  // namespace kestrune::report
