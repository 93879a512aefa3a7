#pragma once

#include <optional>
#include <string>

#include "kit/card.h"
#include "recorded/card_state.h"
#include "recorded/event_log_reader.h"
#include "recorded/played_time.h"
#include "recorded/raw_data_reader.h"

namespace kestrune::recorded {

/// A card that tells what a recording holds, at the recording's pace, its first record one second after the
/// telemetry has been asked for. The event log's documents are the card's state and its changes. The
/// records are what the log doesn't hold: the SFPs' ST 2059 status between its documents; without a log, and
/// after one that breaks off before the end of monitoring, all that they tell. Of what neither holds the card
/// knows nothing.
class RecordedCard final : public kit::Card {
 public:
  /// `raw` stands at its begin and holds a record. With `loop`, the recording begins anew a second after its
  /// last record.
  RecordedCard(std::string serialNumber, RawDataReader raw, std::optional<EventLogReader> log, bool loop);

  const kit::CardDescription& Description() const override { return description_; }
  void Wake(std::int64_t epochNanoseconds) override;
  std::int64_t Now() const override { return now_; }

  /// One change of the event log, or a second's records.
  Step Advance() override;

  GenlockStatus ReadGenlockStatus() const override { return state_.genlockStatus; }
  GenlockSettings ReadGenlockSettings() const override { return state_.genlockSettings; }
  St2059Status ReadSt2059Status() const override { return state_.st2059Status; }
  St2059Settings ReadSt2059Settings() const override { return state_.st2059Settings; }
  St2059SfpStatus ReadSt2059SfpStatus(std::size_t sfp) const override { return state_.st2059Sfps.at(sfp); }
  SfpIpStatus ReadSfpIpStatus(std::size_t sfp) const override { return state_.sfpIps.at(sfp); }

 private:
  void Begin();
  void PassOverEarlierRuns();
  bool TakeDueDocument(Step& step);
  void ApplyWithCompanions(const EventDocument& document, Step& step);
  void TakeDueRecords(Step& step);
  void Show(const TelemetryRecord& record);
  void NextUnit();

  const kit::CardDescription description_;
  const bool loop_;
  RawDataReader raw_;
  std::optional<EventLogReader> log_;

  std::int64_t now_ = 0;
  std::int64_t begun_ = 0;           ///< the second before the first record
  std::optional<RawDataUnit> unit_;  ///< the next one
  std::int64_t unitDue_ = 0;         ///< in seconds of the recording since its first record, as the next
  std::optional<std::int64_t> documentDue_;
  std::int64_t firstEpoch_ = 0;
  PlayedTime unitTime_{0};
  PlayedTime documentTime_{0};

  CardState state_;
  CardState beforeRun_;     ///< as the monitoring showed it before the initial documents of its next run
  bool runBegins_ = false;  ///< beforeRun_ holds
  bool logEnded_ = false;   ///< its last document told the end of monitoring
  std::array<int, 2> silence_{};  ///< records of the other SFP since this one's last
};

}  // namespace kestrune::recorded
