#include "b2/page_watch.h"

#include "protocol/log.h"

AERROR PageWatch::Next(const std::string& cursor, int entries) {
  constexpr int kMostWithoutEntry = 100;
  if (cursor.empty()) return AERROR::SUCCESS;
  if (!on_) return AERROR::RETRY;
  without_entry_ = entries > 0 ? 0 : without_entry_ + 1;
  if (without_entry_ < kMostWithoutEntry && !Circles(cursor)) return AERROR::RETRY;
  __LOG__A(logger, LOGLEVEL_ERROR, "[PROTOCOL  ] %s >> The listing does not advance", query_);
  return AERROR::FAILED;
}

bool PageWatch::Circles(const std::string& cursor) {
  if (cursor == kept_) return true;
  if (++steps_ == keep_for_) {
    kept_ = cursor;
    keep_for_ *= 2;
    steps_ = 0;
  }
  return false;
}
