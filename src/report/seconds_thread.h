#pragma once

#include <cstddef>
#include <thread>
#include <vector>

#include "report/hand_over.h"
#include "report/raw_data_pass.h"
#include "report/recording.h"
#include "report/retimer.h"

namespace kestrune::report {

/// Gives a pass its seconds in a thread of its own, in the order in which they come, while the thread that
/// walks through the raw data goes on. The walking thread constructs it and calls it.
class SecondsThread {
 public:
  explicit SecondsThread(RawDataPass& pass);

  void AddMaster(const Master& master) { batch_.masters.push_back(master); }
  void AddSecond(int sfp, const TimedRecord& record);
  void AddCheckpoint(const Checkpoint& checkpoint);
  /// Behind the last second: returns when the pass has had all. Call it once.
  void Finish();

 private:
  struct Second {
    Second(int sfpIndex, const TimedRecord& timed) : record(timed), sfp(sfpIndex) {}

    TimedRecord record;
    int sfp;
  };
  struct PlacedCheckpoint {
    std::size_t behind;  ///< so many seconds of the batch
    Checkpoint checkpoint;
  };
  struct Batch {
    std::vector<Master> masters;  ///< of the seconds here, or of later ones
    std::vector<Second> seconds;
    std::vector<PlacedCheckpoint> checkpoints;

    void Clear();
  };

  static constexpr std::size_t secondsPerBatch = 2048;

  void TakeAll();
  void Pass(Batch& batch);

  RawDataPass& pass_;  ///< the own thread only
  Batch batch_;        ///< being filled
  HandOver<Batch> handOver_;
  std::thread thread_;
};

}  // namespace kestrune::report
