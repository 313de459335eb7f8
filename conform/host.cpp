#include "conform/host.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

namespace conform {

void KeptLog::Log(LOGLEVEL level, const char* format, std::va_list arguments) {
  char* raw = nullptr;
  if (vasprintf(&raw, format, arguments) < 0) std::abort();
  const std::unique_ptr<char, void (*)(void*)> text(raw, std::free);
  const base::Lock lock(mutex_);
  lines_.push_back({level, text.get(), std::this_thread::get_id()});
}

std::vector<Line> KeptLog::Take() {
  const base::Lock lock(mutex_);
  return std::exchange(lines_, {});
}

bool KeptLog::HasAny(const std::function<bool(const Line&)>& wanted) {
  const base::Lock lock(mutex_);
  return std::ranges::any_of(lines_, wanted);
}

bool KeptLog::Has(int level, Text line) {
  return HasAny([&](const Line& one) { return one.level == level && one.text == line; });
}

bool KeptLog::HasEnd(int level, Text end) {
  return HasAny([&](const Line& one) { return one.level == level && one.text.ends_with(end); });
}

bool KeptLog::HasPart(int level, Text part) {
  return HasAny(
      [&](const Line& one) { return one.level == level && one.text.find(part) != one.text.npos; });
}

int KeptLog::CountParts(Text part) {
  const base::Lock lock(mutex_);
  return static_cast<int>(std::ranges::count_if(
      lines_, [&](const Line& one) { return one.text.find(part) != one.text.npos; }));
}

AERROR List::AddFile(const _FS_FILE_V2* file) {
  if (std::this_thread::get_id() != own_) ++foreign_calls;
  if (throws) throw std::runtime_error("list");
  records.push_back(*file);
  return answer;
}

Texts List::Names() const {
  Texts names;
  for (const auto& record : records) {
    names.push_back(record.name + (record.type == FS_DIRECTORY ? "/" : ""));
  }
  return names;
}

AERROR Fetched::OnFetched(long long offset, const void* data, int count, int flags) {
  if (std::this_thread::get_id() != own_) ++foreign_calls;
  if (flags != 0) ++odd_flags;
  if (first_offset < 0) first_offset = offset;
  if (offset != first_offset + static_cast<long long>(bytes.size())) ++gaps;
  if (on_block) on_block();
  bytes.append(static_cast<const char*>(data), static_cast<std::size_t>(count));
  largest = std::max(largest, count);
  ++blocks;
  return answer;
}

AERROR Cache::Read(_FS_HANDLE* with, long long offset, void* data, int count, int* read) {
  if (std::this_thread::get_id() != own_) ++foreign_calls;
  handle = with;
  if (on_read) {
    if (const AERROR code = on_read(offset); code != SUCCESS) return code;
  }
  const auto begin = static_cast<std::size_t>(offset);
  if (offset < 0 || count < 0 || begin > bytes.size()) {
    ++reads_beyond;
    return CACHE_READ_FAILED;
  }
  const std::size_t length =
      std::min({bytes.size() - begin, static_cast<std::size_t>(count), largest_read});
  std::memcpy(data, bytes.data() + begin, length);
  *read = static_cast<int>(length);
  return SUCCESS;
}

AERROR Manager::GetText(const char* key, char* buffer, int* size) {
  if (throws) throw FAILED;
  asked.push_back(std::string(key) + " " + std::to_string(*size));
  buffer[*size = 0] = '\0';
  return SUCCESS;
}

}  // namespace conform
