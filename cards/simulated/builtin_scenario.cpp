#include "simulated/builtin_scenario.h"

namespace kestrune::simulated {
namespace {

Grandmaster MakeGrandmaster(const char* name, std::uint64_t clockIdentity, std::uint8_t priority2,
                            std::uint8_t lastOctet) {
  Grandmaster grandmaster;
  grandmaster.name = name;
  grandmaster.clockIdentity = clockIdentity;
  grandmaster.priority2 = priority2;
  grandmaster.ipv4 = {10, 20, 59, lastOctet};
  return grandmaster;
}

Event MakeEvent(double at, EventKind kind) {
  Event event;
  event.at = at;
  event.kind = kind;
  return event;
}

Event GrandmasterEvent(double at, EventKind kind, std::size_t grandmaster) {
  Event event = MakeEvent(at, kind);
  event.grandmaster = grandmaster;
  return event;
}

Event SfpEvent(double at, EventKind kind, std::size_t sfp) {
  Event event = MakeEvent(at, kind);
  event.sfp = sfp;
  return event;
}

Event GenlockEvent(double at, std::uint32_t state, std::uint32_t source, std::uint32_t frameRate) {
  Event event = MakeEvent(at, EventKind::Genlock);
  event.genlockState = state;
  event.genlockSource = source;
  event.genlockFrameRate = frameRate;
  return event;
}

}  // namespace

Scenario BuiltinScenario() {
  Scenario scenario;
  scenario.cards.emplace_back();
  scenario.grandmasters = {MakeGrandmaster("GM1", 0x080011FFFE210001, 127, 1),
                           MakeGrandmaster("GM2", 0x080011FFFE210002, 128, 2)};
  scenario.events = {
      GrandmasterEvent(300, EventKind::GrandmasterLost, 0),
      GrandmasterEvent(900, EventKind::GrandmasterBack, 0),
      SfpEvent(1500, EventKind::FibrePulled, 1),
      SfpEvent(1620, EventKind::FibreBack, 1),
      GenlockEvent(2400, 5, 128, 10),
      GenlockEvent(2403, 1, 128, 10),
  };
  return scenario;
}

}  // namespace kestrune::simulated
