#include "report/logged_states.h"

#include <algorithm>

#include "files/code_texts.h"

namespace kestrune::report {
namespace {

/// Documents and records of one change may be that far apart, in seconds.
constexpr std::int64_t documentMargin = 2;

std::vector<Stretch> Where(const EventLog& log, const Runs& runs, std::string_view text) {
  return SpansWhere(runs, 0, [number = NumberOf(log, text)](std::int32_t value) { return value == number; });
}

/// Each widened by `wider` on both sides.
std::vector<Stretch> WhereNot(const EventLog& log, const Runs& runs, std::string_view text,
                              std::int64_t wider) {
  return SpansWhere(runs, wider,
                    [number = NumberOf(log, text)](std::int32_t value) { return value != number; });
}

}  // namespace

std::int32_t NumberOf(const EventLog& log, std::string_view text) {
  const auto& all = log.texts.All();
  const auto found = std::ranges::find(all, text);
  return found == all.end() ? -1 : static_cast<std::int32_t>(found - all.begin());
}

LoggedStates::LoggedStates(const EventLog& log)
    : firstCard_(log.card.Empty() ? INT64_MAX : log.card.All().front().from),
      cardLocked_(Where(log, log.card, lockedCard)),
      cardUnsettled_(WhereNot(log, log.card, lockedCard, documentMargin)),
      followed_(log.bestSfp),
      linkDown_{SpanCursor(WhereNot(log, log.link[0], linkIsUp, 0)),
                SpanCursor(WhereNot(log, log.link[1], linkIsUp, 0))},
      linkUnsettled_{SpanCursor(WhereNot(log, log.link[0], linkIsUp, documentMargin)),
                     SpanCursor(WhereNot(log, log.link[1], linkIsUp, documentMargin))},
      sfpLabels_{NumberOf(log, sfpLabels[0].text), NumberOf(log, sfpLabels[1].text)} {}

bool LoggedStates::KnowsCard(std::int64_t time) const {
  constexpr std::int64_t longestWait = 30;
  return time >= firstCard_ - longestWait;
}

bool LoggedStates::CardLocked(std::int64_t time) { return cardLocked_.Covers(std::max(time, firstCard_)); }

bool LoggedStates::CardSettled(std::int64_t time) { return CardLocked(time) && !cardUnsettled_.Covers(time); }

int LoggedStates::FollowedSfp(std::int64_t time) {
  const std::int32_t label = followed_.At(time, -1);
  const auto* const found = std::ranges::find(sfpLabels_, label);
  return label < 0 || found == sfpLabels_.end() ? -1 : static_cast<int>(found - sfpLabels_.begin());
}

bool LoggedStates::LinkUp(int sfp, std::int64_t time) {
  return !linkDown_[static_cast<std::size_t>(sfp)].Covers(time);
}

bool LoggedStates::LinkSettled(int sfp, std::int64_t time) {
  return !linkUnsettled_[static_cast<std::size_t>(sfp)].Covers(time);
}

}  // namespace kestrune::report
