#include "simulated/card_model.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "ptp/port_selection.h"
#include "simulated/card_clock.h"
#include "simulated/event_timeline.h"
#include "simulated/network.h"
#include "simulated/random.h"
#include "simulated/wired_follower.h"

namespace kestrune::simulated {
namespace {

// Where in a slot the ports' Syncs arrive, in seconds; the delay exchanges follow at random moments behind
// them.
constexpr std::array<double, 2> syncSpacing{0.020, 0.010};
constexpr double slotRest = slotSeconds - syncSpacing[0] - syncSpacing[1];

/// The streams of one card's random numbers.
enum Stream : std::uint64_t {
  clockStream,
  linkStreams,
  messageStreams = linkStreams + 2,
  streamsPerCard = 16
};

Random MakeRandom(const Scenario& scenario, std::size_t card, std::uint64_t stream) {
  return {scenario.seed, card * streamsPerCard + stream};
}

kit::CardDescription Describe(const Card& card) {
  return {.modelCode = card.modelCode,
          .serialNumber = card.serialNumber,
          .cardModel = card.cardModel,
          .st2059 = card.st2059,
          .sfpNumbers = card.sfpNumbers};
}

}  // namespace

class CardModel::Impl {
 public:
  Impl(const Scenario& scenario, std::size_t card, std::int64_t startEpochNanoseconds);

  std::int64_t Now() const { return slot_ / slotsPerSecond; }
  Step Advance();

  GenlockStatus ReadGenlockStatus() const;
  GenlockSettings ReadGenlockSettings() const;
  St2059Status ReadSt2059Status() const;
  St2059Settings ReadSt2059Settings() const;
  St2059SfpStatus ReadSt2059SfpStatus(std::size_t sfp) const;
  SfpIpStatus ReadSfpIpStatus(std::size_t sfp) const;

 private:
  /// What an SFP reports instead of the model's truth.
  struct RawValues {
    std::int32_t portState = 0;  ///< 0: the model's
    std::uint8_t sfpIndex = 0;
    std::uint32_t recordsWithSfpIndex = 0;
  };

  /// What the card's status and settings show, for finding what changed.
  struct Shown {
    std::array<std::uint32_t, 3> genlock;
    std::array<std::uint64_t, 7> st2059;
    std::array<std::array<std::uint8_t, 3>, 2> sfpIp;
  };

  void ApplyDueEvents();
  void Apply(const Event& event);
  void ApplyGenlock(const Event& event);
  void LiveThroughSlot();
  void SyncPort(std::size_t sfp);
  void SelectSfp();
  TelemetryRecord TakeRecord(std::size_t sfp);
  Shown Show() const;

  Network network_;
  EventTimeline timeline_;
  std::int64_t startEpochNanoseconds_;
  std::int64_t slot_;  ///< begun since the scenario's time 0; negative in the warm-up
  CardClock clock_;
  ClockServo servo_;
  std::array<WiredFollower, 2> ports_;
  std::size_t selectedSfp_ = 0;
  std::uint32_t selection_;
  Genlock genlock_;
  std::array<RawValues, 2> raw_{};
  std::int32_t rawCardState_ = 0;      ///< 0: the model's
  std::uint8_t rawBestMasterSfp_ = 0;  ///< 0: the model's
};

CardModel::Impl::Impl(const Scenario& scenario, std::size_t card, std::int64_t startEpochNanoseconds)
    : network_(scenario.grandmasters),
      timeline_(scenario.events, card),
      startEpochNanoseconds_(startEpochNanoseconds),
      slot_(-slotsPerSecond * std::llround(std::ceil(scenario.cards.at(card).warmUpSeconds))),
      clock_(scenario.cards[card].oscillator, MakeRandom(scenario, card, clockStream)),
      ports_{WiredFollower(network_, 0, scenario.cards[card].sfps[0], MakeRandom(scenario, card, linkStreams),
                           MakeRandom(scenario, card, messageStreams)),
             WiredFollower(network_, 1, scenario.cards[card].sfps[1],
                           MakeRandom(scenario, card, linkStreams + 1),
                           MakeRandom(scenario, card, messageStreams + 1))},
      selection_(scenario.cards[card].bestMasterSfpSelection),
      genlock_(scenario.cards[card].genlock) {
  while (slot_ < 0) {
    LiveThroughSlot();
    if (slot_ % slotsPerSecond == 0) {
      for (WiredFollower& port : ports_) port.CloseInterval();
    }
  }
  SelectSfp();
  ApplyDueEvents();
}

kit::Card::Step CardModel::Impl::Advance() {
  const Shown before = Show();
  for (std::int64_t count = 0; count < slotsPerSecond; ++count) {
    ApplyDueEvents();
    LiveThroughSlot();
  }
  ApplyDueEvents();

  Step step;
  step.telemetry.reserve(ports_.size());
  for (std::size_t sfp = 0; sfp < ports_.size(); ++sfp) {
    ports_[sfp].CloseInterval();
    if (ports_[sfp].Link().ModulePresent()) step.telemetry.push_back(TakeRecord(sfp));
  }
  const Shown after = Show();
  step.genlockChanged = after.genlock != before.genlock;
  step.st2059Changed = after.st2059 != before.st2059;
  for (std::size_t sfp = 0; sfp < ports_.size(); ++sfp) {
    step.sfpIpChanged[sfp] = after.sfpIp[sfp] != before.sfpIp[sfp];
  }
  return step;
}

void CardModel::Impl::ApplyDueEvents() {
  while (const Event* event = timeline_.TakeDue(static_cast<double>(slot_) * slotSeconds)) Apply(*event);
}

void CardModel::Impl::Apply(const Event& event) {
  const auto value = static_cast<std::uint32_t>(event.value);
  SfpLink& link = ports_.at(event.sfp).Link();
  RawValues& raw = raw_.at(event.sfp);
  switch (event.kind) {
    case EventKind::GrandmasterLost:
      return network_.SetPresent(event.grandmaster, false);
    case EventKind::GrandmasterBack:
      return network_.SetPresent(event.grandmaster, true);
    case EventKind::GrandmasterChange:
      return network_.Change(event.grandmaster, event.grandmasterAttributes);
    case EventKind::FibrePulled:
      return link.SetFibrePresent(false);
    case EventKind::FibreBack:
      return link.SetFibrePresent(true);
    case EventKind::ModuleRemoved:
      return link.SetModulePresent(false);
    case EventKind::ModuleInserted:
      return link.SetModulePresent(true);
    case EventKind::TransmitError:
      return link.SetTransmitError(event.value != 0);
    case EventKind::Genlock:
      return ApplyGenlock(event);
    case EventKind::PathChange:
      return link.SetPath(event.path);
    case EventKind::PortState:
      raw.portState = event.value;
      return;
    case EventKind::CardState:
      rawCardState_ = event.value;
      return;
    case EventKind::BestMasterSfp:
      rawBestMasterSfp_ = static_cast<std::uint8_t>(value);
      return;
    case EventKind::BestMasterSelection:
      selection_ = value;
      return SelectSfp();
    case EventKind::LinkSpeed:
      return link.SetLinkSpeed(value);
    case EventKind::SfpIndex:
      raw.sfpIndex = static_cast<std::uint8_t>(value);
      raw.recordsWithSfpIndex = event.count;
      return;
  }
}

void CardModel::Impl::ApplyGenlock(const Event& event) {
  genlock_.state = event.genlockState.value_or(genlock_.state);
  genlock_.source = event.genlockSource.value_or(genlock_.source);
  genlock_.frameRate = event.genlockFrameRate.value_or(genlock_.frameRate);
}

void CardModel::Impl::LiveThroughSlot() {
  if (slot_ % slotsPerAnnounce == 0) {
    for (WiredFollower& port : ports_)
      port.HearAnnounces(slot_, startEpochNanoseconds_ + slot_ * slotNanoseconds);
    SelectSfp();
  }
  for (std::size_t sfp = 0; sfp < ports_.size(); ++sfp) {
    clock_.Advance(syncSpacing[sfp]);
    SyncPort(sfp);
  }
  for (WiredFollower& port : ports_) {
    port.ExchangeDelay(clock_, slotRest);
    port.Link().CarryMedia();
    if (slot_ % slotsPerSecond == 0) port.HearManagement();
  }
  clock_.Advance(slotRest);
  clock_.Wander();
  ++slot_;
}

void CardModel::Impl::SyncPort(std::size_t sfp) {
  WiredFollower& port = ports_[sfp];
  const auto offset = port.HearSync(slot_, clock_);
  if (!offset || sfp != selectedSfp_ || !port.Follower().Calibrated()) return;
  const double time = static_cast<double>(slot_) * slotSeconds;
  const auto correction = servo_.Discipline(time, static_cast<double>(*offset), clock_);
  if (!correction) return;
  port.ClockCorrected(correction->nanoseconds);
  if (!correction->stepped) return;
  for (WiredFollower& stepped : ports_) stepped.ClockStepped(correction->nanoseconds);
}

void CardModel::Impl::SelectSfp() {
  const std::size_t selected =
      selection_ == 2 || selection_ == 3
          ? selection_ - 2
          : ptp::SelectPort({&ports_[0].Follower(), &ports_[1].Follower()}, selectedSfp_);
  if (selected == selectedSfp_) return;
  selectedSfp_ = selected;
  servo_.ChangeReference();
}

TelemetryRecord CardModel::Impl::TakeRecord(std::size_t sfp) {
  TelemetryRecord record = ports_[sfp].Record();
  RawValues& raw = raw_[sfp];
  if (raw.portState != 0) record.state = raw.portState;
  if (raw.recordsWithSfpIndex > 0) {
    record.sfp = raw.sfpIndex;
    --raw.recordsWithSfpIndex;
  }
  return record;
}

CardModel::Impl::Shown CardModel::Impl::Show() const {
  const St2059Status status = ReadSt2059Status();
  Shown shown{};
  shown.genlock = {genlock_.state, genlock_.source, genlock_.frameRate};
  shown.st2059 = {static_cast<std::uint64_t>(status.state), status.bestMasterSfp, status.bestMasterClockId,
                  status.grandMasterClockId, selection_};
  for (std::size_t sfp = 0; sfp < ports_.size(); ++sfp) {
    const SfpIpStatus sfpIp = ReadSfpIpStatus(sfp);
    shown.sfpIp[sfp] = {sfpIp.modulePresent, sfpIp.signalPresent, sfpIp.transmitError};
    shown.st2059[5 + sfp] = static_cast<std::uint64_t>(ReadSt2059SfpStatus(sfp).state);
  }
  return shown;
}

GenlockStatus CardModel::Impl::ReadGenlockStatus() const {
  auto status = MakeRecord<GenlockStatus>();
  status.state = genlock_.state;
  return status;
}

GenlockSettings CardModel::Impl::ReadGenlockSettings() const {
  auto settings = MakeRecord<GenlockSettings>();
  settings.resolutionFrameRate = genlock_.frameRate;
  settings.source = genlock_.source;
  return settings;
}

St2059Status CardModel::Impl::ReadSt2059Status() const {
  auto status = MakeRecord<St2059Status>();
  const ptp::Follower& port = ports_[selectedSfp_].Follower();
  status.state = rawCardState_ != 0 ? rawCardState_ : static_cast<std::int32_t>(port.State());
  status.bestMasterSfp =
      rawBestMasterSfp_ != 0 ? rawBestMasterSfp_ : static_cast<std::uint8_t>(selectedSfp_ + 1);
  if (const ptp::AnnounceMessage* parent = port.Parent()) {
    status.bestMasterClockId = parent->sourcePortIdentity.clockIdentity;
    status.grandMasterClockId = parent->grandmasterIdentity;
  }
  return status;
}

St2059Settings CardModel::Impl::ReadSt2059Settings() const {
  auto settings = MakeRecord<St2059Settings>();
  settings.bestMasterSfpSelection = selection_;
  return settings;
}

St2059SfpStatus CardModel::Impl::ReadSt2059SfpStatus(std::size_t sfp) const {
  auto status = MakeRecord<St2059SfpStatus>();
  const TelemetryRecord& record = ports_.at(sfp).Record();
  if (const ptp::AnnounceMessage* parent = ports_[sfp].Follower().Parent()) {
    status.bestMasterClockId = parent->sourcePortIdentity.clockIdentity;
    status.grandMasterClockId = parent->grandmasterIdentity;
  }
  status.offsetFromMaster = record.offsetFromMaster;
  status.averageMeanPathDelay = record.averagePathDelay;
  status.lastCorrection = record.lastCorrection;
  const std::int32_t rawState = raw_[sfp].portState;
  status.state = rawState != 0 ? rawState : static_cast<std::int32_t>(ports_[sfp].Follower().State());
  return status;
}

SfpIpStatus CardModel::Impl::ReadSfpIpStatus(std::size_t sfp) const {
  auto status = MakeRecord<SfpIpStatus>();
  const SfpLink& link = ports_.at(sfp).Link();
  status.modulePresent = link.ModulePresent();
  status.signalPresent = link.SignalPresent();
  status.transmitError = link.TransmitError();
  return status;
}

CardModel::CardModel(std::shared_ptr<const Scenario> scenario, std::size_t card)
    : scenario_(std::move(scenario)), card_(card), description_(Describe(scenario_->cards.at(card))) {}

CardModel::~CardModel() = default;

void CardModel::Wake(std::int64_t epochNanoseconds) {
  const std::int64_t start =
      scenario_->startEpoch ? *scenario_->startEpoch * 1'000'000'000 : epochNanoseconds;
  impl_ = std::make_unique<Impl>(*scenario_, card_, start);
}

std::int64_t CardModel::Now() const { return impl_->Now(); }
kit::Card::Step CardModel::Advance() { return impl_->Advance(); }
GenlockStatus CardModel::ReadGenlockStatus() const { return impl_->ReadGenlockStatus(); }
GenlockSettings CardModel::ReadGenlockSettings() const { return impl_->ReadGenlockSettings(); }
St2059Status CardModel::ReadSt2059Status() const { return impl_->ReadSt2059Status(); }
St2059Settings CardModel::ReadSt2059Settings() const { return impl_->ReadSt2059Settings(); }
St2059SfpStatus CardModel::ReadSt2059SfpStatus(std::size_t sfp) const {
  return impl_->ReadSt2059SfpStatus(sfp);
}
SfpIpStatus CardModel::ReadSfpIpStatus(std::size_t sfp) const { return impl_->ReadSfpIpStatus(sfp); }

}  // namespace kestrune::simulated
