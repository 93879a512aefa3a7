#include "report/metrics_state.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace kestrune::report {
namespace {

constexpr std::int64_t version = 1;

// Each structure's members by name, once for both directions.

template <typename Archive>
void Describe(Archive& archive, MessageTally& tally) {
  archive("due", tally.due);
  archive("got", tally.got);
}

template <typename Archive>
void Describe(Archive& archive, MetricsSums& sums) {
  archive("records", sums.records);
  archive("relocks", sums.relocks);
  archive("messages", sums.messages);
  archive("cardUnlocked", sums.cardUnlocked);
  archive("beyondWarn", sums.beyondWarn);
  archive("beyondFail", sums.beyondFail);
  archive("grandmasterChanges", sums.grandmasterChanges);
}

template <typename Archive>
void Describe(Archive& archive, StartUp& startUp) {
  archive("from", startUp.from);
  archive("sfp", startUp.sfp);
  archive("card", startUp.card);
}

template <typename Archive>
void Describe(Archive& archive, RelockMemory& memory) {
  archive("hasLocked", memory.hasLocked);
  archive("lost", memory.lost);
  archive("lockedGrandmaster", memory.lockedGrandmaster);
}

template <typename Archive>
void Describe(Archive& archive, WatchMemory& memory) {
  archive("startUp", memory.startUp);
  archive("last", memory.last);
  archive("followedGrandmaster", memory.followedGrandmaster);
  archive("servedBy", memory.servedBy);
  archive("relocks", memory.relocks);
}

template <typename Archive>
void Describe(Archive& archive, MetricsMark& mark) {
  archive("place", mark.place);
  archive("last", mark.last);
  archive("newest", mark.newest);
  archive("watch", mark.watch);
  archive("sums", mark.sums);
}

template <typename Archive>
void Describe(Archive& archive, LoggedRun& run) {
  archive("from", run.from);
  archive("text", run.text);
}

template <typename Archive>
void Describe(Archive& archive, EventLogMemory& memory) {
  archive("place", memory.place);
  archive("starts", memory.starts);
  archive("card", memory.card);
  archive("followed", memory.followed);
  archive("link", memory.link);
}

template <typename Archive>
void Describe(Archive& archive, MetricsState& state) {
  std::int64_t itsVersion = version;
  archive("version", itsVersion);
  if (itsVersion != version) archive.Refuse();
  archive("limits", state.limits);
  archive("beginning", state.beginning);
  archive("beforeMark", state.beforeMark);
  archive("rawDataBytes", state.rawDataBytes);
  archive("mark", state.mark);
  archive("eventLog", state.eventLog);
  archive("shown", state.shown);
  archive("verdict", state.verdict);
  archive("judgedAt", state.judgedAt);
  archive("judgedSeconds", state.judgedSeconds);
}

class Saver {
 public:
  template <typename T>
  void operator()(const char* name, T& value) {
    writer_.Key(name);
    Put(value);
  }
  void Refuse() {}

  template <typename T>
  std::string Save(T& value) {
    Put(value);
    return std::string(buffer_.GetString(), buffer_.GetSize()) + '\n';
  }

 private:
  void Put(bool value) { writer_.Bool(value); }
  void Put(std::int64_t value) { writer_.Int64(value); }
  void Put(std::uint64_t value) { writer_.Uint64(value); }
  void Put(double value) { writer_.Double(value); }
  void Put(std::string& text) { writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size())); }
  void Put(std::map<std::string, double>& values) {
    writer_.StartObject();
    for (auto& [name, value] : values) (*this)(name.c_str(), value);
    writer_.EndObject();
  }
  template <typename T, std::size_t count>
  void Put(std::array<T, count>& items) {
    PutAll(items);
  }
  template <typename T>
  void Put(std::vector<T>& items) {
    PutAll(items);
  }
  template <typename T>
  void Put(T& value) {
    writer_.StartObject();
    Describe(*this, value);
    writer_.EndObject();
  }
  template <typename Items>
  void PutAll(Items& items) {
    writer_.StartArray();
    for (auto& item : items) Put(item);
    writer_.EndArray();
  }

  rapidjson::StringBuffer buffer_;
  rapidjson::Writer<rapidjson::StringBuffer> writer_{buffer_};
};

class Loader {
 public:
  template <typename T>
  void operator()(const char* name, T& value) {
    const auto member = at_->FindMember(name);
    if (member == at_->MemberEnd()) return Refuse();
    Take(member->value, value);
  }
  void Refuse() { good_ = false; }

  /// False when anything was missing or of another type.
  template <typename T>
  bool Load(const rapidjson::Value& json, T& value) {
    Take(json, value);
    return good_;
  }

 private:
  using Value = rapidjson::Value;

  void Take(const Value& json, bool& value) {
    Set(json.IsBool(), value, [&] { return json.GetBool(); });
  }
  void Take(const Value& json, std::int64_t& value) {
    Set(json.IsInt64(), value, [&] { return json.GetInt64(); });
  }
  void Take(const Value& json, std::uint64_t& value) {
    Set(json.IsUint64(), value, [&] { return json.GetUint64(); });
  }
  void Take(const Value& json, double& value) {
    Set(json.IsNumber(), value, [&] { return json.GetDouble(); });
  }
  void Take(const Value& json, std::string& text) {
    Set(json.IsString(), text, [&] { return std::string(json.GetString(), json.GetStringLength()); });
  }
  void Take(const Value& json, std::map<std::string, double>& values) {
    if (!json.IsObject()) return Refuse();
    for (const auto& member : json.GetObject()) Take(member.value, values[member.name.GetString()]);
  }
  template <typename T, std::size_t count>
  void Take(const Value& json, std::array<T, count>& items) {
    if (!json.IsArray() || json.Size() != count) return Refuse();
    for (std::size_t i = 0; i < count; ++i) Take(json[static_cast<rapidjson::SizeType>(i)], items[i]);
  }
  template <typename T>
  void Take(const Value& json, std::vector<T>& items) {
    if (!json.IsArray()) return Refuse();
    for (const Value& item : json.GetArray()) Take(item, items.emplace_back());
  }
  template <typename T>
  void Take(const Value& json, T& value) {
    if (!json.IsObject()) return Refuse();
    const Value* outer = at_;
    at_ = &json;
    Describe(*this, value);
    at_ = outer;
  }
  template <typename T, typename Get>
  void Set(bool fits, T& value, Get get) {
    if (!fits) return Refuse();
    value = get();
  }

  const Value* at_ = nullptr;
  bool good_ = true;
};

}  // namespace

std::string WriteState(const MetricsState& state) {
  MetricsState copy = state;
  return Saver().Save(copy);
}

std::optional<MetricsState> ReadState(std::string_view json) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
  MetricsState state;
  if (document.HasParseError() || !Loader().Load(document, state)) return std::nullopt;
  return state;
}

}  // namespace kestrune::report
