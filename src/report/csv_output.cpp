#include "report/csv_output.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "report/bucket_series.h"

namespace kestrune::report {
namespace {

constexpr std::int64_t secondsPerRead = 4 * 3600;
constexpr std::int64_t longestEmptyStretch = 3600;
constexpr char header[] =
    "time,sfp,records,locked,syncs,syncs_due,delay_resps,delay_resps_due,follow_ups,follow_ups_due,discarded,"
    "link_errors,link_drops,offset_min_ns,offset_max_ns,offset_avg_ns,offset_sd_ns,path_min_ns,path_max_ns,"
    "path_avg_ns,"
    "path_sd_ns\n";

void AppendStat(const Stat& stat, std::string& line) {
  if (stat.count == 0) {
    line += ",,,,";
    return;
  }
  for (const std::int64_t value :
       {stat.least, stat.greatest, static_cast<std::int64_t>(std::llround(stat.mean)),
        static_cast<std::int64_t>(std::llround(stat.StandardDeviation()))}) {
    line += ',';
    line += std::to_string(value);
  }
}

std::string LineOf(const Bucket& bucket, char sfp) {
  std::string line = CivilTimeText(bucket.start) + "Z," + sfp;
  line[10] = 'T';
  for (const std::uint32_t value :
       {bucket.records, bucket.locked, bucket.syncs, bucket.syncsDue, bucket.resps, bucket.respsDue,
        bucket.followUps, bucket.followUpsDue, bucket.discarded, bucket.linkErrors, bucket.linkDrops}) {
    line += ',';
    line += std::to_string(value);
  }
  AppendStat(bucket.offset, line);
  AppendStat(bucket.path, line);
  return line + '\n';
}

/// The line of a step in which an SFP has no record.
std::string EmptyLine(std::int64_t start, char sfp) {
  std::string line = CivilTimeText(start) + "Z," + sfp + ",0";
  line[10] = 'T';
  return line.append(std::ranges::count(header, ',') - 2, ',') + '\n';
}

/// Writes the lines of step after step. Of a long stretch without any record only the first step stands
/// there.
class Table {
 public:
  Table(std::int64_t step, std::ostream& output) : step_(step), output_(output) { output_ << header; }

  /// The steps of [from, to); the seconds are merged into them.
  void Write(std::int64_t from, std::int64_t to, Seconds& seconds) {
    std::array<std::size_t, sfpCount> next{};
    for (auto& sfp : seconds.sfp) MergeBuckets(sfp, step_);
    for (std::int64_t start = from; start < to; start += step_) {
      std::array<const Bucket*, sfpCount> buckets{};
      for (std::size_t k = 0; k < sfpCount; ++k) {
        const auto& all = seconds.sfp[k];
        if (next[k] < all.size() && all[next[k]].start == start) buckets[k] = &all[next[k]++];
      }
      if (buckets[0] == nullptr && buckets[1] == nullptr) {
        if (emptySteps_++ == 0) firstEmpty_ = start;
        continue;
      }
      WriteEmpty();
      WriteStep(start, buckets);
    }
  }

  void WriteEmpty() {
    if (emptySteps_ * step_ > longestEmptyStretch) emptySteps_ = 1;
    for (; emptySteps_ > 0; --emptySteps_, firstEmpty_ += step_) WriteStep(firstEmpty_, {});
  }

 private:
  void WriteStep(std::int64_t start, const std::array<const Bucket*, sfpCount>& buckets) {
    for (std::size_t k = 0; k < sfpCount; ++k) {
      const char label = k == 0 ? 'A' : 'B';
      output_ << (buckets[k] != nullptr ? LineOf(*buckets[k], label) : EmptyLine(start, label));
    }
  }

  const std::int64_t step_;
  std::ostream& output_;
  std::int64_t firstEmpty_ = 0;
  std::int64_t emptySteps_ = 0;  ///< that wait for what follows them
};

}  // namespace

bool WriteCsv(const Recording& recording, std::int64_t step, std::ostream& output) {
  Table table(step, output);
  SecondsReader reader(recording);
  Seconds seconds;
  const std::int64_t first = BucketStart(recording.first, step);
  const std::int64_t chunk = std::max(step, secondsPerRead / step * step);
  for (std::int64_t from = first; from < recording.end; from += chunk) {
    const std::int64_t to = std::min(from + chunk, BucketStart(recording.end - 1, step) + step);
    if (step % recording.bucketWidth == 0) {
      // No need to look at the seconds.
      seconds = {};
      for (std::size_t k = 0; k < sfpCount; ++k) {
        for (const Bucket& bucket : recording.sfp[k].buckets) {
          if (bucket.start >= from && bucket.start < to) seconds.sfp[k].push_back(bucket);
        }
      }
    } else {
      reader.Read(from, to, seconds);
    }
    table.Write(from, to, seconds);
  }
  table.WriteEmpty();
  output.flush();
  return output.good();
}

}  // namespace kestrune::report
