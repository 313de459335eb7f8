#pragma once

#include <ctime>
#include <string>

#include "protocol/export.h"

// Times come as seconds since 1970 (UTC), as broken-down times and as texts of two forms:
//   record time  2015-10-03T08:30:00.000Z  the fraction is always zero
//   clock time   2015-10-03T08:30:00.417   UTC with milliseconds, no zone letter
// Texts are read as year-month-dayThour:minute:second; what follows is ignored, and what is missing
// or no number counts as 0. A time that the calendar cannot hold reads as -1 (one second before
// 1970), as mktime reports it; sums stop at the ends of their range. No pointer may be null. All
// functions may be called from any thread.

// A record time of the fields as they stand.
B2_EXPORT std::string TMToRFC3339(tm* time);

// The record time of `t`. The three names mean the same.
B2_EXPORT std::string TimeToRFC3339(long t);
B2_EXPORT std::string TimeToUTCRFC3339(long t);
B2_EXPORT std::string NoAdjustOffsetForServerTime(long t);

// The record time of a local time, whose fields are normalised in place.
B2_EXPORT std::string TMToUTCRFC3339(tm* time);

// Reads a text as local standard time, also where daylight saving is in force at that time.
B2_EXPORT long RFC3339ToTM(const char* text);

// Reads a text as UTC.
B2_EXPORT long RFC3339ToLocalTM(const char* text);

// Reads a text as local standard time and subtracts the zone's offset a second time: one hour east
// of UTC, 10:00 becomes the record time 08:00.
B2_EXPORT std::string AdjustServerTimeOffset(const char* text);

// The text itself.
B2_EXPORT std::string NoAdjustServerTimeOffset(const char* text);

// The record time of `t` plus the offset that the zone had on 3 October 2015. The fixed date keeps
// the sum from following daylight-saving changes.
B2_EXPORT std::string AdjustOffsetForServerTime(long t);

// The clock time of now.
B2_EXPORT std::string GetSystemTimeRfc3339();
