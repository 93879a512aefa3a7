#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "report/judge.h"
#include "report/page_model.h"

namespace kestrune::report {

/// One SFP in one second.
struct Side {
  bool present = true;
  std::int32_t state = 10;
  std::int32_t master = 1;  ///< 1: first grandmaster, 2: second; 0: none
  double offset = 0;        ///< average, ns
  double path = 2000;       ///< average, ns
  std::uint32_t syncs = 8;
  std::uint32_t followUps = 8;
  std::uint32_t resps = 8;
  bool linkUp = true;
  std::optional<double> again;  ///< a second record of this second, with this offset
};

/// A second of a recording, as a test wants it.
struct SceneSecond {
  std::array<Side, sfpCount> sfp;
  bool cardLocked = true;
  bool cardLogged = true;  ///< has the card's first document come?
  int followed = 0;
};

/// A recording made second by second, and its judgement. What a script changes, it changes for its second
/// alone.
class Scene {
 public:
  using Script = std::function<void(std::int64_t second, SceneSecond& now)>;

  static constexpr std::int64_t begin = 1'772'409'600;  // 2026-03-02 00:00:00 UTC, a Monday

  Scene();

  Scene& Play(std::int64_t seconds, const Script& script);
  const Judgement& Judge();
  std::string Json(const Heading& heading);

  Severity SeverityOf(Rule rule) { return CheckOf(rule).severity; }
  const Check& CheckOf(Rule rule) { return Judge().checks[static_cast<std::size_t>(rule)]; }
  /// The episodes with this cause.
  std::vector<Episode> EpisodesOf(Cause cause);

  Recording recording;
  Limits limits = DefaultLimits();
  bool logged = true;  ///< is there an event log?

 private:
  void PlaySide(std::int64_t time, int sfp, const Side& side);

  std::unique_ptr<Watch> watch_;
  std::unique_ptr<SelfCheck> selfCheck_;
  std::unique_ptr<Judgement> judgement_;
};

}  // namespace kestrune::report
