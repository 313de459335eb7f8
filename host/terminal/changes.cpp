#include "host/terminal/changes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "host/terminal/output_style.h"
#include "host/terminal/terminal.h"
#include "host/terminal/text_format.h"

namespace b2drive {
namespace {

struct Verb {
  const char* action;
  const char* done;
};

constexpr std::array kVerbs = {Verb{"put", "stored"}, Verb{"get", "fetched"}, Verb{"mkdir", "made"},
                               Verb{"rm", "deleted"}, Verb{"rmdir", "removed"}};

std::string Amount(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

// "0.4 s", "12 s", "2:05".
std::string ElapsedText(double seconds) {
  if (seconds >= 60) return FormatDuration(std::llround(seconds));
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), seconds < 9.95 ? "%.1f s" : "%.0f s", seconds);
  return text.data();
}

Json ToRecord(const Change& change) {
  Json record = {{"action", change.action}};
  if (!change.path.empty()) record["path"] = change.path;
  if (!change.local.empty()) record["local"] = change.local;
  if (change.size) record["size"] = *change.size;
  if (!change.id.empty()) record["id"] = change.id;
  if (change.planned) record["planned"] = true;
  return record;
}

std::string ToText(const Change& change) {
  const bool both = !change.path.empty() && !change.local.empty();
  std::string from = change.path.empty() ? change.local : change.path, to;
  if (both) to = change.local;
  if (change.action == "put") std::swap(from, to);
  std::string text = change.action + " " + from + (both ? " -> " + to : "");
  if (both && change.size) text += ", " + FormatBytes(static_cast<double>(*change.size));
  return EscapeControls(text);
}

}  // namespace

void Changes::Expect() {
  Lock lock(mutex_);
  expected_ = true;
}

void Changes::LeaveStandardOutput() {
  Lock lock(mutex_);
  standard_output_ = false;
}

void Changes::Tell(const Change& change) {
  Lock lock(mutex_);
  Count& count = counts_[change.action];
  ++(change.size ? count.files : count.folders);
  const bool moved = change.action == "put" || change.action == "get";
  if (moved) bytes_ += change.size.value_or(0);
  planned_ = planned_ || change.planned;
  if (TheOutputStyle().json) return PrintRecord(ToRecord(change));
  if (change.planned) return PrintToOutput(ToText(change));
  if (TheOutputStyle().verbose) PrintToTerminal(ToText(change));
}

void Changes::PrintRecord(const Json& record) {
  if (standard_output_) return PrintToOutput(JsonText(record, StdoutIsTerminal()));
  PrintToTerminal(JsonText(record, StderrIsTerminal()));
}

// One name made or deleted needs no words, and contents on the same terminal want none.
bool Changes::ShowsSummary(ExitCode exit_code) const {
  if (counts_.empty() && (!expected_ || exit_code != ExitCode::kSuccess)) return false;
  if (TheOutputStyle().verbose) return true;
  std::size_t all = 0;
  for (const auto& [action, count] : counts_) all += count.files + count.folders;
  return !TheOutputStyle().quiet && standard_output_ && StderrIsTerminal() &&
         (all != 1 || bytes_ > 0);
}

std::string Changes::SummaryText(double seconds, std::int64_t moved) const {
  std::string text;
  for (const Verb& verb : kVerbs) {
    const auto found = counts_.find(verb.action);
    if (found == counts_.end()) continue;
    const auto [files, folders] = found->second;
    if (!text.empty()) text += ", ";
    if (files > 0) text += Amount(files, "file");
    if (files > 0 && folders > 0) text += " and ";
    if (folders > 0) text += Amount(folders, "folder");
    text += std::string(" ") + verb.done;
  }
  if (text.empty()) text = "nothing to do";
  if (bytes_ > 0) text += ", " + FormatBytes(static_cast<double>(bytes_));
  if (planned_) return text + "; this was a dry run, nothing was done";
  text += " in " + ElapsedText(seconds);
  if (moved > 0) text += ", " + FormatBytes(static_cast<double>(moved) / seconds) + "/s";
  return text;
}

Json Changes::SummaryRecord(double seconds, std::int64_t moved) const {
  Json counts = Json::object();
  for (const auto& [action, count] : counts_) counts[action] = count.files + count.folders;
  Json record = {{"action", "summary"},
                 {"counts", counts},
                 {"bytes", bytes_},
                 {"moved", moved},
                 {"seconds", std::round(seconds * 1000) / 1000}};
  if (planned_) record["planned"] = true;
  return record;
}

void Changes::Summarize(ExitCode exit_code, std::int64_t moved) {
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start_;
  const double seconds = std::max(elapsed.count(), 0.001);
  Lock lock(mutex_);
  if (TheOutputStyle().json) {
    if (!expected_ && counts_.empty()) return;
    Json record = SummaryRecord(seconds, moved);
    record["code"] = static_cast<int>(exit_code);
    return PrintRecord(record);
  }
  if (ShowsSummary(exit_code)) PrintToTerminal(SummaryText(seconds, moved));
}

}  // namespace b2drive
