#include "recorded/recorded_card.h"

#include <algorithm>
#include <utility>

namespace kestrune::recorded {
namespace {

constexpr std::uint32_t genlockFreeRunning = 3;
constexpr std::uint32_t automaticSelection = 1;

/// So many records of one SFP without one of the other, and the other is not there.
constexpr int recordsForAbsence = 10;

/// More of the same time wait for the next second: what nobody has fetched yet is dropped one day.
constexpr std::size_t mostRecordsASecond = 100 * MonitorDataBatch::maximumCount;

}  // namespace

RecordedCard::RecordedCard(std::string serialNumber, RawDataReader raw, std::optional<EventLogReader> log,
                           bool loop)
    : description_{.serialNumber = std::move(serialNumber), .cardModel = "Recording", .inOrder = true},
      loop_(loop),
      raw_(std::move(raw)),
      log_(std::move(log)) {
  if (log_ && log_->Peek() == nullptr) log_.reset();
  state_.genlockStatus.state = genlockFreeRunning;
  state_.st2059Settings.bestMasterSfpSelection = automaticSelection;
}

void RecordedCard::Wake(std::int64_t) { Begin(); }

/// Puts everything to the recording's begin, and the state to what it was there.
void RecordedCard::Begin() {
  begun_ = now_;
  silence_ = {};
  raw_.Rewind();
  unit_ = raw_.Next();
  if (!unit_) return;
  firstEpoch_ = unit_->epochTime;
  for (std::uint32_t count = 0; count < MonitorDataBatch::maximumCount; ++count) {
    if (!unit_ || unit_->epochTime != firstEpoch_) break;
    Apply(unit_->record, state_);
    unit_ = raw_.Next();
  }
  raw_.Rewind();
  unitTime_ = PlayedTime(firstEpoch_);
  NextUnit();

  if (!log_) return;
  documentTime_ = PlayedTime(firstEpoch_);
  documentDue_.reset();
  runBegins_ = false;
  logEnded_ = false;
  log_->Rewind();
  PassOverEarlierRuns();
}

/// Takes what the log says up to the last start before the first record.
void RecordedCard::PassOverEarlierRuns() {
  std::size_t count = 0;
  std::size_t untilStart = 0;
  while (const auto document = log_->Take()) {
    if (document->epochTime > firstEpoch_) break;
    ++count;
    if (document->type == EventLogType::StartOfMonitoring) untilStart = count;
  }
  log_->Rewind();
  for (; untilStart > 0; --untilStart) {
    if (const auto document = log_->Take()) Apply(*document, state_);
  }
}

kit::Card::Step RecordedCard::Advance() {
  Step step;
  if (log_ && TakeDueDocument(step)) return step;
  TakeDueRecords(step);
  ++now_;
  if (loop_ && !unit_) {
    const CardState before = state_;
    Begin();
    MarkChanges(before, state_, step);
  }
  return step;
}

/// False when none is due in the second under way.
bool RecordedCard::TakeDueDocument(Step& step) {
  const EventDocument* next = log_->Peek();
  if (next == nullptr) return false;
  if (!documentDue_) {
    // What was told between the start and the first record comes with the record.
    const bool early = documentTime_.Played() == 0 && next->epochTime < firstEpoch_;
    documentDue_ = documentTime_.GoTo(early ? firstEpoch_ : next->epochTime);
  }
  if (*documentDue_ > now_ - begun_) return false;
  documentDue_.reset();

  const EventDocument document = *log_->Take();
  logEnded_ = document.type == EventLogType::EndOfMonitoring;
  if (document.initial && document.type != EventLogType::StartOfMonitoring) {
    if (!std::exchange(runBegins_, true)) beforeRun_ = state_;
    Apply(document, state_);
    return true;
  }
  if (std::exchange(runBegins_, false)) MarkChanges(beforeRun_, state_, step);
  ApplyWithCompanions(document, step);
  return true;
}

/// Documents that the monitor wrote in one notification are one change.
void RecordedCard::ApplyWithCompanions(const EventDocument& document, Step& step) {
  Apply(document, state_);
  const auto applyNext = [&](EventLogType type, std::size_t sfp) {
    if (const auto companion = log_->TakeBelonging(type, sfp, document.type)) Apply(*companion, state_);
  };
  switch (document.type) {
    case EventLogType::GenlockStatus:
      applyNext(EventLogType::GenlockSettings, 0);
      step.genlockChanged = true;
      return;
    case EventLogType::GenlockSettings:  // its status was damaged
      step.genlockChanged = true;
      return;
    case EventLogType::St2059:
      applyNext(EventLogType::SfpSt2059, 0);
      applyNext(EventLogType::SfpSt2059, 1);
      step.st2059Changed = true;
      return;
    case EventLogType::SfpIpStatus:
      step.sfpIpChanged[document.sfp] = true;
      return;
    default:
      return;
  }
}

void RecordedCard::TakeDueRecords(Step& step) {
  const CardState before = state_;
  // A log that breaks off tells no more than none.
  const bool recordsTell = !log_ || (log_->Peek() == nullptr && !logEnded_);
  while (unit_ && unitDue_ <= now_ - begun_ && step.telemetry.size() < mostRecordsASecond) {
    step.telemetry.push_back(unit_->record);
    if (recordsTell) {
      Show(unit_->record);
    } else {
      ApplyToSfp(unit_->record, state_);
    }
    NextUnit();
  }
  if (recordsTell) MarkChanges(before, state_, step);
}

void RecordedCard::Show(const TelemetryRecord& record) {
  Apply(record, state_);
  if (record.sfp >= silence_.size()) return;
  silence_[record.sfp] = 0;
  const std::size_t other = 1U - record.sfp;
  if (++silence_[other] >= recordsForAbsence) {
    state_.sfpIps[other].modulePresent = 0;
    state_.sfpIps[other].signalPresent = 0;
  }
}

void RecordedCard::NextUnit() {
  unit_ = raw_.Next();
  if (unit_) unitDue_ = unitTime_.GoTo(unit_->epochTime);
}

}  // namespace kestrune::recorded
