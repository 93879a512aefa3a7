#include "report/metrics_pass.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "report/record.h"
#include "report/unit_reader.h"

namespace kestrune::report {
namespace {

constexpr std::int64_t gaugeLength = 60;  // seconds
constexpr std::int64_t leastDifferences = gaugeLength / 2;

/// The average of values that weigh as much as they have messages.
class Average {
 public:
  void Add(double value, std::uint32_t messages) {
    sum_ += value * messages;
    messages_ += messages;
  }
  std::optional<double> Value() const {
    if (messages_ == 0) return std::nullopt;
    return sum_ / static_cast<double>(messages_);
  }
  std::int64_t Messages() const { return messages_; }

 private:
  double sum_ = 0;
  std::int64_t messages_ = 0;
};

}  // namespace

MetricsPass::MetricsPass(const MetricsMark& from, EventLog log, const Limits& limits)
    : limits_(limits), from_(from), marks_{from}, sums_(from.sums), watch_(recording_, limits_, this) {
  recording_.eventLog = std::move(log);
  links_.emplace(recording_.eventLog);
  recording_.masters.assign(1, Master{});
  if (from.newest != 0) watch_.Resume(from.watch);
}

void MetricsPass::Read(const InputFile& file) {
  RecordWalk walk(*this, INT64_MIN, INT64_MAX);
  std::uint64_t begin = from_.place;
  if (from_.newest != 0) {
    Checkpoint checkpoint;
    checkpoint.place = from_.place;
    checkpoint.last = from_.last;
    walk.Restart(checkpoint);
    walk_.Restart(checkpoint);
    begin = RecordWalk::BeginFor(checkpoint);
  }
  UnitReader reader(file, begin, static_cast<std::uint64_t>(std::max<std::int64_t>(file.Size(), 0)));
  for (auto units = reader.Next(); !units.empty(); units = reader.Next()) walk.Take(units, reader.Place());
  walk.Finish();
  walk_.Finish();
  watch_.Settle();
}

void MetricsPass::OnRecord(const RawDataUnit& unit, const CounterSteps& /*steps*/) {
  walk_.Commit(unit.record.sfp);
  ++sums_.records[unit.record.sfp];
}

std::int32_t MetricsPass::OnMaster(const Master& master) {
  return JoinMasters(recording_.masters, finder_, master);
}

void MetricsPass::OnSecond(int sfp, TimedRecord& record) {
  links_->SettleDue(sfp, recording_.masters[static_cast<std::size_t>(record.master)], record);
  newest_ = std::max(newest_, record.second.start);
  watch_.OnSecond(sfp, record.second, record.state, record.master);
}

void MetricsPass::OnCheckpoint(const Checkpoint& checkpoint) {
  watch_.Settle();
  if (marks_.size() == 2) marks_.pop_front();
  marks_.push_back({checkpoint.place, checkpoint.last, newest_, watch_.Memory(), sums_});
}

const MetricsMark& MetricsPass::Mark() const {
  return newest_ - marks_.back().newest >= gaugeLength ? marks_.back() : marks_.front();
}

void MetricsPass::OnWatched(const WatchedSecond& second) {
  Moment moment;
  moment.time = second.time;
  moment.difference = second.difference;
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
    if (second.sfp[sfp] == nullptr) continue;
    latest_[sfp] = moment.sfp[sfp] = *second.sfp[sfp];
    if (second.messagesJudged[sfp]) {
      MessageSums<std::uint64_t> messages;
      messages.Add(second.sfp[sfp]->messages);
      Add(sums_.messages[sfp], messages);
    }
    sums_.relocks[sfp] += second.relocked[sfp] ? 1 : 0;
  }
  while (!lately_.empty() && lately_.front().time <= second.time - gaugeLength) lately_.pop_front();
  lately_.push_back(moment);
  cardLocked_ = second.cardLocked;
  followed_ = second.followed;
  sums_.cardUnlocked += second.cardUnlocked ? 1 : 0;
  sums_.grandmasterChanges += second.grandmasterChanged ? 1 : 0;
  if (second.judgedOffset) CountOffset(std::fabs(*second.judgedOffset));
}

void MetricsPass::CountOffset(double offset) {
  const Severity severity = Judge(limits_[Rule::Offset], Rule::Offset, offset);
  sums_.beyondWarn += severity >= Severity::Warn ? 1 : 0;
  sums_.beyondFail += severity == Severity::Fail ? 1 : 0;
}

SfpFigures MetricsPass::FiguresOf(std::size_t sfp) const {
  SfpFigures figures;
  if (!latest_[sfp] || latest_[sfp]->time < newest_ - shortestAbsence) return figures;
  figures.locked = latest_[sfp]->locked;
  const Master& master = recording_.masters[static_cast<std::size_t>(latest_[sfp]->master)];
  if (master.grandmaster != 0 && latest_[sfp]->served) figures.master = master;
  Average offset;
  Average path;
  for (const Moment& moment : lately_) {
    const std::optional<WatchedSample>& sample = moment.sfp[sfp];
    if (!sample || !sample->locked) continue;
    offset.Add(sample->offset, sample->syncs);
    path.Add(sample->path, sample->resps);
    if (sample->syncs > 0)
      figures.offsetAbsMax = std::max(figures.offsetAbsMax.value_or(0), std::fabs(sample->offset));
  }
  figures.offsetMean = offset.Value();
  figures.pathDelay = path.Value();
  return figures;
}

MetricsFigures MetricsPass::Figures() const {
  MetricsFigures figures;
  figures.newest = newest_;
  figures.cardLocked = cardLocked_;
  figures.followed = followed_;
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) figures.sfp[sfp] = FiguresOf(sfp);
  Average difference;
  for (const Moment& moment : lately_) {
    if (moment.difference) difference.Add(*moment.difference, 1);
  }
  if (difference.Messages() >= leastDifferences) figures.difference = difference.Value();
  figures.sums = sums_;
  return figures;
}

}  // namespace kestrune::report
