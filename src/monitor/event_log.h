#pragma once

#include <rapidjson/document.h>

#include <string>

#include "monitor/log_file.h"
#include "platform/mutex.h"

namespace kestrune {

/// The event log of a run: JSON documents, one behind the other, each whole. From any thread.
class EventLog {
 public:
  /// Opens the log or creates it; false as LogFile::OpenText.
  bool Open(const std::string& name);

  /// Appends a document, indented by four blanks a level, and a newline; it is in the file when this returns.
  /// Does nothing before Open and after Close.
  void WriteEvent(const rapidjson::Document& document);

  void Close();

 private:
  Mutex mutex_;
  LogFile file_ GUARDED_BY(mutex_){"event log", "Documents"};
};

}  // namespace kestrune
