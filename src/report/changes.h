#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "report/recording.h"
#include "report/rules.h"

namespace kestrune::report {

/// What an SFP's records tell of its master, and can change.
enum class MasterField {
  Grandmaster,
  Sender,
  Address,
  Domain,
  ClockClass,
  UtcOffset,
  StepsRemoved,
  TimeSource,
  Accuracy,
  Variance,
  Priority1,
  Priority2,
  UtcOffsetValid,
  Leap,
  Traceable,
  Timescale,
  TwoStep,
  AnnounceInterval,
  SyncInterval,
  DelayReqInterval,
};

std::string_view FieldName(MasterField field);
std::string FieldText(MasterField field, const Master& master);

/// The fields in which they differ. Of two grandmasters: whatever goes with one of them isn't a change of it,
/// so then only the grandmaster and the UTC offset count.
std::vector<MasterField> DifferingFields(const Master& before, const Master& after);

/// Did the UTC offset leap at a time where no leap second was announced?
bool ChangesUtcOffsetUnannounced(const Recording& recording, int sfp, std::int64_t time, const Master& before,
                                 const Master& after);

/// What lies outside ST 2059-2's profile: "domain 130", "Sync interval 2^1 s"; empty for a master within it.
std::vector<std::string> OutsideProfile(const Master& master);

/// Tells each change of one SFP's master to another; times without a master lie between or don't.
void ForEachMasterChange(
    const Recording& recording, int sfp,
    const std::function<void(std::int64_t time, std::int32_t before, std::int32_t after)>& tell);

/// Tells each stretch of time in which one SFP follows a master: what it names in other states is old.
void ForEachFollowedMaster(
    const Recording& recording, int sfp,
    const std::function<void(std::int64_t from, std::int64_t to, std::int32_t master)>& tell);

/// Something that changed, or was otherwise than the event log says, and stands in no document.
struct Change {
  std::int64_t time = 0;   ///< of the first one
  std::int64_t until = 0;  ///< of the last one that was the same, or the end of what lasted
  std::int64_t count = 1;  ///< how often the same happened
  int sfp = -1;            ///< -1: both, or neither in particular
  std::string what;
  std::string from;
  std::string to;
  Severity severity = Severity::Info;
};

/// What changed that nobody logged, in the order of time: changes in records without a document, and
/// documents that contradict records for more than ten seconds. The same thing on both SFPs, and the same
/// again and again, is one.
std::vector<Change> FindChanges(const Recording& recording);

}  // namespace kestrune::report
