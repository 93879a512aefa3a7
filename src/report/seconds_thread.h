#pragma once

#include <cstddef>
#include <thread>
#include <vector>

#include "report/hand_over.h"
#include "report/raw_data_pass.h"
#include "report/recording.h"
#include "report/seconds_walk.h"

namespace kestrune::report {

/// Finds the records' seconds and gives them to a pass in a thread of its own, while the thread that walks
/// through the raw data goes on. The walking thread constructs it and calls it.
class SecondsThread {
 public:
  /// No second before `first` is found.
  SecondsThread(RawDataPass& pass, std::int64_t first);

  void AddMaster(const Master& master) { batch_.masters.push_back(master); }
  /// The record to be filled in before `AddRecord`.
  TimedRecord& Slot() { return batch_.records[batch_.count].record; }
  void AddRecord(int sfp);
  /// Behind the last record: returns when the pass has had all. Call it once.
  void Finish();

 private:
  struct Record {
    TimedRecord record;
    int sfp;
  };
  struct Batch {
    std::vector<Master> masters;  ///< of the records here, or of later ones
    std::vector<Record> records;  ///< as many as a batch may have
    std::size_t count = 0;        ///< of these, filled in
  };

  static constexpr std::size_t recordsPerBatch = 2048;

  void Begin();
  void TakeAll();

  RawDataPass& pass_;  ///< this and the walk: the own thread only
  SecondsWalk walk_;
  Batch batch_;  ///< being filled
  HandOver<Batch> handOver_;
  std::thread thread_;
};

}  // namespace kestrune::report
