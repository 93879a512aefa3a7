#include "network/trace_file.h"

#include <cinttypes>

namespace kestrune::network {

std::unique_ptr<TraceFile> TraceFile::Open(const std::string& path) {
  File file(std::fopen(path.c_str(), "we"));
  if (!file) return nullptr;
  return std::unique_ptr<TraceFile>(new TraceFile(std::move(file)));
}

void TraceFile::Write(const std::string& interface, const ptp::Sample& sample) {
  if (sample.masterToFollowerDelay) {
    std::fprintf(file_.get(), "%s sync %" PRIu16 " masterToFollowerDelay %" PRId64 "\n", interface.c_str(),
                 sample.sequenceId, *sample.masterToFollowerDelay);
  } else if (sample.followerToMasterDelay) {
    std::fprintf(file_.get(),
                 "%s delay %" PRIu16 " followerToMasterDelay %" PRId64 " meanPathDelay %" PRId64 "\n",
                 interface.c_str(), sample.sequenceId, *sample.followerToMasterDelay, sample.meanPathDelay);
  }
}

/// Each second's line sends what stands in memory to the file.
void TraceFile::Write(const std::string& interface, const ptp::MessageCounters& counters) {
  std::fprintf(file_.get(),
               "%s counters announce %" PRIu32 " foreignAnnounce %" PRIu32 " sync %" PRIu32 " lost %" PRIu32
               " duplicate %" PRIu32 " late %" PRIu32 " followUp %" PRIu32 " delayReq %" PRIu32
               " delayResp %" PRIu32 " foreignDelayResp %" PRIu32 " management %" PRIu32 " discarded %" PRIu32
               "\n",
               interface.c_str(), counters.announceReceived, counters.announceForeignReceived,
               counters.syncReceived, counters.syncLost, counters.syncDuplicate, counters.syncLate,
               counters.followUpReceived, counters.delayReqSent, counters.delayRespReceived,
               counters.delayRespForeignReceived, counters.managementReceived, counters.discarded);
  std::fflush(file_.get());
}

}  // namespace kestrune::network
