#include "monitor/period_test_results.h"

#include "platform/clock.h"

namespace kestrune {
namespace {

std::string FormatTime(const SecondsNanoseconds& time) {
  return std::to_string(time.seconds) + ',' + std::to_string(time.nanoseconds);
}

std::string FormatGroup(const GroupResults& group) {
  std::string text = std::to_string(group.count);
  for (const QuantityResults& quantity : group.quantities) text += ',' + FormatQuantityResults(quantity);
  return text;
}

}  // namespace

std::string PeriodTestResultsHeader() {
  return "Legend: epchtm: epoch time,  tsdurmin: test duration in minutes, sfp: SFP label test results,\n"
         "        numsynclasttel: numberOfSyncSinceLastTelemetry, numdelresplasttel: "
         "numberOfDelayRespSinceLastTelemetry,\n"
         "        masfoldel: masterToFollowerDelay, ortsjit: originTimestampJitter, offrmast: "
         "offsetFromMaster,\n"
         "        mepadel: meanPathDelay, folmastdel: followerToMasterDelay, delreqtodelresde: "
         "delayReqToDelayRespDelay,\n"
         "        mi: minimum, ma: maximum, ave: average, sd: standard deviation, s: seconds, ms: "
         "nanoseconds.\n"
         "\n"
         "epchtm, time, tsdurmin, sfp, numsynclasttel, masfoldel-mi-s, masfoldel-mi-ns, masfoldel-ma-s, "
         "masfoldel-ma-ns, masfoldel-ave-s, masfoldel-ave-ns, masfoldel-sd-s, masfoldel-sd-ns, ortsjit-mi-s, "
         "ortsjit-mi-ns, ortsjit-ma-s, ortsjit-ma-ns, ortsjit-ave-s, ortsjit-ave-ns, ortsjit-sd-s, "
         "ortsjit-sd-ns, "
         "offrmast-mi-s, offrmast-mi-ns, offrmast-ma-s, offrmast-ma-ns, offrmast-ave-s, offrmast-ave-ns, "
         "offrmast-sd-s, offrmast-sd-ns, numdelresplasttel, mepadel-mi-s, mepadel-mi-ns, mepadel-ma-s, "
         "mepadel-ma-ns, mepadel-ave-s, mepadel-ave-ns, mepadel-sd-s, mepadel-sd-ns, folmastdel-mi-s, "
         "folmastdel-mi-ns, folmastdel-ma-s, folmastdel-ma-ns, folmastdel-ave-s, folmastdel-ave-ns, "
         "folmastdel-sd-s, folmastdel-sd-ns, delreqtodelresde-mi-s, delreqtodelresde-mi-ns, "
         "delreqtodelresde-ma-s, delreqtodelresde-ma-ns, delreqtodelresde-ave-s, delreqtodelresde-ave-ns, "
         "delreqtodelresde-sd-s, delreqtodelresde-sd-ns";
}

std::string FormatPeriodTestLine(const PeriodResults& results, std::uint32_t durationMinutes,
                                 std::uint32_t sfp, std::int64_t epochSeconds) {
  return std::to_string(epochSeconds) + ',' + LocalTimeText(epochSeconds) + ',' +
         std::to_string(durationMinutes) + ',' + std::to_string(sfp) + ',' + FormatPeriodResults(results) +
         '\n';
}

std::string FormatPeriodResults(const PeriodResults& results) {
  return FormatGroup(results.syncGroup) + ',' + FormatGroup(results.delayRespGroup);
}

std::string FormatQuantityResults(const QuantityResults& results) {
  return FormatTime(results.minimum) + ',' + FormatTime(results.maximum) + ',' + FormatTime(results.average) +
         ',' + FormatTime(results.standardDeviation);
}

}  // namespace kestrune
