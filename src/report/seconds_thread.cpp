#include "report/seconds_thread.h"

namespace kestrune::report {

SecondsThread::SecondsThread(RawDataPass& pass) : pass_(pass), thread_([this] { TakeAll(); }) {}

void SecondsThread::Batch::Clear() {
  masters.clear();
  seconds.clear();
  checkpoints.clear();
}

void SecondsThread::AddSecond(int sfp, const TimedRecord& record) {
  batch_.seconds.emplace_back(sfp, record);
  if (batch_.seconds.size() < secondsPerBatch) return;
  handOver_.Put(batch_);
  batch_.Clear();
}

void SecondsThread::AddCheckpoint(const Checkpoint& checkpoint) {
  batch_.checkpoints.push_back({batch_.seconds.size(), checkpoint});
}

void SecondsThread::Finish() {
  handOver_.Put(batch_);
  handOver_.End();
  thread_.join();
}

void SecondsThread::TakeAll() {
  Batch batch;
  while (handOver_.Take(batch)) Pass(batch);
}

void SecondsThread::Pass(Batch& batch) {
  for (const Master& master : batch.masters) pass_.OnMaster(master);
  auto checkpoint = batch.checkpoints.begin();
  for (std::size_t i = 0; i <= batch.seconds.size(); ++i) {
    for (; checkpoint != batch.checkpoints.end() && checkpoint->behind == i; ++checkpoint)
      pass_.OnCheckpoint(checkpoint->checkpoint);
    if (i < batch.seconds.size()) pass_.OnSecond(batch.seconds[i].sfp, batch.seconds[i].record);
  }
}

}  // namespace kestrune::report
