#include "report/scene.h"

#include <algorithm>
#include <sstream>

#include "files/code_texts.h"
#include "report/json_output.h"
#include "report/logged_states.h"

namespace kestrune::report {

Scene::Scene() {
  Master first;
  first.grandmaster = first.sender = 0x080011fffe210001;
  first.address = 0x0a143b01;
  first.domain = 127;
  first.clockClass = 6;
  first.timeSource = 0x20;
  first.utcOffset = first.timeUtcOffset = 37;
  first.utcOffsetValid = 1;
  first.logAnnounceInterval = -2;
  first.logSyncInterval = first.logDelayReqInterval = -3;
  Master second = first;
  second.grandmaster = second.sender = 0x080011fffe210002;
  recording.masters = {Master{}, first, second};
}

Scene& Scene::Play(std::int64_t seconds, const Script& script) {
  // The log is complete before the watch sees a second.
  EventLog& log = recording.eventLog;
  log.present = logged;
  recording.rawDataPresent = true;
  recording.first = begin;
  recording.end = begin + seconds;
  if (logged) log.starts = {begin};
  for (std::int64_t i = 0; logged && i < seconds; ++i) {
    SceneSecond now;
    script(i, now);
    const auto card = log.texts.IndexOf(now.cardLocked ? lockedCard : "uncalibrated");
    if (now.cardLogged) log.card.Set(begin + i, card);
    log.bestSfp.Set(begin + i, log.texts.IndexOf(sfpLabels[now.followed].text));
    for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
      log.link[sfp].Set(begin + i, log.texts.IndexOf(now.sfp[sfp].linkUp ? linkIsUp : "no signal"));
    }
  }
  watch_ = std::make_unique<Watch>(recording, limits);
  for (std::int64_t i = 0; i < seconds; ++i) {
    SceneSecond now;
    script(i, now);
    for (int sfp = 0; sfp < sfpCount; ++sfp) PlaySide(begin + i, sfp, now.sfp[static_cast<std::size_t>(sfp)]);
    const bool silent = !now.sfp[0].present && !now.sfp[1].present;
    if (!silent) continue;
    ++recording.gapSeconds;
    if (!recording.gaps.empty() && recording.gaps.back().to == begin + i) {
      ++recording.gaps.back().to;
    } else {
      recording.gaps.push_back({begin + i, begin + i + 1});
      ++recording.gapCount;
    }
  }
  watch_->Finish();
  return *this;
}

void Scene::PlaySide(std::int64_t time, int sfp, const Side& side) {
  SfpRecording& records = recording.sfp[static_cast<std::size_t>(sfp)];
  records.state.Set(time, side.present ? side.state : 0);
  if (!side.present) return;
  records.master.Set(time, side.master);
  if (records.records++ == 0) records.first = time;
  records.end = time + 1;
  ++recording.units;

  Bucket second;
  second.start = time;
  second.records = 1;
  second.locked = side.state == 10 ? 1 : 0;
  const bool hasMaster = side.state >= 8;
  second.syncs = side.syncs;
  second.syncsDue = hasMaster ? 8 : 0;
  second.followUps = side.followUps;
  second.followUpsDue = side.syncs;
  second.resps = side.resps;
  second.respsDue = hasMaster ? 8 : 0;
  const auto add = [](Stat& stat, std::uint32_t count, double mean) {
    if (count > 0)
      stat = Stat::Of(count, mean * count, static_cast<std::int64_t>(mean) - 20,
                      static_cast<std::int64_t>(mean) + 20, 0);
  };
  add(second.offset, side.syncs, side.offset);
  add(second.path, side.resps, side.path);
  watch_->OnSecond(sfp, second, side.state, side.master);
  if (!side.again) return;
  second.offset = {};
  add(second.offset, side.syncs, *side.again);
  watch_->OnSecond(sfp, second, side.state, side.master);
}

const Judgement& Scene::Judge() {
  if (!judgement_) {
    if (!watch_) Play(0, [](std::int64_t, SceneSecond&) {});
    selfCheck_ = std::make_unique<SelfCheck>(recording);
    selfCheck_->Finish();
    judgement_ = std::make_unique<Judgement>(JudgeRecording(recording, *watch_, *selfCheck_, limits));
  }
  return *judgement_;
}

std::string Scene::Json(const Heading& heading) {
  std::ostringstream json;
  WriteJson(Judge(), heading, json);
  return json.str();
}

std::vector<Episode> Scene::EpisodesOf(Cause cause) {
  std::vector<Episode> found;
  std::ranges::copy_if(Judge().episodes, std::back_inserter(found),
                       [&](const Episode& episode) { return episode.WhatCaused() == cause; });
  return found;
}

}  // namespace kestrune::report
