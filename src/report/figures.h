#pragma once

#include <string>
#include <vector>

#include "report/judge.h"

namespace kestrune::report {

/// A table of the page's figures. The first cell of a row is its heading.
struct FigureTable {
  std::string caption;
  std::vector<std::string> columns;
  std::vector<std::vector<std::string>> rows;
};

/// Distributions, the six quantities, lock, the difference of the SFPs and the link, as far as there is data.
std::vector<FigureTable> FigureTables(const Judgement& judgement);

/// How long one SFP, or the card, was out of lock, in seconds; start-up apart.
struct LockFigures {
  std::int64_t firstLock = -1;  ///< from the first record; -1: never
  std::int64_t losses = 0;
  std::int64_t unlocked = 0;
  std::int64_t longest = 0;
  std::int64_t observed = 0;
};
LockFigures LockFiguresOf(const Judgement& judgement, int sfp);
LockFigures CardLockFiguresOf(const Judgement& judgement);

/// A day (UTC) judged by itself: by its offset, its lock, its redundancy and its changes of grandmaster.
Severity SeverityOfDay(const DayFigures& day, const Limits& limits);

}  // namespace kestrune::report
