#include "report/buckets.h"

#include <algorithm>
#include <cmath>

namespace kestrune::report {

double Stat::StandardDeviation() const { return count > 0 ? std::sqrt(m2 / static_cast<double>(count)) : 0; }

std::int64_t Stat::Worst() const {
  if (count == 0) return 0;
  return greatest > 0 && (least >= 0 || greatest >= -least) ? greatest : least;
}

void Bucket::Merge(const Bucket& other) {
  records += other.records;
  locked += other.locked;
  syncs += other.syncs;
  syncsDue += other.syncsDue;
  resps += other.resps;
  respsDue += other.respsDue;
  followUps += other.followUps;
  followUpsDue += other.followUpsDue;
  announces += other.announces;
  announcesDue += other.announcesDue;
  discarded += other.discarded;
  linkErrors += other.linkErrors;
  linkDrops += other.linkDrops;
  if (std::fabs(other.worstSecond) > std::fabs(worstSecond)) {
    worstSecond = other.worstSecond;
    worstSecondAt = static_cast<std::uint32_t>(other.start + other.worstSecondAt - start);
  }
  offset.Merge(other.offset);
  path.Merge(other.path);
}

void DifferenceBucket::Merge(const DifferenceBucket& other) {
  all.Merge(other.all);
  locked.Merge(other.locked);
}

}  // namespace kestrune::report
