#include "host/mount/kernel/status_query.h"

#include <cerrno>
#include <cstdio>

namespace b2drive::mount {
namespace {

// What mounts up to version 1.0 answer: a line of text for an index.
struct OlderQuery {
  std::uint32_t index;
  char text[4092];
};
constexpr unsigned long kOlderRequest = _IOWR('b', 2, OlderQuery);

StatusItem::State StateOf(const Delay& delay) {
  if (delay.sending) return StatusItem::kIsSent;
  return delay.lasting ? StatusItem::kIsStuck : StatusItem::kWaits;
}

}  // namespace

StatusItem ToItem(const Delay& delay) {
  StatusItem item{};
  item.state = StateOf(delay);
  item.size = delay.size;
  item.failures = static_cast<std::uint32_t>(delay.failures);
  item.unfinished_files = static_cast<std::uint32_t>(delay.unfinished.files);
  item.unfinished_bytes = delay.unfinished.bytes;
  std::snprintf(item.path, sizeof item.path, "%s", delay.path.c_str());
  std::snprintf(item.text, sizeof item.text, "%s", delay.reason.c_str());
  return item;
}

Delay ToDelay(const StatusItem& item) {
  Delay delay;
  delay.path = item.path;
  delay.size = item.size;
  delay.sending = item.state == StatusItem::kIsSent;
  delay.lasting = item.state == StatusItem::kIsStuck;
  delay.failures = static_cast<int>(item.failures);
  delay.reason = item.text;
  delay.unfinished.files = static_cast<int>(item.unfinished_files);
  delay.unfinished.bytes = item.unfinished_bytes;
  return delay;
}

int NextStatus(int folder, StatusItem& item) {
  return ioctl(folder, kStatusRequest, &item) == 0 ? 0 : errno;
}

bool IsOlderMount(int folder) {
  OlderQuery query{};
  return ioctl(folder, kOlderRequest, &query) == 0;
}

}  // namespace b2drive::mount
