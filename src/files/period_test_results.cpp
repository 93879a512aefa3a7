#include "files/period_test_results.h"

#include <array>
#include <bit>
#include <span>

#include "platform/clock.h"

namespace kestrune {
namespace {

/// An abbreviation of the columns and what the legend says it stands for.
struct Term {
  const char* abbreviation;
  const char* meaning;
};

struct GroupTerms {
  Term count;
  std::array<Term, quantitiesPerGroup> quantities;
};

// In the order of PeriodResults, GroupResults and QuantityResults, from which the values come.

constexpr GroupTerms groups[] = {
    {{"numsynclasttel", "numberOfSyncSinceLastTelemetry"},
     {{{"masfoldel", "masterToFollowerDelay"},
       {"ortsjit", "originTimestampJitter"},
       {"offrmast", "offsetFromMaster"}}}},
    {{"numdelresplasttel", "numberOfDelayRespSinceLastTelemetry"},
     {{{"mepadel", "meanPathDelay"},
       {"folmastdel", "followerToMasterDelay"},
       {"delreqtodelresde", "delayReqToDelayRespDelay"}}}},
};

constexpr Term figures[] = {
    {"mi", "minimum"}, {"ma", "maximum"}, {"ave", "average"}, {"sd", "standard deviation"}};

constexpr const char* parts[] = {"s", "ns"};

constexpr std::size_t valuesPerQuantity = std::size(figures) * std::size(parts);
constexpr std::size_t valuesPerPeriod = std::size(groups) * (1 + quantitiesPerGroup * valuesPerQuantity);

template <std::size_t count>
using Values = std::array<std::int32_t, count>;

std::string Join(std::span<const std::int32_t> values) {
  std::string text;
  for (const std::int32_t value : values) text.append(text.empty() ? "" : ",").append(std::to_string(value));
  return text;
}

/// "masfoldel: masterToFollowerDelay, " and so on.
std::string Legend(std::span<const Term> terms) {
  std::string text;
  for (const Term& term : terms)
    text.append(term.abbreviation).append(": ").append(term.meaning).append(", ");
  return text;
}

/// A line of the legend: no blank at its end.
std::string Line(std::string text) { return text.substr(0, text.find_last_not_of(' ') + 1) + '\n'; }

std::string ColumnNames() {
  std::string text = "epchtm, time, tsdurmin, sfp";
  for (const GroupTerms& group : groups) {
    text.append(", ").append(group.count.abbreviation);
    for (const Term& quantity : group.quantities) {
      for (const Term& figure : figures) {
        for (const char* part : parts) {
          text.append(", ").append(quantity.abbreviation).append("-").append(figure.abbreviation);
          text.append("-").append(part);
        }
      }
    }
  }
  return text;
}

}  // namespace

std::string PeriodTestResultsHeader() {
  const std::string indent(8, ' ');
  const Term counts[] = {groups[0].count, groups[1].count};
  std::string text =
      "Legend: epchtm: epoch time,  tsdurmin: test duration in minutes, sfp: SFP label test results,\n";
  text += Line(indent + Legend(counts));
  for (const GroupTerms& group : groups) text += Line(indent + Legend(group.quantities));
  // Readers know the nanoseconds' "ms".
  text += indent + Legend(figures) + "s: seconds, ms: nanoseconds.\n";
  return text + '\n' + ColumnNames();
}

std::string FormatPeriodTestLine(const PeriodResults& results, std::uint32_t durationMinutes,
                                 std::uint32_t sfp, std::int64_t epochSeconds) {
  return std::to_string(epochSeconds) + ',' + LocalTimeText(epochSeconds) + ',' +
         std::to_string(durationMinutes) + ',' + std::to_string(sfp) + ',' + FormatPeriodResults(results) +
         '\n';
}

std::string FormatPeriodResults(const PeriodResults& results) {
  return Join(std::bit_cast<Values<valuesPerPeriod>>(results));
}

std::string FormatQuantityResults(const QuantityResults& results) {
  return Join(std::bit_cast<Values<valuesPerQuantity>>(results));
}

}  // namespace kestrune
