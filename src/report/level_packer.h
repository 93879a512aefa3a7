#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "report/page_levels.h"
#include "report/recording.h"

namespace kestrune::report {

/// The whole recording in one width, a multiple of its buckets'.
PageLevel PackWhole(const Recording& recording, std::int64_t width);

/// What is shown on demand, in one width, a multiple of the recording's buckets' and of the series'.
PageLevel PackSideLevel(const Recording& recording, const SideSeries& side, std::int64_t width);

/// The single seconds of these parts, which rise and don't overlap, merged into buckets of `width`. Reads the
/// raw data again, in this thread and another one. Ends with the chunk that takes it beyond `room` bytes.
PageLevel PackParts(const Recording& recording, const std::vector<Stretch>& parts, std::int64_t width,
                    int perNanosecond, std::size_t room);

}  // namespace kestrune::report
