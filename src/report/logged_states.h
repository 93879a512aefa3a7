#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "report/event_log.h"
#include "report/excursions.h"

namespace kestrune::report {

/// What the event log says of one second after the other, cheaply as long as the seconds rise.
class LoggedStates {
 public:
  /// `log` must outlive this and stay as it is.
  explicit LoggedStates(const EventLog& log);

  /// Does the log tell the card's state by then? Its first document may be half a minute late.
  bool KnowsCard(std::int64_t time) const;
  bool CardLocked(std::int64_t time);
  /// Locked, and no document of another state within two seconds: those of records and documents differ by as
  /// much.
  bool CardSettled(std::int64_t time);
  /// The SFP that the card follows; -1 where the log says none.
  int FollowedSfp(std::int64_t time);
  /// So, too, where the log says nothing.
  bool LinkUp(int sfp, std::int64_t time);
  /// Up, and no document of another state within two seconds.
  bool LinkSettled(int sfp, std::int64_t time);

 private:
  std::int64_t firstCard_;  ///< time of the first document
  SpanCursor cardLocked_;
  SpanCursor cardUnsettled_;
  RunCursor followed_;
  std::array<SpanCursor, sfpCount> linkDown_;
  std::array<SpanCursor, sfpCount> linkUnsettled_;
  std::array<std::int32_t, sfpCount> sfpLabels_;
};

/// The number of a text in the log; -1 if it isn't there.
std::int32_t NumberOf(const EventLog& log, std::string_view text);

/// The texts of the runs that stand for what is in order.
inline constexpr std::string_view lockedCard = "follower locked";
inline constexpr std::string_view lockedGenlock = "locked";
inline constexpr std::string_view linkIsUp = "link up";

}  // namespace kestrune::report
