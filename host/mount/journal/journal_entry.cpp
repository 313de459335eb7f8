#include "host/mount/journal/journal_entry.h"

#include <algorithm>
#include <cstdlib>

#include "host/mount/journal/json_path.h"

namespace b2drive::mount {
namespace {

using nlohmann::json;

// Before an entry that counts in one boot only: it may be half written after a loss of power, and
// is not missed then.
constexpr char kPassing[] = " ";

JournalEntry EntryOf(const json& values) {
  JournalEntry entry;
  entry.file = values.at("file").get<std::string>();
  entry.size = values.at("size").get<std::uint64_t>();
  // Earlier versions of the program left out the order, which then was the file's, and the rest.
  entry.order = values.value("order", std::strtoull(entry.file.c_str(), nullptr, 10));
  entry.boot = values.value("boot", "");
  entry.destination.path = ToPath(values.at("path"));
  entry.destination.base = values.value("base", "");
  const json modified = values.value("modified", json{0, 0});
  entry.modified = {modified.at(0).get<std::time_t>(), modified.at(1).get<long>()};
  for (const json& one : values.value("attempted", json::array())) {
    entry.destination.attempted.push_back(
        {one.at(0).get<std::uint64_t>(), one.at(1).get<std::uint32_t>()});
  }
  const json former = values.value("former", json{"", ""});
  entry.destination.former = {ToPath(former.at(0)), former.at(1).get<std::string>()};
  return entry;
}

}  // namespace

std::string EntryTextOf(const JournalEntry& entry) {
  const Destination& destination = entry.destination;
  json attempted = json::array();
  for (const Fingerprint& one : destination.attempted) {
    attempted.push_back({one.size, one.checksum});
  }
  json values{{"file", entry.file},
              {"size", entry.size},
              {"order", entry.order},
              {"path", FromPath(destination.path)},
              {"base", destination.base},
              {"attempted", attempted},
              {"modified", {entry.modified.tv_sec, entry.modified.tv_nsec}}};
  const NamedVersion& former = destination.former;
  if (!former.path.empty()) values["former"] = {FromPath(former.path), former.id};
  const bool passing = !entry.boot.empty();
  if (passing) values["boot"] = entry.boot;
  return (passing ? kPassing : "") + values.dump(-1, ' ', false, json::error_handler_t::replace);
}

EntryText ParseEntry(const std::string& text) {
  if (std::ranges::all_of(text, [](char byte) { return byte == '\0'; })) {
    return {EntryText::State::kUnfinished, {}};
  }
  try {
    JournalEntry entry = EntryOf(json::parse(text));
    if (entry.order < kNoNumber) return {EntryText::State::kGood, std::move(entry)};
    return {EntryText::State::kDamaged, {}};
  } catch (const json::exception&) {
    const bool passing = text.starts_with(kPassing);
    return {passing ? EntryText::State::kUnfinished : EntryText::State::kDamaged, {}};
  }
}

}  // namespace b2drive::mount
