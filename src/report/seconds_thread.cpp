#include "report/seconds_thread.h"

namespace kestrune::report {

SecondsThread::SecondsThread(RawDataPass& pass, std::int64_t first)
    : pass_(pass), walk_(pass, first), thread_([this] { TakeAll(); }) {
  Begin();
}

/// A batch that was taken has its records still.
void SecondsThread::Begin() {
  batch_.masters.clear();
  batch_.records.resize(recordsPerBatch);
  batch_.count = 0;
}

void SecondsThread::AddRecord(int sfp) {
  batch_.records[batch_.count].sfp = sfp;
  if (++batch_.count < recordsPerBatch) return;
  handOver_.Put(batch_);
  Begin();
}

void SecondsThread::Finish() {
  handOver_.Put(batch_);
  handOver_.End();
  thread_.join();
}

void SecondsThread::TakeAll() {
  Batch batch;
  while (handOver_.Take(batch)) {
    for (const Master& master : batch.masters) pass_.OnMaster(master);
    for (std::size_t i = 0; i < batch.count; ++i) {
      const auto& [record, sfp] = batch.records[i];
      walk_.Slot(sfp) = record;
      walk_.Commit(sfp);
    }
  }
  walk_.Finish();
}

}  // namespace kestrune::report
