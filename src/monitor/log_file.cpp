#include "monitor/log_file.h"

#include "diag/result_codes.h"
#include "diag/status.h"
#include "platform/paths.h"

namespace kestrune {

bool LogFile::OpenUnits(const std::string& name, std::int64_t unitSize) {
  isText_ = false;
  if (!file_.Open(name)) return false;
  if (const std::int64_t torn = file_.Size() % unitSize; torn > 0) {
    rest_.assign(static_cast<std::size_t>(unitSize - torn), '\0');
  }
  WriteRest();
  return true;
}

bool LogFile::OpenText(const std::string& name) {
  isText_ = true;
  if (!file_.Open(name)) return false;
  if (!file_.EndsWith('\n')) rest_ = NativeLines("\n");
  WriteRest();
  return true;
}

void LogFile::Append(std::string_view piece) {
  if (!file_.IsOpen()) return;
  if (WriteRest() && (isText_ ? WriteWhole(NativeLines(piece)) : WriteWhole(piece))) {
    if (failing_) Report(" file is written again. ", ZV_NOERROR);
    failing_ = false;
    lostCount_ = 0;
    return;
  }
  ++lostCount_;
  if (failing_) return;
  failing_ = true;
  PrintStatus((std::string("Could not write the ") + name_ + " file").c_str(), ZV_E_FILEACCESS_WRITE_FAILED);
}

void LogFile::Close() {
  if (file_.IsOpen() && failing_) {
    if (WriteRest() && lostCount_ == 0) {
      Report(" file is written again. ", ZV_NOERROR);
    } else {
      Report(" file was not written to its end. ", ZV_E_FILEACCESS_WRITE_FAILED);
    }
  }
  file_.Close();
}

void LogFile::Report(const char* what, HRESULT code) const {
  const std::string text =
      std::string("The ") + name_ + what + pieces_ + " lost: " + std::to_string(lostCount_);
  PrintStatus(text.c_str(), code);
}

/// Whether the file's end is whole.
bool LogFile::WriteRest() {
  rest_.erase(0, file_.Append(rest_));
  if (!rest_.empty()) return false;
  if (restIsPiece_) --lostCount_;
  restIsPiece_ = false;
  return true;
}

/// Writes the piece or takes back what was written of it; where the system refuses that, its rest comes first
/// next time.
bool LogFile::WriteWhole(std::string_view piece) {
  const std::size_t taken = file_.Append(piece);
  if (taken == piece.size()) return true;
  if (taken > 0 && !file_.TakeBack(taken)) {
    rest_ = piece.substr(taken);
    restIsPiece_ = true;
  }
  return false;
}

}  // namespace kestrune
