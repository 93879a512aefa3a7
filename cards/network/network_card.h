#pragma once

#include <array>
#include <memory>
#include <variant>
#include <vector>

#include "kit/card.h"
#include "network/configuration.h"
#include "network/failure.h"
#include "network/link_watch.h"
#include "network/network_interface.h"

namespace kestrune::network {

/// A card whose SFPs are network interfaces of this machine, on which it observes the PTP network as it is.
/// It lives in real time: a step ends where something has to be told, within milliseconds of a link's change,
/// or at the end of a second, of which it knows by the monotonic clock.
class NetworkCard final : public kit::Card {
 public:
  /// Opens the interfaces.
  static std::variant<std::unique_ptr<NetworkCard>, Failure> Open(const Configuration& configuration);

  const kit::CardDescription& Description() const override { return description_; }

  /// The wall clock is of no interest.
  void Wake(std::int64_t epochNanoseconds) override;

  std::int64_t Now() const override { return seconds_; }

  /// Hears what has come since the last step.
  Step Advance() override;

  GenlockStatus ReadGenlockStatus() const override;
  GenlockSettings ReadGenlockSettings() const override;
  St2059Status ReadSt2059Status() const override;
  St2059Settings ReadSt2059Settings() const override;
  St2059SfpStatus ReadSt2059SfpStatus(std::size_t sfp) const override;
  SfpIpStatus ReadSfpIpStatus(std::size_t sfp) const override;

 private:
  /// What the card's status shows, for finding what changed.
  struct Shown {
    std::array<std::uint64_t, 6> st2059{};
    std::array<std::array<std::uint8_t, 2>, 2> sfpIp{};
  };

  NetworkCard(const Configuration& configuration, LinkWatch watch);

  void Wait(std::chrono::milliseconds longest) const;
  std::vector<TelemetryRecord> CloseSecond(std::int64_t now);
  std::int32_t StateOf(std::size_t sfp) const;
  Shown Show() const;

  const Configuration configuration_;
  LinkWatch watch_;
  std::vector<std::unique_ptr<NetworkInterface>> interfaces_;  ///< one or two
  kit::CardDescription description_;
  std::size_t selectedSfp_ = 0;
  Shown shown_;
  std::int64_t seconds_ = 0;
  bool busy_ = false;          ///< did many datagrams come of late?
  std::int64_t attended_ = 0;  ///< on the monotonic clock, in nanoseconds, as the next
  std::int64_t secondBegan_ = 0;
  std::int64_t secondEnds_ = 0;
};

}  // namespace kestrune::network
