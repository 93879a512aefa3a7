#include "monitor/event_log.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

namespace kestrune {

bool EventLog::Open(const std::string& name) {
  const MutexLock lock(mutex_);
  return file_.OpenText(name);
}

void EventLog::WriteEvent(const rapidjson::Document& document) {
  rapidjson::StringBuffer text;
  rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(text);
  writer.SetIndent(' ', 4);
  document.Accept(writer);
  text.Put('\n');

  const MutexLock lock(mutex_);
  file_.Append({text.GetString(), text.GetSize()});
}

void EventLog::Close() {
  const MutexLock lock(mutex_);
  file_.Close();
}

}  // namespace kestrune
