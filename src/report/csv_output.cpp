#include "report/csv_output.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "report/bucket_series.h"

namespace kestrune::report {
namespace {

constexpr std::int64_t secondsPerRead = 4 * 3600;
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

void WriteSteps(Seconds& seconds, std::int64_t step, std::int64_t from, std::int64_t to,
                std::ostream& output) {
  std::array<std::size_t, sfpCount> next{};
  for (auto& sfp : seconds.sfp) MergeBuckets(sfp, step);
  for (std::int64_t start = from; start < to; start += step) {
    for (std::size_t k = 0; k < sfpCount; ++k) {
      const auto& all = seconds.sfp[k];
      const char label = k == 0 ? 'A' : 'B';
      const bool isThere = next[k] < all.size() && all[next[k]].start == start;
      output << (isThere ? LineOf(all[next[k]++], label) : EmptyLine(start, label));
    }
  }
}

}  // namespace

bool WriteCsv(const Recording& recording, std::int64_t step, std::ostream& output) {
  output << header;
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
    WriteSteps(seconds, step, from, to, output);
  }
  output.flush();
  return output.good();
}

}  // namespace kestrune::report
