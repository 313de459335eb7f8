#include "emulator/playback.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "emulator/service.h"

namespace emulator {
namespace {

using nlohmann::json;

std::string Shown(const RecordedRequest& request) { return request.method + " " + request.target; }

RecordedRequest ReadRequest(Incoming& incoming, BodySource& body) {
  HashedBody hashed(body);
  if (Service::IsUpload(incoming.record.call)) {
    std::array<char, size_t{64} * 1024> scratch;
    while (hashed.Read(scratch.data(), scratch.size()) > 0) {
    }
  } else {
    incoming.record.body = hashed.ReadAll(kMaxJsonBody);
  }
  return RequestOf(incoming, hashed.Sha1OfAll());
}

// Where clients have come directly, the port may be another now.
PlannedAnswer Rebased(const Recorded& recorded, const std::string& base) {
  PlannedAnswer planned = recorded.planned;
  std::string& text = planned.answer.body;
  if (recorded.base.empty() || base.empty()) return planned;
  for (size_t found = 0; (found = text.find(recorded.base, found)) != text.npos;) {
    text.replace(found, recorded.base.size(), base);
    found += base.size();
  }
  return planned;
}

}  // namespace

Playback::Playback(const std::filesystem::path& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error(path.string() + ": cannot be read");
  base::Lock lock(mutex_);
  for (std::string line; std::getline(file, line);) {
    try {
      recorded_.push_back(ParseRecorded(line));
    } catch (const std::exception& error) {
      throw std::runtime_error(path.string() + ":" + std::to_string(recorded_.size() + 1) + ": " +
                               error.what());
    }
  }
  played_.resize(recorded_.size());
}

std::string Playback::AccountId() const {
  base::Lock lock(mutex_);
  for (const Recorded& recorded : recorded_) {
    const json answer = json::parse(recorded.planned.answer.body, nullptr, false);
    if (answer.is_object() && answer.contains("authorizationToken")) {
      return answer.value("accountId", "");
    }
  }
  return "";
}

PlannedAnswer Playback::Play(Incoming& incoming, BodySource& body) {
  const RecordedRequest request = ReadRequest(incoming, body);
  base::Lock lock(mutex_);
  for (size_t i = 0; i < recorded_.size(); ++i) {
    if (played_[i] || !DifferenceOf(recorded_[i].request, request).empty()) continue;
    played_[i] = true;
    return Rebased(recorded_[i], incoming.base);
  }
  strangers_.push_back(Shown(request) + ": " + CauseFor(request));
  return {ErrorAnswer(400, "not_recorded", strangers_.back())};
}

std::string Playback::CauseFor(const RecordedRequest& request) const {
  bool was_played = false;
  std::string difference;
  for (size_t i = 0; i < recorded_.size(); ++i) {
    const std::string differing = DifferenceOf(recorded_[i].request, request);
    was_played = was_played || differing.empty();
    const bool is_near = differing != "method" && differing != "target" && !played_[i];
    if (is_near && difference.empty()) difference = differing;
  }
  if (!difference.empty()) return "the recorded one has another " + difference;
  return was_played ? "recorded, and asked more often than that" : "not recorded";
}

std::vector<std::string> Playback::Complaints() const {
  base::Lock lock(mutex_);
  std::vector<std::string> complaints = strangers_;
  for (size_t i = 0; i < recorded_.size(); ++i) {
    if (!played_[i]) complaints.push_back(Shown(recorded_[i].request) + ": not asked");
  }
  return complaints;
}

}  // namespace emulator
