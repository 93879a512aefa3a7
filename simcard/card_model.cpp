#include "card_model.h"

#include <cstring>

#include "event_timeline.h"

namespace kestrune::sim {

class CardModel::Impl {
 public:
  Impl(const Scenario& scenario, std::size_t index, std::int64_t startEpochNanoseconds)
      : card(scenario.cards.at(index)),
        genlock(card.genlock),
        selection(card.bestMasterSfpSelection),
        timeline(scenario.events, index),
        start(startEpochNanoseconds) {
    if (!scenario.grandmasters.empty()) master = scenario.grandmasters.front();
    Play();
  }

  void Play() {
    while (const Event* event = timeline.TakeDue(static_cast<double>(now))) {
      Sfp& sfp = card.sfps[event->sfp & 1];
      if (event->kind == EventKind::FibrePulled) sfp.signal = false;
      if (event->kind == EventKind::FibreBack) sfp.signal = true;
      if (event->kind == EventKind::ModuleRemoved) sfp.present = false;
      if (event->kind == EventKind::ModuleInserted) sfp.present = true;
      if (event->kind == EventKind::TransmitError) sfp.transmitError = event->value != 0;
      if (event->kind == EventKind::BestMasterSelection) selection = static_cast<std::uint32_t>(event->value);
      if (event->kind == EventKind::Genlock) {
        genlock.state = event->genlockState.value_or(genlock.state);
        genlock.source = event->genlockSource.value_or(genlock.source);
        genlock.frameRate = event->genlockFrameRate.value_or(genlock.frameRate);
      }
    }
  }

  bool Hears(std::size_t sfp) const { return card.sfps[sfp].present && card.sfps[sfp].signal; }
  std::int32_t State(std::size_t sfp) const { return Hears(sfp) ? 10 : 4; }

  TelemetryRecord Record(std::size_t sfp) {
    TelemetryRecord record{};
    record.sfp = static_cast<std::uint8_t>(sfp);
    record.state = State(sfp);
    record.linkSpeed = card.sfps[sfp].linkSpeed;
    if (!Hears(sfp)) return record;
    record.performanceMonitoring.numberOfSyncSinceLastTelemetry = 8;
    record.performanceMonitoring.numberOfDelayRespSinceLastTelemetry = 8;
    record.averagePathDelay = 1500;
    return record;
  }

  Card card;
  Genlock genlock;
  std::uint32_t selection;
  EventTimeline timeline;
  std::int64_t start;
  std::int64_t now = 0;
  Grandmaster master;
};

CardModel::CardModel(const Scenario& scenario, std::size_t card, std::int64_t startEpochNanoseconds)
    : impl_(std::make_unique<Impl>(scenario, card, startEpochNanoseconds)) {}
CardModel::~CardModel() = default;

std::int64_t CardModel::Now() const { return impl_->now; }

CardModel::Second CardModel::Advance() {
  const Genlock genlock = impl_->genlock;
  const St2059Status status = ReadSt2059Status();
  const SfpIpStatus sfps[2] = {ReadSfpIpStatus(0), ReadSfpIpStatus(1)};
  ++impl_->now;
  impl_->Play();
  Second second;
  for (std::size_t sfp = 0; sfp < 2; ++sfp) {
    const SfpIpStatus after = ReadSfpIpStatus(sfp);
    second.sfpIpChanged[sfp] = std::memcmp(&after, &sfps[sfp], sizeof after) != 0;
    if (impl_->card.sfps[sfp].present) second.telemetry.push_back(impl_->Record(sfp));
  }
  const St2059Status after = ReadSt2059Status();
  second.st2059Changed = std::memcmp(&after, &status, sizeof after) != 0;
  second.genlockChanged = genlock.state != impl_->genlock.state || genlock.source != impl_->genlock.source ||
                          genlock.frameRate != impl_->genlock.frameRate;
  return second;
}

GenlockStatus CardModel::ReadGenlockStatus() const {
  auto status = MakeRecord<GenlockStatus>();
  status.state = impl_->genlock.state;
  return status;
}

GenlockSettings CardModel::ReadGenlockSettings() const {
  auto settings = MakeRecord<GenlockSettings>();
  settings.source = impl_->genlock.source;
  settings.resolutionFrameRate = impl_->genlock.frameRate;
  return settings;
}

St2059Status CardModel::ReadSt2059Status() const {
  auto status = MakeRecord<St2059Status>();
  status.bestMasterSfp = impl_->Hears(0) ? 1 : 2;
  status.state = impl_->State(status.bestMasterSfp - 1U);
  status.bestMasterClockId = impl_->master.clockIdentity;
  status.grandMasterClockId = impl_->master.clockIdentity;
  return status;
}

St2059Settings CardModel::ReadSt2059Settings() const {
  auto settings = MakeRecord<St2059Settings>();
  settings.bestMasterSfpSelection = impl_->selection;
  return settings;
}

St2059SfpStatus CardModel::ReadSt2059SfpStatus(std::size_t sfp) const {
  auto status = MakeRecord<St2059SfpStatus>();
  status.state = impl_->State(sfp);
  status.bestMasterClockId = impl_->master.clockIdentity;
  status.grandMasterClockId = impl_->master.clockIdentity;
  status.averageMeanPathDelay = 1500;
  return status;
}

SfpIpStatus CardModel::ReadSfpIpStatus(std::size_t sfp) const {
  auto status = MakeRecord<SfpIpStatus>();
  status.modulePresent = impl_->card.sfps[sfp].present;
  status.signalPresent = impl_->Hears(sfp);
  status.transmitError = impl_->card.sfps[sfp].transmitError;
  return status;
}

}  // namespace kestrune::sim
