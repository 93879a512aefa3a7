#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kit/operations.h"
#include "platform/com.h"

namespace kestrune::simulated {

// A scenario as plain data: what the simulated cards and the network around them are, and what happens to
// them. The defaults are those of the scenario file. SFP index: 0 = SFP A, 1 = SFP B.

/// A PTP grandmaster (or the boundary clock that stands for it) as seen from the card's ports.
struct Grandmaster {
  std::string name;                     ///< by which events refer to it
  std::uint64_t clockIdentity = 0;      ///< of the grandmaster; IEEE 1588-2019, 7.5.2.2
  std::uint64_t portClockIdentity = 0;  ///< of the clock that sends the messages; 0: the grandmaster itself
  std::array<std::uint8_t, 4> ipv4{};
  std::uint8_t priority1 = 128;
  std::uint8_t clockClass = 6;
  std::uint8_t clockAccuracy = 0x21;  ///< 100 ns
  std::uint16_t offsetScaledLogVariance = 0x4E5D;
  std::uint8_t priority2 = 128;
  std::uint16_t stepsRemoved = 0;
  std::uint8_t timeSource = 0x20;  ///< GNSS
  std::int16_t currentUtcOffset = 37;
  std::array<bool, 2> reachable{true, true};  ///< from SFP A, from SFP B
  bool present = true;                        ///< at the start
  bool twoStep = true;                        ///< sends a Follow_Up after each Sync
  double timeErrorNs = 0;                     ///< of the time that it serves

  bool operator==(const Grandmaster&) const = default;
};

/// The way between the masters and one SFP.
struct Path {
  double delayNs = 1500;       ///< mean of both directions
  double asymmetryNs = 0;      ///< master to follower minus follower to master, halved
  double jitterNs = 20;        ///< standard deviation of one message's delay
  double lossProbability = 0;  ///< of one message, 0 to 1

  bool operator==(const Path&) const = default;
};

struct Oscillator {
  double frequencyErrorPpb = 800;  ///< at the start
  double wanderPpb = 0.2;          ///< standard deviation of the frequency's random walk over one second

  bool operator==(const Oscillator&) const = default;
};

struct Sfp {
  bool present = true;
  bool signal = true;
  bool transmitError = false;
  std::uint32_t linkSpeed = 1;  ///< code: 1 = 10 Gbit/s, 2 = 25 Gbit/s
  Path path{};

  bool operator==(const Sfp&) const = default;
};

struct Genlock {
  std::uint32_t state = 1;
  std::uint32_t source = 128;
  std::uint32_t frameRate = 8;

  bool operator==(const Genlock&) const = default;
};

struct Card {
  std::uint32_t modelCode = 98;
  std::string serialNumber = "SIM00001";
  std::string cardModel = "Simulated card";
  bool st2059 = true;
  std::vector<std::uint32_t> sfpNumbers{1, 2};  ///< that the SFP enumerator hands out, in this order
  std::array<Sfp, 2> sfps{};
  Genlock genlock;
  std::uint32_t bestMasterSfpSelection = 1;  ///< 1 = automatic, 2 = SFP A, 3 = SFP B
  Oscillator oscillator;
  double warmUpSeconds = 300;  ///< that the follower has run before the scenario's time 0; 0: a cold start

  bool operator==(const Card&) const = default;
};

enum class EventKind {
  GrandmasterLost,    ///< grandmaster
  GrandmasterBack,    ///< grandmaster
  GrandmasterChange,  ///< grandmaster takes the attributes of `grandmasterAttributes`
  FibrePulled,        ///< sfp
  FibreBack,          ///< sfp
  ModuleRemoved,      ///< sfp
  ModuleInserted,     ///< sfp
  TransmitError,      ///< sfp, on: value != 0
  Genlock,            ///< the set members of genlockState, genlockSource, genlockFrameRate
  PathChange,         ///< sfp takes the path `path`
  PortState,          ///< sfp reports the raw PTP port state `value`; 0 gives it back to the model
  CardState,      ///< the card's ST 2059 status reports the raw state `value`; 0 gives it back to the model
  BestMasterSfp,  ///< the card's ST 2059 status reports the raw SFP number `value`; 0: the model's
  BestMasterSelection,  ///< the ST 2059 settings report the raw selection `value`
  LinkSpeed,            ///< sfp reports the raw link speed code `value`
  SfpIndex,             ///< the next `count` telemetry records of sfp carry the raw SFP index `value`
};

struct Event {
  double at = 0;            ///< seconds of scenario time
  double every = 0;         ///< repeats with this period, in seconds; 0: happens once
  std::uint32_t times = 1;  ///< how often it happens when it repeats; 0: for ever
  std::size_t card = 0;     ///< index into Scenario::cards
  EventKind kind{};
  std::size_t sfp = 0;
  std::size_t grandmaster = 0;  ///< index into Scenario::grandmasters
  Grandmaster grandmasterAttributes{};
  Path path{};
  std::optional<std::uint32_t> genlockState{};
  std::optional<std::uint32_t> genlockSource{};
  std::optional<std::uint32_t> genlockFrameRate{};
  std::int32_t value = 0;
  std::uint32_t count = 1;

  bool operator==(const Event&) const = default;
};

/// An operation that returns a given code instead of doing its work. Scenario time is that of the card
/// concerned; for the first three operations, which concern no card, it is always 0.
struct Fault {
  kit::Operation operation{};
  HRESULT code = 0;
  std::uint32_t firstCall = 1;    ///< counted from 1 since the card services were activated
  std::uint32_t lastCall = 0;     ///< 0: no end
  double from = 0;                ///< seconds of scenario time
  std::optional<double> until{};  ///< seconds of scenario time, excluded

  bool operator==(const Fault&) const = default;
};

struct Scenario {
  std::uint64_t seed = 1;
  std::optional<std::int64_t>
      startEpoch;  ///< UTC seconds of the network's time at scenario time 0; none: the clock's
  std::vector<Card> cards;
  std::vector<Grandmaster> grandmasters;
  std::vector<Event> events;
  std::vector<Fault> faults;

  bool operator==(const Scenario&) const = default;
};

}  // namespace kestrune::simulated
