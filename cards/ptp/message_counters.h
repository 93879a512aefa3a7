#pragma once

#include <cstdint>

namespace kestrune::ptp {

/// Messages since a follower began. Of Sync, Follow_Up and Delay_Resp, the parent's alone.
struct MessageCounters {
  std::uint32_t announceReceived = 0;
  std::uint32_t announceForeignReceived = 0;  ///< from others than the parent
  std::uint32_t syncReceived = 0;
  std::uint32_t syncLost = 0;       ///< by the gaps in their sequence
  std::uint32_t syncDuplicate = 0;  ///< that had been received before
  std::uint32_t syncLate = 0;       ///< that a later one had overtaken
  std::uint32_t followUpReceived = 0;
  std::uint32_t delayReqSent = 0;
  std::uint32_t delayReqReceived = 0;
  std::uint32_t delayRespReceived = 0;
  std::uint32_t delayRespForeignReceived = 0;  ///< from others than the parent, to the own requests
  std::uint32_t managementReceived = 0;
  std::uint32_t discarded = 0;  ///< for want of a partner, as a repetition or as nonsense
};

}  // namespace kestrune::ptp
