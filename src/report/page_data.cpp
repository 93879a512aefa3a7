#include "report/page_data.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>
#include <span>
#include <unordered_map>

#include "report/packing.h"
#include "report/texts.h"

namespace kestrune::report {
namespace {

constexpr std::size_t mostRuns = 8000;  // of one kind
constexpr std::size_t mostGaps = 4000;
constexpr std::size_t mostEvents = 8000;
constexpr std::size_t mostNameBytes = 50'000;  // of what the lanes show
constexpr std::size_t mostTextBytes = 250'000;
constexpr double decadeSteps = 10;
constexpr std::int64_t histogramBins = 160;

/// Texts of the event log in the order of their use; of too many the first ones, and one for all others.
class Names {
 public:
  Names(const Texts& texts, std::size_t mostBytes) : texts_(texts), room_(mostBytes) {}

  bool HasRoomFor(std::int32_t text) const {
    return numbers_.contains(text) || (others_ == 0 && texts_[text].size() <= room_);
  }
  int NumberOf(std::int32_t text) {
    const auto [place, isNew] = numbers_.try_emplace(text, static_cast<int>(used_.size()));
    if (!isNew) return place->second;
    if (others_ == 0 && texts_[text].size() <= room_) {
      room_ -= texts_[text].size();
      used_.push_back(text);
    } else if (others_++ == 0) {
      used_.push_back(isOther);
    } else {
      --place->second;
    }
    return place->second;
  }
  const std::vector<std::int32_t>& Used() const { return used_; }
  std::string TextOf(std::int32_t text) const {
    return text == isOther ? "one of " + std::to_string(others_) + " more texts, which the event log has"
                           : texts_[text];
  }

 private:
  static constexpr std::int32_t isOther = -1;

  const Texts& texts_;
  std::size_t room_;
  std::int64_t others_ = 0;
  std::unordered_map<std::int32_t, int> numbers_;
  std::vector<std::int32_t> used_;
};

std::string IdentityText(std::uint64_t identity) {
  std::string text;
  for (int shift = 56; shift >= 0; shift -= 8) {
    constexpr char digits[] = "0123456789abcdef";
    const auto octet = static_cast<std::size_t>(identity >> shift & 255);
    if (!text.empty()) text += '-';
    text += digits[octet >> 4];
    text += digits[octet & 15];
  }
  return text;
}

class MetaWriter {
 public:
  MetaWriter(const Recording& recording, const Stability& stability, const PageFacts& facts)
      : recording_(recording),
        stability_(stability),
        facts_(facts),
        json_(buffer_),
        names_(recording.eventLog.texts, mostNameBytes) {}

  std::string Write(const std::vector<PageLevel>& levels) {
    json_.StartObject();
    WriteHead();
    WriteLevels(levels);
    NumberMasters();
    WriteRuns();
    WriteMasters();
    WriteTimes();
    WriteEvents();
    WriteExtremes();
    WriteHistogram();
    WriteStability();
    json_.EndObject();
    return Escaped({buffer_.GetString(), buffer_.GetSize()});
  }

 private:
  static std::string Escaped(std::string_view json) {
    std::string text;
    for (const char byte : json) {
      if (byte == '<') {
        text += "\\u003c";
      } else {
        text += byte;
      }
    }
    return text;
  }

  void Text(std::string_view text) {
    const std::string clean = CleanText(text);
    json_.String(clean.data(), static_cast<rapidjson::SizeType>(clean.size()));
  }
  void Key(std::string_view text) { json_.Key(text.data(), static_cast<rapidjson::SizeType>(text.size())); }
  void Number(std::string_view key, std::int64_t value) {
    Key(key);
    json_.Int64(value);
  }
  /// Three digits are enough for a curve.
  void Rounded(double value) {
    if (value >= 1000 || value == std::floor(value)) {
      json_.Int64(std::llround(value));
    } else {
      const double unit = std::pow(10, std::floor(std::log10(std::max(value, 1e-6))) - 2);
      json_.Double(std::round(value / unit) * unit);
    }
  }

  void WriteHead() {
    Key("name");
    Text(facts_.name);
    Number("t0", recording_.first);
    Number("t1", recording_.end);
    Number("base", recording_.base);
    Key("limits");
    json_.StartObject();
    for (const auto& [key, value] : {std::pair("offsetWarn", facts_.offsetWarn),
                                     {"offsetFail", facts_.offsetFail},
                                     {"abWarn", facts_.differenceWarn},
                                     {"abFail", facts_.differenceFail}}) {
      Key(key);
      json_.Double(value);
    }
    json_.EndObject();
    Key("rate");
    json_.StartArray();
    json_.Int(recording_.syncRate);
    json_.Int(recording_.respRate);
    json_.EndArray();
    Key("running");
    json_.Bool(facts_.running);
    Key("tzKnown");
    json_.Bool(recording_.zone.Known());
    Key("tz");
    json_.StartArray();
    for (const TimeZone::Change& change : recording_.zone.Changes()) {
      json_.StartArray();
      json_.Int64(change.from);
      json_.Int(change.offset);
      json_.EndArray();
    }
    json_.EndArray();
  }

  void WriteColumns(std::span<const char* const> columns) {
    Key("columns");
    json_.StartArray();
    for (const char* column : columns) Text(column);
    json_.EndArray();
  }

  void WriteLevels(const std::vector<PageLevel>& levels) {
    WriteColumns(ChunkColumns());
    Key("levels");
    json_.StartArray();
    std::size_t place = 0;
    for (const PageLevel& level : levels) {
      json_.StartObject();
      Number("w", level.width);
      Number("div", level.parts);
      if (level.isSide) WriteColumns(SideChunkColumns());
      Key("chunks");
      json_.StartArray();
      std::int64_t behind = 0;
      for (const LevelChunk& chunk : level.chunks) WriteChunk(chunk, place, behind);
      json_.EndArray();
      json_.EndObject();
    }
    json_.EndArray();
  }

  void WriteChunk(const LevelChunk& chunk, std::size_t& place, std::int64_t& behind) {
    json_.StartArray();
    json_.Uint64(place);
    json_.Uint64(chunk.bytes.size());
    place += chunk.bytes.size();
    json_.StartArray();
    for (const BucketRange& range : chunk.ranges) {
      json_.Int64(range.first - behind);
      json_.Int64(range.count);
      behind = range.first + range.count;
    }
    json_.EndArray();
    json_.EndArray();
  }

  template <typename Value>
  void WriteRun(std::string_view key, const Runs& runs, Value value) {
    Key(key);
    json_.StartArray();
    std::int64_t before = recording_.base;
    for (const Run& run : ThinRuns(runs.All(), mostRuns)) {
      if (run.from >= recording_.end && recording_.end > 0) break;
      const std::int64_t from = std::max<std::int64_t>(run.from, before);
      json_.Int64(from - before);
      json_.Int(value(run.value));
      before = from;
    }
    json_.EndArray();
  }

  void WriteRuns() {
    const auto same = [](std::int32_t value) { return value; };
    const auto master = [this](std::int32_t index) {
      return masterNumbers_[static_cast<std::size_t>(index)];
    };
    const auto name = [this](std::int32_t text) { return names_.NumberOf(text); };
    const EventLog& log = recording_.eventLog;
    Key("runs");
    json_.StartObject();
    // What links say is known beforehand and always has its names, whatever the other texts are.
    WriteRun("link0", log.link[0], name);
    WriteRun("link1", log.link[1], name);
    WriteRun("state0", recording_.sfp[0].state, same);
    WriteRun("state1", recording_.sfp[1].state, same);
    WriteRun("master0", recording_.sfp[0].master, master);
    WriteRun("master1", recording_.sfp[1].master, master);
    WriteRun("card", log.card, name);
    WriteRun("best", log.bestSfp, name);
    WriteRun("genlock", log.genlock, name);
    WriteRun("source", log.genlockSource, name);
    json_.EndObject();
    Key("names");
    json_.StartArray();
    for (const std::int32_t text : names_.Used()) Text(names_.TextOf(text));
    json_.EndArray();
  }

  /// No master, and those that the lanes show, in the order in which they were found.
  void NumberMasters() {
    std::set<std::int32_t> shown;
    if (!recording_.masters.empty()) shown.insert(0);
    for (const SfpRecording& sfp : recording_.sfp) {
      for (const Run& run : ThinRuns(sfp.master.All(), mostRuns)) shown.insert(run.value);
    }
    masterNumbers_.assign(recording_.masters.size(), -1);
    int number = 0;
    for (const std::int32_t index : shown) masterNumbers_[static_cast<std::size_t>(index)] = number++;
  }

  void WriteMasters() {
    Key("masters");
    json_.StartArray();
    for (std::size_t i = 0; i < recording_.masters.size(); ++i) {
      if (masterNumbers_[i] < 0) continue;
      const std::string identity = i == 0 ? "none" : IdentityText(recording_.masters[i].grandmaster);
      json_.StartObject();
      Key("id");
      Text(identity);
      Key("short");
      Text(i == 0 ? identity : "\u2026" + identity.substr(15));
      json_.EndObject();
    }
    json_.EndArray();
  }

  /// The longest gaps, should there be too many.
  void WriteTimes() {
    std::vector<Stretch> gaps = recording_.gaps;
    gaps.insert(gaps.end(), recording_.pauses.begin(), recording_.pauses.end());
    std::ranges::sort(gaps, std::less{}, &Stretch::from);
    if (gaps.size() > mostGaps) {
      std::ranges::stable_sort(gaps, std::greater{}, [](const Stretch& gap) { return gap.to - gap.from; });
      gaps.resize(mostGaps);
      std::ranges::sort(gaps, std::less{}, &Stretch::from);
    }
    Key("gaps");
    json_.StartArray();
    for (const Stretch& gap : gaps) {
      json_.Int64(gap.from - recording_.base);
      json_.Int64(gap.to - recording_.base);
    }
    json_.EndArray();
    Key("episodes");
    json_.StartArray();
    for (const PageEpisode& episode : facts_.episodes) {
      json_.StartArray();
      json_.Int64(episode.from - recording_.base);
      json_.Int64(episode.to - recording_.base);
      json_.Int(episode.severity);
      json_.Int(episode.sfps);
      json_.EndArray();
    }
    json_.EndArray();
  }

  void WriteEvents() {
    Names texts(recording_.eventLog.texts, mostTextBytes);
    Key("events");
    json_.StartArray();
    std::int64_t before = recording_.base;
    std::size_t shown = 0;
    std::uint64_t leftOut = 0;
    for (const Event& event : recording_.eventLog.events) {
      if (!recording_.IsWanted(event.time)) continue;
      if (leftOut > 0 || shown == mostEvents || !texts.HasRoomFor(event.text)) {
        ++leftOut;
        continue;
      }
      ++shown;
      json_.Int64(event.time - before);
      json_.Int(texts.NumberOf(event.text));
      before = event.time;
    }
    json_.EndArray();
    Number("eventsLeftOut", static_cast<std::int64_t>(leftOut + recording_.eventLog.dropped));
    Key("texts");
    json_.StartArray();
    for (const std::int32_t text : texts.Used()) Text(texts.TextOf(text));
    json_.EndArray();
  }

  void WriteExtremes() {
    Key("worst");
    json_.StartArray();
    for (const SfpRecording& sfp : recording_.sfp) {
      json_.StartArray();
      for (const Extremes& extremes : {sfp.offset, sfp.offsetLocked}) {
        json_.Int64(extremes.least);
        json_.Int64(extremes.greatest);
      }
      json_.EndArray();
    }
    json_.EndArray();
    Key("beyond");
    json_.StartArray();
    for (const SfpRecording& sfp : recording_.sfp) {
      json_.StartArray();
      std::uint64_t last = sfp.worstOffset.Count();
      for (double step = 0; last > 0; ++step) {
        const std::int64_t limit = std::llround(std::pow(10, step / decadeSteps));
        last = sfp.worstOffset.CountBeyond(limit);
        json_.Int64(limit);
        json_.Uint64(last);
      }
      json_.EndArray();
    }
    json_.EndArray();
  }

  /// The second averages between the rarest in ten thousand.
  void WriteHistogram() {
    double low = 0;
    double high = 0;
    for (const SfpRecording& sfp : recording_.sfp) {
      if (sfp.secondOffset.Count() == 0) continue;
      low = std::min(low, sfp.secondOffset.Percentile(0.0005));
      high = std::max(high, sfp.secondOffset.Percentile(0.9995));
    }
    const auto step =
        std::max<std::int64_t>(1, static_cast<std::int64_t>(std::ceil((high - low) / histogramBins)));
    const auto first = static_cast<std::int64_t>(std::floor(low)) - step;
    const auto count = static_cast<std::size_t>((static_cast<std::int64_t>(high) - first) / step + 2);
    Key("histogram");
    json_.StartObject();
    Number("lo", first);
    Number("step", step);
    Key("n");
    json_.StartArray();
    for (const SfpRecording& sfp : recording_.sfp) {
      std::vector<std::uint64_t> counts(count);
      for (const Histogram::Bin& bin : sfp.secondOffset.Bins()) {
        const double place = std::floor((bin.low - static_cast<double>(first)) / static_cast<double>(step));
        if (place >= 0 && place < static_cast<double>(count))
          counts[static_cast<std::size_t>(place)] += bin.count;
      }
      json_.StartArray();
      for (const std::uint64_t number : counts) json_.Uint64(number);
      json_.EndArray();
    }
    json_.EndArray();
    json_.EndObject();
  }

  void WriteCurve(std::string_view key, const StabilityMeter::Curve& curve) {
    Key(key);
    json_.StartArray();
    for (const auto& [seconds, value] : curve) {
      json_.Int64(std::llround(seconds));
      Rounded(value);
    }
    json_.EndArray();
  }

  void WriteStability() {
    Key("stability");
    json_.StartArray();
    for (int sfp = 0; sfp < sfpCount; ++sfp) {
      json_.StartObject();
      WriteCurve("mtie", stability_.Of(sfp).Mtie());
      WriteCurve("tdev", stability_.Of(sfp).Tdev());
      json_.EndObject();
    }
    json_.EndArray();
  }

  const Recording& recording_;
  const Stability& stability_;
  const PageFacts& facts_;
  rapidjson::StringBuffer buffer_;
  rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::ASCII<>> json_;
  Names names_;
  std::vector<int> masterNumbers_;  ///< by index into the recording's masters; -1 for one that isn't shown
};

}  // namespace

PageData MakePageData(const Recording& recording, const Stability& stability, const PageFacts& facts,
                      const std::vector<PageLevel>& levels) {
  PageData data;
  data.json = MetaWriter(recording, stability, facts).Write(levels);
  for (const PageLevel& level : levels) {
    for (const LevelChunk& chunk : level.chunks) data.chunks += chunk.bytes;
  }
  return data;
}

bool IsRunning(const Recording& recording, std::int64_t now) {
  constexpr std::int64_t lately = 120;
  const EventLog& log = recording.eventLog;
  const bool ended = !log.ends.empty() && (log.starts.empty() || log.ends.back() >= log.starts.back());
  return !ended && recording.end > 0 && std::llabs(now - recording.end) < lately;
}

std::vector<Run> ThinRuns(const std::vector<Run>& runs, std::size_t most) {
  std::vector<Run> thin = runs;
  for (std::int64_t shortest = 2; thin.size() > most; shortest *= 2) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < thin.size(); ++i) {
      const bool isShort = i + 1 < thin.size() && thin[i + 1].from - thin[i].from < shortest;
      if (kept > 0 && (isShort || thin[kept - 1].value == thin[i].value)) continue;
      thin[kept++] = thin[i];
    }
    thin.resize(kept);
  }
  return thin;
}

}  // namespace kestrune::report
